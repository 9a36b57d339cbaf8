#!/usr/bin/env bash
# Messages between another XML-RPC implementation and ours, in both directions: exchange.sh ECHO PEER...
#
# The peer is a program. `PEER write KIND` writes a call, a response or a fault that holds what texts.json says; `PEER read KIND`
# reads one and tells whether it holds just that. Our part reads each and writes it again, on one line or on many.
set -euo pipefail
echo=$1
peer=("${@:2}")
command -v "${peer[0]}" >/dev/null || {
    echo "skipped: there is no ${peer[0]}"
    exit 77
}
here=$(dirname "$0")
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
if ! "${peer[@]}" write call <"$here/texts.json" >"$place/said" 2>&1; then
    missing=$(grep -m 1 -E 'RPC.XML.pm|cannot load such file|undefined function' "$place/said") || { cat "$place/said"; exit 1; }
    echo "skipped: $missing"
    exit 77
fi
for kind in call response fault; do
    "${peer[@]}" write $kind <"$here/texts.json" >"$place/written"
    for form in "" --pretty; do
        "$echo" $form <"$place/written" >"$place/echoed"
        "${peer[@]}" read $kind "$here/texts.json" <"$place/echoed" || {
            echo "$kind $form: not what was written"
            exit 1
        }
    done
done
