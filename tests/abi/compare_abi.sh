#!/usr/bin/env bash
# Compares a library's binary interface (types, layouts, virtual tables, functions) with the one that is kept.
#   compare_abi.sh LIBRARY BASELINE HEADER_FOLDER...
#   compare_abi.sh --update LIBRARY BASELINE HEADER_FOLDER...
set -euo pipefail
update=
[[ $1 != --update ]] || { update=1 && shift; }
library=$1 baseline=$2
shift 2
command -v abidiff >/dev/null || {
    echo "skipped: there is no abidiff (scripts/setup checks)"
    exit 77
}
suppressions=$(dirname "$0")/abigail.supp
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

folders=()
for folder in "$@"; do
    folders+=(--headers-dir "$folder")
done
# The public types alone: what a header only names may change.
abidw --suppressions "$suppressions" --drop-private-types --exported-interfaces-only --no-show-locs --no-corpus-path \
    --no-comp-dir-path --type-id-style hash "${folders[@]}" --out-file "$work/now.abi" "$library"
if [[ -n $update ]]; then
    xz -9e --stdout "$work/now.abi" >"$baseline"
    exit
fi
xz -d --stdout "$baseline" >"$work/kept.abi"
[[ $(grep -c '<class-decl' "$work/kept.abi") -gt 0 ]] || {
    echo "the kept interface holds no class: $baseline"
    exit 1
}
abidiff --suppressions "$suppressions" "$work/kept.abi" "$work/now.abi" || {
    echo "The binary interface of $(basename "$library") has changed. CONTRIBUTING.md says when that may be, and how it is kept."
    exit 1
}
