# shellcheck shell=bash
# A Debian 12 in a folder of its own with the packages in it; what the tests that need one have in common. Only root can make one.
place=  # a folder that is gone afterwards
system= # the system's folder below it

skip() {
    echo "skipped: $1"
    exit 77
}
fail() {
    echo "packages: $*" >&2
    exit 1
}
# inside COMMAND...: runs a command in the system
inside() { chroot "$system" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 "$@"; }

# needs_of PACKAGES ARCHITECTURE: what they want of a system to run, apart from each other, a line each
needs_of() {
    local package
    for package in "$1"/*_"$2".deb; do
        dpkg-deb -f "$package" Depends | tr , '\n' | awk '$1 !~ /ipseccfg/ && $1 !~ /-dev$/ { print $1 }'
    done | sort -u
}
# alone COMMAND...: begins again, as this command, with mounts and processes of its own, gone with it
alone() {
    [[ $(id -u) -eq 0 ]] || skip "only root can make a system"
    [[ -n ${IPSECCFG_ALONE:-} ]] || IPSECCFG_ALONE=1 exec unshare --mount --pid --fork --kill-child "$@"
}
# make_system PACKAGES MORE: with what the packages of the folder PACKAGES want of a system, apart from each other, with MORE, a list
# of packages, and with the packages themselves beside it, in /packages. IPSECCFG_BASE_SYSTEM, if set, is a system that is there
# already and is copied instead.
make_system() {
    local packages=$1 more=$2 base=${IPSECCFG_BASE_SYSTEM:-} architecture needs
    architecture=$(dpkg --print-architecture)
    command -v debootstrap >/dev/null || skip "there is no debootstrap"
    compgen -G "$packages/*_$architecture.deb" >/dev/null || skip "there are no packages, scripts/package makes them"
    place=$(mktemp -d)
    system=$place/system
    trap 'umount "$system/proc" 2>/dev/null || true; rm -rf --one-file-system "$place"' EXIT
    needs=$(needs_of "$packages" "$architecture" | paste -sd ,)
    if [[ -n $base ]]; then
        cp -a "$base" "$system"
    else
        debootstrap --variant=minbase "--include=$needs${more:+,$more}" bookworm "$system" >"$place/log" 2>&1 || {
            cat "$place/log"
            skip "debootstrap failed"
        }
    fi
    mount -t proc proc "$system/proc"
    mkdir "$system/packages"
    cp "$packages"/*_"$architecture".deb "$system/packages"
}

install_packages() {
    inside sh -c 'dpkg -i /packages/libipseccfg1_*.deb /packages/ipseccfg-*.deb' >"$place/log" 2>&1 || {
        cat "$place/log"
        fail "the packages cannot be installed"
    }
}
