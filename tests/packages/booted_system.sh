#!/usr/bin/env bash
# The units under a real systemd, the first process of a kernel of its own (User-mode Linux), in a system that the Debian packages were
# installed in (system.sh): booted_system.sh FOLDER_OF_PACKAGES
#
# What is tried in it is booted_inside.sh, a service that systemd starts.
set -euo pipefail
more=systemd,systemd-sysv,dbus,kmod,iproute2,charon-systemd,strongswan-swanctl,libstrongswan-standard-plugins
seconds=1500
source "$(dirname "$0")/system.sh"
modules=(/usr/lib/uml/modules/*/)
[[ -d ${modules[0]} && -n $(command -v linux.uml) ]] || skip "there is no User-mode Linux"
alone "$0" "$@"
make_system "$1" "$more"
install_packages
inside useradd --groups ipseccfg member
inside useradd stranger
ln -sf /dev/null "$system/etc/systemd/system/strongswan.service"
mkdir -p "$system/lib/modules"
cp -a "${modules[0]}" "$system/lib/modules"
# What a user makes in a folder of this machine would belong to whoever runs the kernel.
printf 'none /home tmpfs mode=755 0 0\nnone /tmp tmpfs mode=1777 0 0\n' >"$system/etc/fstab"
install -m 755 "$(dirname "$0")/booted_inside.sh" "$system/usr/local/sbin/booted_inside"
cat >"$system/etc/systemd/system/test.service" <<'UNIT'
[Unit]
Requires=basic.target
After=basic.target
# A dependency that cannot be met ends the test, too.
OnFailure=poweroff.target
[Service]
Type=oneshot
ExecStart=/bin/bash -c '/usr/local/sbin/booted_inside >/var/said 2>&1; echo $? >/var/status'
ExecStopPost=/bin/systemctl poweroff --force --force
TimeoutStartSec=infinity
UNIT
umount "$system/proc"

status=0
# Its memory is a file; where there is no room for it, it dies. It wants a home that it can write into, too.
TMPDIR=$place HOME=$place timeout --kill-after=5 "$seconds" linux.uml mem=512M root=/dev/root rootfstype=hostfs \
    "rootflags=$system" rw con=null con0=null,fd:1 con1=null ssl=null loglevel=1 panic=1 \
    init=/lib/systemd/systemd systemd.unit=test.service systemd.show_status=1 </dev/null >"$place/console" 2>&1 || status=$?
[[ ! -f $system/var/said ]] || cat "$system/var/said"
[[ -f $system/var/status ]] || {
    tail -n 40 "$place/console" | tr -d '\033' | cut -c1-160
    fail "the booted system did not come to its end within $seconds s (it ended with $status)"
}
exit "$(cat "$system/var/status")"
