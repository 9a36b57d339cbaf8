#!/usr/bin/env bash
# Compiles each header alone: compile_alone.sh COMPILER STANDARD HEADER...
set -euo pipefail
compiler=$1 standard=$2
shift 2
command -v "$compiler" >/dev/null || {
    echo "skipped: there is no $compiler"
    exit 77
}

folders=()
for header in "$@"; do
    folders+=(-I"$(dirname "$header")")
done
mapfile -t folders < <(printf '%s\n' "${folders[@]}" | sort -u)

failed=0
for header in "$@"; do
    name=$(basename "$header")
    printf '#include "%s"\n#include "%s"\n' "$name" "$name" |
        "$compiler" -std="$standard" -x c++ -fsyntax-only "${folders[@]}" \
            -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror - || {
        echo "does not compile alone as $standard by $compiler: $name"
        failed=1
    }
done
echo "$# headers"
[[ $# -gt 20 ]] || failed=1
exit $failed
