#!/usr/bin/env bash
# A sample of a client sends a request and returns the answer's status: run_client.sh PROGRAM
set -euo pipefail
program=$1
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT

fail() {
    echo "sample: $*" >&2
    exit 1
}

export IPSECCFGSERVER=$place/server
for expected in 0 1; do
    cat >"$IPSECCFGSERVER" <<SERVER
#!/bin/sh
cat >'$place/request'
echo '<methodResponse><params><param><value><array><data><value><struct>
<member><name>table-id</name><value><int>4</int></value></member>
<member><name>status</name><value><int>$expected</int></value></member>
<member><name>detail</name><value><string>scripted</string></value></member>
</struct></value></data></array></value></param></params></methodResponse>'
SERVER
    chmod +x "$IPSECCFGSERVER"
    status=0
    "$program" >"$place/printed" || status=$?
    [[ $status -eq $expected ]] || fail "it ended with $status, not with the answer's status $expected"
    grep -q scripted "$place/printed" || fail "the answer was not printed"
    for word in 192.0.2.2 /run/ipseccfg/engine.conf '<name>priority</name>' '<name>auth-method</name>'; do
        grep -qF "$word" "$place/request" || fail "the request does not hold $word"
    done
done
