#!/usr/bin/env bash
# A sample in TOML is right for the program that it is for: read_toml.sh SAMPLE CLIENT SERVER
set -euo pipefail
sample=$1 client=$2 server=$3
if grep -q '^setting-directory' "$sample"; then
    IPSECCFG_SERVER_CONFIG=$sample "$server" --check-config
else
    "$client" check "$sample"
fi
