#!/usr/bin/env bash
# What booted_system.sh tries in the system that it booted; runs as root there, a service of systemd.
set -euo pipefail
export PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 SYSTEMD_PAGER='' SYSTEMD_COLORS=0
said=$(mktemp)
fail() {
    echo "units: $*" >&2
    tail -n 20 "$said" >&2
    journalctl --no-pager --lines 20 | cut -c1-200 >&2
    exit 1
}
step() { echo "$(cut -d ' ' -f 1 /proc/uptime) s: $*"; }

# as USER COMMAND...: with that user's groups, and the socket as the server
as() { setpriv --reuid "$1" --regid "$1" --init-groups env "HOME=/home/$1" IPSECCFGSERVER=/run/ipseccfg.sock "${@:2}"; }
# ask STATUS TEXT COMMAND...: the command ends with that status and says so
ask() {
    local status=0
    "${@:3}" >"$said" 2>&1 || status=$?
    [[ $status -eq $1 ]] || fail "${*:3} ended with $status, not $1"
    grep -qF -- "$2" "$said" || fail "${*:3} did not say '$2'"
}
# until_true SECONDS COMMAND...
until_true() {
    local end=$((SECONDS + $1))
    until "${@:2}"; do
        [[ $SECONDS -lt $end ]] || return 1
        read -rt 0.2 <> <(:) || true
    done
}
engine() { cat /run/ipseccfg/engine.pid; }
engine_is() { [[ $(readlink "/proc/$(engine)/exe") == "/usr/libexec/ipseccfg/$1" ]]; }
no_request() { [[ -z $(systemctl list-units --no-legend --state=active,activating,deactivating,failed 'ipseccfg@*') ]]; }
loaded() { grep -q "^$1 " /proc/modules; }
policy=/home/member/policy.toml

[[ $(cat /proc/1/comm) == systemd ]] || fail "the first process is not systemd"
step "the first process is $(systemctl --version | head -n 1)"
for user in member stranger; do install -d -o $user -g $user -m 755 /home/$user; done

step "the socket: not there until it is enabled, then for the group"
[[ ! -e /run/ipseccfg.sock ]] || fail "the socket is there although nobody enabled it"
ask 3 "/run/ipseccfg.sock: No such file or directory" as member ipseccfgctl shutdown
systemctl enable --now ipseccfg.socket 2>"$said" || fail "the socket cannot be enabled"
[[ $(stat -c '%F %U:%G %a' /run/ipseccfg.sock) == "socket root:ipseccfg 660" ]] || fail "$(stat /run/ipseccfg.sock)"
[[ $(stat -c '%U:%G %a' /run/ipseccfg) == "root:root 700" ]] || fail "$(stat /run/ipseccfg)"

step "a member starts, restarts, shuts down"
ask 0 "wrote" as member ipseccfgctl init "$policy"
ask 0 "started" as member ipseccfgctl start "$policy"
engine_is standalone || fail "the engine does not run"
first=$(engine)
[[ $(stat -c '%U %a' /run/ipseccfg/engine.conf) == "root 600" ]] || fail "$(stat /run/ipseccfg/engine.conf)"
until_true 20 no_request || fail "the request is not over: $(systemctl list-units --all --no-legend 'ipseccfg@*')"
[[ -d /proc/$first ]] || fail "the engine ended with the request that started it"
ask 1 "the engine is already running; 'ipseccfgctl restart POLICY'" as member ipseccfgctl start "$policy"
ask 0 "restarted" as member ipseccfgctl restart "$policy"
[[ $(engine) == "$first" ]] || fail "a restart made another engine"
ask 1 "cannot read /run/ipseccfg/engine.pid: Permission denied; ask with the engine's rights" as member ipseccfgctl status
ask 0 "the engine standalone runs; it protects no traffic" ipseccfgctl status
journalctl --no-pager --identifier systemdataIPsecCfgServer >"$said"
grep -qF "restart: success" "$said" || fail "the server's words are not in the journal"
journalctl --no-pager --identifier ipseccfg-standalone >"$said"
grep -qF "settings accepted" "$said" || fail "the engine's words are not in the journal, or not in its name"

step "a stranger does neither"
ask 0 "wrote" as stranger ipseccfgctl init /home/stranger/policy.toml
ask 3 "Permission denied; ask for membership of the socket's group" as stranger ipseccfgctl restart /home/stranger/policy.toml
ask 3 "Permission denied" as stranger ipseccfgctl shutdown
[[ $(engine) == "$first" ]] || fail "the engine is not what it was"

step "how engine and server are confined"
grep -qx $'NoNewPrivs:\t1' "/proc/$first/status" || fail "the engine may gain rights"
grep -qx $'Seccomp:\t2' "/proc/$first/status" || fail "the engine may call whatever it wants"
[[ $(awk '/^CapBnd/ { print $2 }' "/proc/$first/status") == 0000000000013424 ]] ||
    fail "the engine's capabilities: $(grep ^Cap "/proc/$first/status")"
# In the engine's place: what is not written there, and what is.
there() { nsenter --target "$first" --mount "$@"; }
for folder in /usr /etc /var /root /home/member /dev /proc/sys/net/core; do
    ! there touch "$folder/written" 2>/dev/null || fail "$folder can be written into"
done
there sh -c 'echo >/run/ipseccfg/.tried && rm /run/ipseccfg/.tried && echo >/tmp/.tried && rm /tmp/.tried' || fail "/run or /tmp cannot be written"
systemd-analyze security --no-pager "ipseccfg@0.service" >"$said" 2>&1 || true
exposure=$(sed -nE 's/.*Overall exposure level for [^:]*: ([0-9.]+).*/\1/p' "$said")
awk "BEGIN { exit !(${exposure:-10} <= 3.5) }" || fail "the service is more exposed than it need be: '$exposure'"
step "systemd-analyze security: $exposure"

step "fifty at once"
callers=()
for number in {1..50}; do
    as member ipseccfgctl restart "$policy" >"/tmp/caller.$number" 2>&1 &
    callers+=($!)
done
served=0 late=0
for number in {1..50}; do
    status=0
    wait "${callers[number - 1]}" || status=$?
    case $status in
    0) served=$((served + 1)) ;;
    1) grep -qF "another request is being carried out" "/tmp/caller.$number" || fail "caller $number: $(cat "/tmp/caller.$number")" ;;
    # On a machine that is busy with other things: systemd came to it when the client no longer waited.
    3) grep -qE "no answer from '/run/ipseccfg.sock' after 6[0-9] s" "/tmp/caller.$number" || fail "caller $number: $(cat "/tmp/caller.$number")"
        late=$((late + 1)) ;;
    *) fail "caller $number ended with $status: $(cat "/tmp/caller.$number")" ;;
    esac
done
step "$served of 50 were served, $((50 - served - late)) were asked to come again, $late gave up after a minute"
# Each takes a second or so, and waits for its turn for 15 s.
[[ $served -ge 10 ]] || fail "too few were served"
[[ $(engine) == "$first" ]] || fail "the engine is not what it was"
until_true 300 no_request || fail "requests go on: $(systemctl list-units --all --no-legend 'ipseccfg@*')"
ask 0 "shut down" as member ipseccfgctl shutdown
[[ ! -e /run/ipseccfg/engine.conf && ! -d /proc/$first ]] || fail "something is left of the engine"

step "kernel modules are loaded and removed"
folder=/lib/modules/$(uname -r)/kernel/net
{
    sed -n '1,/^\[modules\]/p' /etc/ipseccfg/server.toml
    printf 'retry = 3\ninterval-us = 200000\n'
    printf '[[modules.module]]\npath = "%s"\n' "$folder"/xfrm/{xfrm_algo,xfrm_user}.ko "$folder/ipv4/esp4.ko"
} >/tmp/server.toml
cp /etc/ipseccfg/server.toml /etc/ipseccfg/server.toml.kept
cp /tmp/server.toml /etc/ipseccfg/server.toml
ask 0 "correct" systemdataIPsecCfgServer --check-config
rmmod esp4 xfrm_user xfrm_algo 2>/dev/null || true
! loaded esp4 || fail "the module is there before the start"
ask 0 "started" as member ipseccfgctl start "$policy"
for module in xfrm_algo xfrm_user esp4; do loaded $module || fail "$module was not loaded"; done
ask 0 "shut down" as member ipseccfgctl shutdown
! loaded esp4 || fail "the module was not removed"

step "a server that dies is no answer, and harms no later one"
{
    sed -n '1,/^\[modules\]/p' /etc/ipseccfg/server.toml.kept
    printf 'retry = 100\ninterval-us = 200000\n[[modules.module]]\npath = "/lib/modules/none.ko"\n'
} >/etc/ipseccfg/server.toml
as member ipseccfgctl start "$policy" >"$said" 2>&1 &
caller=$!
until_true 60 test -f /run/ipseccfg/engine.conf || fail "the request was not begun"
systemctl kill --kill-who=main --signal=KILL 'ipseccfg@*'
status=0
wait "$caller" || status=$?
[[ $status -eq 3 ]] || fail "a killed server made the client end with $status"
grep -qF "no answer from '/run/ipseccfg.sock'" "$said" || fail "the client does not say so"
cp /tmp/server.toml /etc/ipseccfg/server.toml
until_true 60 no_request || fail "something is left of the killed server: $(systemctl list-units --all --no-legend 'ipseccfg@*')"
ask 0 "started" as member ipseccfgctl start "$policy"
engine_is standalone || fail "the engine does not run"
ask 0 "shut down" as member ipseccfgctl shutdown

step "an engine that protects, confined like that"
ip address add 192.0.2.1/24 dev lo
ip link set lo up
sed -i 's#^engine = .*#engine = "strongswan"#; s#/standalone"#/strongswan"#' /etc/ipseccfg/server.toml
ask 0 "started" as member ipseccfgctl start "$policy"
engine_is strongswan || fail "the engine does not run"
ask 0 "1 rule in force" ipseccfgctl status
grep -qE '^ *10 +use +192\.0\.2\.1(/32)? +192\.0\.2\.2(/32)? +trapped' "$said" || fail "the rule is not there"
ip xfrm policy | grep -q 'dst 192.0.2.2/32' || fail "the kernel has no policy"
ask 0 "restarted" as member ipseccfgctl restart "$policy"
ask 0 "shut down" as member ipseccfgctl shutdown
[[ -z $(ip xfrm policy) ]] || fail "the kernel's policies stay: $(ip xfrm policy)"

step "removed while the socket listens and an engine runs"
cp /etc/ipseccfg/server.toml.kept /etc/ipseccfg/server.toml
ask 0 "started" as member ipseccfgctl start "$policy"
last=$(engine)
dpkg -P ipseccfg-server >"$said" 2>&1 || fail "the server cannot be removed"
until_true 20 [ ! -d "/proc/$last" ] || fail "the engine was left behind"
[[ ! -e /run/ipseccfg.sock && ! -e /run/ipseccfg ]] || fail "left behind: $(ls -d /run/ipseccfg*)"
[[ -z $(systemctl list-units --all --no-legend 'ipseccfg*') ]] || fail "units stay: $(systemctl list-units --all 'ipseccfg*')"
step "done"
