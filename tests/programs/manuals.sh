#!/usr/bin/env bash
# The manual pages are such as their formatters understand: manuals.sh mandoc|man FOLDER
set -euo pipefail
checker=$1 folder=$2
command -v "$checker" >/dev/null || {
    echo "skipped: there is no $checker"
    exit 77
}
pages=("$folder"/*.[158])
[[ ${#pages[@]} -eq 4 ]] || {
    echo "there are ${#pages[@]} pages" >&2
    exit 1
}
for page in "${pages[@]}"; do
    case $checker in
    # Unlike its warnings, its style is a matter of taste: a full name in the heading, a folder of other people's pages.
    mandoc) complaints=$(mandoc -T lint -W warning "$page" 2>&1) || true ;;
    *) complaints=$(LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null) || true ;;
    esac
    [[ -z $complaints ]] || {
        echo "${page##*/}: $complaints" >&2
        exit 1
    }
done
