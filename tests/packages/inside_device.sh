#!/bin/bash
# What on_device.sh tries on the device.
set -euo pipefail
fail() {
    echo "device: $*" >&2
    exit 1
}
expect() {
    local text=$1 said
    shift
    said=$("$@" 2>&1) || fail "$* failed: $said"
    grep -qF "$text" <<<"$said" || fail "$* did not say '$text' but: $said"
    echo "$(cut -d ' ' -f 1 /proc/uptime) s: $*: $(head -n 1 <<<"$said")"
}
for program in bin/ipseccfgctl sbin/systemdataIPsecCfgServer libexec/ipseccfg/standalone; do
    rm -f "/usr/$program"
done
cp -r --preserve=mode,links /run/folder/unpacked/. /
for program in bin/ipseccfgctl sbin/systemdataIPsecCfgServer; do
    [[ $(sha256sum <"/usr/$program") == "$(sha256sum <"/run/folder/unpacked/usr/$program")" ]] || fail "$program is not that of the packages"
done
install -d -m 700 /run/ipseccfg

expect "armv7l" uname -m
expect "correct" systemdataIPsecCfgServer --check-config
expect "wrote" ipseccfgctl init /root/policy.toml
expect "started" ipseccfgctl start /root/policy.toml
pid=$(cat /run/ipseccfg/engine.pid)
[[ $(readlink "/proc/$pid/exe") == /usr/libexec/ipseccfg/standalone ]] || fail "the engine does not run"
expect "restarted" ipseccfgctl restart /root/policy.toml
[[ $(cat /run/ipseccfg/engine.pid) == "$pid" ]] || fail "a restart made another engine"
expect "shut down" ipseccfgctl shutdown
[[ ! -e /proc/$pid && ! -e /run/ipseccfg/engine.conf ]] || fail "something is left of the engine"
