#!/usr/bin/env bash
# The road of a policy with client and server under Valgrind's memcheck: valgrind_road.sh BUILD
#
# The engine is not: it is known by its executable, which would be Valgrind's.
set -euo pipefail
build=$(cd "$1" && pwd)
suppressions=$PWD/tests/valgrind.supp
sample=$PWD/programs/client/sample-policy.toml
place=$(mktemp -d)
pid=
clean_up() {
    [[ -z $pid ]] || kill -KILL "$pid" 2>/dev/null || true
    rm -rf "$place"
}
trap clean_up EXIT

fail() {
    printf 'valgrind_road: %s\n' "$*" >&2
    cat "$place"/said.* >&2
    exit 1
}

kinds=definite,indirect,possible
watched=(valgrind --quiet --error-exitcode=97 "--log-file=$place/said.%p" "--suppressions=$suppressions" --leak-check=full
    "--show-leak-kinds=$kinds" "--errors-for-leak-kinds=$kinds")
printf '#!/bin/bash\nexec %s "$@"\n' "${watched[*]@Q} ${build@Q}/programs/server/systemdataIPsecCfgServer" >"$place/server"
chmod 755 "$place/server"
mkdir -m 700 "$place/run" "$place/certificates"
for name in device internal-ca root-ca; do
    touch "$place/certificates/$name".{pem,key}
done
sed -e "s#/run/ipseccfg/engine.conf#$place/run/engine.conf#" -e "s#/etc/ipseccfg#$place/certificates#" "$sample" >"$place/policy.toml"
sed '0,/^priority = .*/s//priority = -1/' "$place/policy.toml" >"$place/wrong.toml"
cat >"$place/server.toml" <<TOML
engine = "standalone"
setting-directory = "$place/run"
[service]
command = "$build/programs/engine/standalone/standalone"
pid-file = "$place/run/engine.pid"
stop-signal = "TERM"
reconfigure-signal = "HUP"
[modules]
retry = 1
interval-us = 0
TOML
export IPSECCFG_SERVER_CONFIG=$place/server.toml

# expect STATUS WORD...: that the client ends so, and nobody has said anything about its memory or the server's
expect() {
    local wanted=$1 status=0
    shift
    "${watched[@]}" "$build/programs/client/ipseccfgctl" --server "$place/server" "$@" >"$place/out" 2>&1 || status=$?
    [[ $status -eq $wanted ]] || fail "'$*' ended with $status, not with $wanted: $(cat "$place/out")"
    ! grep -q . "$place"/said.* || fail "'$*'"
}

expect 0 init "$place/made.toml"
expect 0 check "$place/policy.toml"
expect 2 check "$place/wrong.toml"
expect 0 show --json "$place/policy.toml"
expect 0 show --xml --secrets "$place/policy.toml"
expect 0 diff "$place/policy.toml" "$place/policy.toml"
expect 1 restart "$place/policy.toml"
expect 0 start "$place/policy.toml"
pid=$(cat "$place/run/engine.pid")
expect 1 start "$place/policy.toml"
expect 0 restart "$place/policy.toml"
expect 0 status
expect 0 shutdown
! readlink "/proc/$pid/exe" >/dev/null || fail "the engine lives"
[[ $(find "$place" -name 'said.*' | wc -l) -ge 18 ]] || fail "not every client and server was watched"
