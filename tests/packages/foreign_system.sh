#!/usr/bin/env bash
# The Debian packages for 32-bit ARM, unpacked beside what they need and no other library, under QEMU's user-mode emulation:
# foreign_system.sh FOLDER_OF_PACKAGES. An engine cannot run there; that is for on_device.sh.
set -euo pipefail
packages=$1
source "$(dirname "$0")/system.sh"
project=$(realpath "$(dirname "$0")/../..")
command -v qemu-arm-static >/dev/null || skip "there is no qemu-arm-static"
compgen -G "$packages/*_armhf.deb" >/dev/null || skip "there are no packages, 'scripts/package armhf' makes them"
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
system=$place/system

mapfile -t needs < <(needs_of "$packages" armhf | grep -vx adduser)
"$project/scripts/sysroot" armhf "$system" "${needs[@]}" >"$place/log" 2>&1 || {
    cat "$place/log"
    skip "the packages that ours need cannot be fetched"
}
for package in "$packages"/*_armhf.deb; do dpkg-deb -x "$package" "$system"; done

# expect STATUS TEXT PROGRAM ARGUMENT...: ends with that status and says so
expect() {
    local expected=$1 text=$2 program=$3 said status=0
    shift 3
    [[ $(file -bL "$system/usr/$program") == *"32-bit LSB"*ARM* ]] || fail "$program is for another processor"
    said=$(env -i IPSECCFG_SERVER_CONFIG="$system/etc/ipseccfg/server.toml" \
        qemu-arm-static -L "$system" "$system/usr/$program" "$@" 2>&1) || status=$?
    [[ $status -eq $expected ]] || fail "$program $* ended with $status, not $expected: $said"
    grep -qF -- "$text" <<<"$said" || fail "$program $* did not say '$text' but: $said"
}
version=$(sed -nE 's/^project\(ipseccfg VERSION ([0-9.]+).*/\1/p' "$project/CMakeLists.txt")
for program in bin/ipseccfgctl sbin/systemdataIPsecCfgServer libexec/ipseccfg/standalone libexec/ipseccfg/strongswan; do
    expect 0 "$version" "$program" --version
done
expect 0 "wrote" bin/ipseccfgctl init "$place/policy.toml"
expect 0 "no problems" bin/ipseccfgctl check "$place/policy.toml"
expect 0 "192.0.2.1" bin/ipseccfgctl show "$place/policy.toml"
expect 0 "correct" sbin/systemdataIPsecCfgServer --check-config
echo "run beside ${needs[*]}"
