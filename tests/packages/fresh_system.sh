#!/usr/bin/env bash
# The Debian packages in a fresh system: installed, used, removed. fresh_system.sh FOLDER_OF_PACKAGES [BASE]
#
# The system, a Debian 12, is a folder of its own (debootstrap), gone afterwards; only root can make one. BASE is one that is there already
# and is copied instead.
set -euo pipefail
packages=$1 base=${2:-}
skip() {
    echo "skipped: $1"
    exit 77
}
[[ $(id -u) -eq 0 ]] || skip "only root can make a system"
command -v debootstrap >/dev/null || skip "there is no debootstrap"
architecture=$(dpkg --print-architecture)
compgen -G "$packages/*_$architecture.deb" >/dev/null || skip "there are no packages, scripts/package makes them"

# Mounts of this test are its own, and gone with it.
if [[ -z ${IPSECCFG_OWN_MOUNTS:-} ]]; then
    IPSECCFG_OWN_MOUNTS=1 exec unshare --mount --pid --fork --kill-child "$0" "$@"
fi

place=$(mktemp -d)
trap 'umount "$place/system/proc" 2>/dev/null || true; rm -rf --one-file-system "$place"' EXIT
system=$place/system
fail() {
    echo "packages: $*" >&2
    exit 1
}

# What the packages want of a system, apart from each other.
needs=$(for package in "$packages"/*_"$architecture".deb; do
    dpkg-deb -f "$package" Depends | tr , '\n' | awk '$1 !~ /ipseccfg/ && $1 !~ /-dev$/ { print $1 }'
done | sort -u | paste -sd ,)

if [[ -n $base ]]; then
    cp -a "$base" "$system"
else
    debootstrap --variant=minbase "--include=$needs" bookworm "$system" >"$place/log" 2>&1 || {
        cat "$place/log"
        skip "debootstrap failed"
    }
fi
mount -t proc proc "$system/proc"
mkdir "$system/packages"
cp "$packages"/*_"$architecture".deb "$system/packages"
inside() { chroot "$system" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 "$@"; }
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
inside sh -c 'dpkg -i /packages/libipseccfg1_*.deb /packages/ipseccfg-*.deb' >"$place/log" 2>&1 || {
    cat "$place/log"
    fail "the packages cannot be installed"
}

expect "correct" systemdataIPsecCfgServer --check-config
expect "ipseccfg" getent group ipseccfg
expect "700" stat -c %a /run/ipseccfg
expect "wrote 'policy.toml'" sh -c 'cd /root && ipseccfgctl init'
expect "no problems" ipseccfgctl check /root/policy.toml
expect "started: " ipseccfgctl start /root/policy.toml
[[ $(readlink "$(printf '%s/proc/%s/exe' "$system" "$(cat "$system/run/ipseccfg/engine.pid")")") == */usr/libexec/ipseccfg/standalone ]] ||
    fail "the engine does not run"
expect "restarted: " ipseccfgctl restart /root/policy.toml
expect "shut down: " ipseccfgctl shutdown --setting-file /run/ipseccfg/engine.conf
expect "started: " ipseccfgctl start /root/policy.toml
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
