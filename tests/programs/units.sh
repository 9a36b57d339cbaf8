#!/usr/bin/env bash
# The units are such as systemd understands, and the service is confined: units.sh SOURCE_FOLDER BUILT_FOLDER
set -euo pipefail
source=$1 built=$2
command -v systemd-analyze >/dev/null || {
    echo "skipped: there is no systemd-analyze"
    exit 77
}
fail() {
    echo "units: $*" >&2
    exit 1
}
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
# What systemd does not know it only warns of. That the program is not installed here is no fault of the unit.
sed 's#^ExecStart=.*#ExecStart=/bin/true#' "$built/ipseccfg@.service" >"$place/ipseccfg@.service"
cp "$built/ipseccfg.socket" "$place"
systemd-analyze verify --man=no "$place/ipseccfg.socket" "$place/ipseccfg@.service" >"$place/complaints" 2>&1 || true
! grep -F 'ipseccfg' "$place/complaints" || fail "systemd complains"

# The scale reaches to 100: 35 is what loading modules and owning the network's keys leaves.
systemd-analyze security --offline=true --threshold=35 "$built/ipseccfg@.service" >"$place/exposure" ||
    fail "the service is more exposed than it need be: $(tail -n 1 "$place/exposure")"
grep -q '^SocketMode=0660$' "$built/ipseccfg.socket" || fail "the socket's mode is not 0660"
grep -q '^SocketGroup=ipseccfg$' "$built/ipseccfg.socket" || fail "the socket's group is not ipseccfg"
# Whatever is switched off has its reason in the lines above it.
awk '/^#/ { reason = 1; next } /^$/ { reason = 0; next }
     /=(no|default|all|any)$/ && !reason { print; bad = 1 } END { exit bad }' "$source/ipseccfg@.service.in" ||
    fail "a setting is open and nothing says why"
