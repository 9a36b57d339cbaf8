#!/usr/bin/env bash
# The client over a socket behind which the server is started for each connection:
# socket_way.sh LISTENER CLIENT SERVER ENGINE, where LISTENER is socat or systemd-socket-activate.
set -euo pipefail
listener=$1 client=$2 server=$3 engine=$4
for program in "$listener" setpriv; do
    command -v "$program" >/dev/null || {
        echo "skipped: there is no $program"
        exit 77
    }
done

place=$(mktemp -d)
listening=
skipped=
clean_up() {
    [[ -z $listening ]] || kill "$listening" 2>/dev/null || true
    [[ ! -f $place/run/engine.pid ]] || kill "$(cat "$place/run/engine.pid")" 2>/dev/null || true
    rm -rf "$place"
}
trap clean_up EXIT
fail() {
    echo "socket: $*" >&2
    [[ ! -s $place/said ]] || cat "$place/said" >&2
    exit 1
}

socket=$place/ipseccfg.sock
mkdir -m 700 "$place/run"
chmod 711 "$place"
cat >"$place/server.toml" <<TOML
engine = "standalone"
setting-directory = "$place/run"
[service]
command = "$engine"
pid-file = "$place/run/engine.pid"
stop-signal = "TERM"
reconfigure-signal = "HUP"
[modules]
retry = 20
interval-us = 200000
TOML
cat >"$place/policy.toml" <<TOML
[engine]
setting-file = "$place/run/engine.conf"
[[phase1.proposal]]
id = 1
[[phase1.proposal.transform]]
id = 1
encryption = "AES"
key-length = 256
hash = "SHA256"
authentication = "PSK"
psk = "a key"
group = 14
lifetime = 28800
[[phase2.proposal]]
id = 1
[[phase2.proposal.transform]]
id = 1
encryption = "AES"
key-length = 256
hash = "SHA256"
lifetime = 3600
[[rule]]
action = "use"
source = "192.0.2.1"
destination = "192.0.2.2"
priority = 10
TOML
chmod 644 "$place/policy.toml"
export IPSECCFG_SERVER_CONFIG=$place/server.toml

listen() {
    case $listener in
    socat) socat "UNIX-LISTEN:$socket,fork,mode=600" "EXEC:$server,nofork" & ;;
    *) systemd-socket-activate --accept --inetd --listen="$socket" -E IPSECCFG_SERVER_CONFIG "$server" 2>/dev/null & ;;
    esac
    listening=$!
    for _ in {1..400}; do
        [[ ! -S $socket ]] || return 0
        sleep 0.05
    done
    fail "$listener does not listen"
}

# ask EXPECTED_STATUS EXPECTED_TEXT COMMAND...: the client, run by COMMAND.
ask() {
    local status=0 expected=$1 text=$2
    shift 2
    "$@" >"$place/said" 2>&1 || status=$?
    [[ $status -eq $expected ]] || fail "$* ended with $status, not $expected"
    grep -qF "$text" "$place/said" || fail "$* did not say '$text'"
}

export IPSECCFGSERVER=$socket
ask 3 "$socket: No such file or directory" "$client" shutdown

listen
ask 0 "started" "$client" start "$place/policy.toml"
pid=$(cat "$place/run/engine.pid")
[[ $(readlink "/proc/$pid/exe") == "$(readlink -f "$engine")" ]] || fail "the engine does not run"
ask 0 "the engine standalone runs; it protects no traffic" "$client" status
ask 1 "the engine is already running; 'ipseccfgctl restart POLICY'" "$client" start "$place/policy.toml"
ask 0 "restarted" "$client" restart "$place/policy.toml"
[[ $(cat "$place/run/engine.pid") == "$pid" ]] || fail "a restart made another engine"

if [[ $(id -u) -ne 0 ]]; then
    skipped="other users (this is not root)"
elif ! setpriv --reuid=65534 --regid=65534 --clear-groups test -x "$client"; then
    skipped="other users ($client is hidden from them)"
else
    chgrp 54321 "$socket"
    chmod 660 "$socket"
    ask 0 "restarted" setpriv --reuid=65534 --regid=65534 --groups=54321 "$client" restart "$place/policy.toml"
    ask 1 "cannot read $place/run/engine.pid: Permission denied; ask with the engine's rights" \
        setpriv --reuid=65534 --regid=65534 --groups=54321 "$client" status
    ask 3 "cannot connect to $socket: Permission denied; ask for membership of the socket's group" \
        setpriv --reuid=65534 --regid=65534 --clear-groups "$client" restart "$place/policy.toml"
fi

# Fifty at once: each gets an answer, and only one at a time is carried out.
callers=()
for number in {1..50}; do
    "$client" restart "$place/policy.toml" >"$place/caller.$number" 2>&1 &
    callers+=($!)
done
succeeded=0
for number in {1..50}; do
    status=0
    wait "${callers[number - 1]}" || status=$?
    case $status in
    0) succeeded=$((succeeded + 1)) ;;
    1) grep -qF "another request is being carried out" "$place/caller.$number" ||
        { cat "$place/caller.$number"; fail "caller $number was refused for another reason"; } ;;
    *) cat "$place/caller.$number"; fail "caller $number ended with $status" ;;
    esac
done
[[ $succeeded -gt 0 ]] || fail "none of fifty callers succeeded"
echo "$listener: $succeeded of 50 callers were served, the others were asked to come again"

ask 0 "shut down" "$client" shutdown --setting-file "$place/run/engine.conf"
ask 1 "the engine is not running; 'ipseccfgctl start POLICY' starts it" "$client" status
[[ ! -e /proc/$pid || $(readlink "/proc/$pid/exe") != "$(readlink -f "$engine")" ]] || fail "the engine still runs"

kill "$listening"
wait "$listening" 2>/dev/null || true
listening=
if [[ ! -S $socket ]]; then
    python3 -c 'import socket, sys; socket.socket(socket.AF_UNIX).bind(sys.argv[1])' "$socket"
fi
ask 3 "cannot connect to $socket: Connection refused; nobody listens there" "$client" shutdown
# All else was as it should be, but what was not tried does not count as passed.
[[ -z $skipped ]] || {
    echo "skipped: $skipped"
    exit 77
}
