#!/usr/bin/env bash
# The Debian packages in a fresh system (system.sh): installed, used, removed. fresh_system.sh FOLDER_OF_PACKAGES
set -euo pipefail
source "$(dirname "$0")/system.sh"
alone "$0" "$@"
make_system "$1" ""

# expect TEXT COMMAND...: the command succeeds and says so
expect() {
    local text=$1 said
    shift
    said=$(inside "$@" 2>&1) || fail "$* failed: $said"
    grep -qF "$text" <<<"$said" || fail "$* did not say '$text' but: $said"
}

inside sh -c 'cd / && find . -xdev \( -path ./proc -o -path ./packages -o -path ./var -o -path ./run -o -path ./tmp \) -prune -o -print' |
    sort >"$place/before"
inside sh -c 'dpkg -i --force-depends /packages/libipseccfg-dev_*.deb' >/dev/null 2>&1 || fail "libipseccfg-dev cannot be unpacked"
install_packages

expect "correct" systemdataIPsecCfgServer --check-config
expect "ipseccfg" getent group ipseccfg
# Where the shells of Debian look.
expect "#compdef" head -n 1 /usr/share/zsh/vendor-completions/_ipseccfgctl
expect "complete" tail -n 1 /usr/share/bash-completion/completions/ipseccfgctl
expect "700" stat -c %a /run/ipseccfg
expect "wrote 'policy.toml'" sh -c 'cd /root && ipseccfgctl init'
expect "no problems" ipseccfgctl check /root/policy.toml
expect "started" ipseccfgctl start /root/policy.toml
[[ $(readlink "$(printf '%s/proc/%s/exe' "$system" "$(cat "$system/run/ipseccfg/engine.pid")")") == */usr/libexec/ipseccfg/standalone ]] ||
    fail "the engine does not run"
expect "restarted" ipseccfgctl restart /root/policy.toml
expect "shut down" ipseccfgctl shutdown --setting-file /run/ipseccfg/engine.conf
expect "started" ipseccfgctl start /root/policy.toml
pid=$(cat "$system/run/ipseccfg/engine.pid")

# A change of the administrator's stays, through an update and a removal.
echo '# mine' >>"$system/etc/ipseccfg/server.toml"
inside sh -c 'dpkg -i /packages/ipseccfg-server_*.deb </dev/null' >/dev/null 2>&1 || fail "the server cannot be updated"
grep -q '^# mine' "$system/etc/ipseccfg/server.toml" || fail "the configuration was overwritten"
inside dpkg -r ipseccfg-server ipseccfg-client >/dev/null 2>&1 || fail "the programs cannot be removed"
for _ in {1..100}; do
    [[ -e $system/proc/$pid ]] || break
    read -rt 0.1 <> <(:) || true
done
[[ ! -e $system/proc/$pid ]] || fail "the engine was left behind"
[[ -f $system/etc/ipseccfg/server.toml ]] || fail "the configuration was removed"
inside dpkg -P ipseccfg-server ipseccfg-client libipseccfg-dev libipseccfg1 >/dev/null 2>&1 || fail "the packages cannot be purged"

rm -f "$system/root/policy.toml"
inside sh -c 'cd / && find . -xdev \( -path ./proc -o -path ./packages -o -path ./var -o -path ./run -o -path ./tmp \) -prune -o -print' |
    sort >"$place/after"
# A group stays, as files of its may; so do the copies that are made when it is.
left=$(comm -13 "$place/before" "$place/after" | grep -vE '^\./etc/(group|gshadow)-?$' || true)
[[ -z $left ]] || fail "left behind: $left"
[[ ! -e $system/run/ipseccfg ]] || fail "the setting folder was left behind"
echo "installed, used, updated, removed, purged"
