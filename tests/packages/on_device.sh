#!/usr/bin/env bash
# The Debian packages for 32-bit ARM on the emulated device, a whole life of the engine: on_device.sh FOLDER_OF_PACKAGES FOLDER
#
# The device's image has what they need; `scripts/device-test` makes it. They are unpacked over its own build.
set -euo pipefail
packages=$1 folder=$2
source "$(dirname "$0")/system.sh"
here=$(realpath "$(dirname "$0")")
project=$(realpath "$here/../..")
command -v qemu-system-arm >/dev/null || skip "there is no qemu-system-arm"
[[ -f $project/build/device/root.squashfs ]] || skip "there is no image of the device, scripts/device-test makes it"
compgen -G "$packages/*_armhf.deb" >/dev/null || skip "there are no packages, 'scripts/package armhf' makes them"
rm -rf "$folder"
mkdir -p "$folder/unpacked"
for package in "$packages"/*_armhf.deb; do dpkg-deb -x "$package" "$folder/unpacked"; done
install "$here/inside_device.sh" "$folder"
exec "$project/tests/device/run_device" "$folder" 900 /run/folder/inside_device.sh
