#!/usr/bin/env bash
# What bash completes a command line of ipseccfgctl with: bash_completion.sh FOLDER CLIENT
set -euo pipefail
client=$2
# shellcheck source=/dev/null
source "$1/ipseccfgctl.bash"

place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
cd "$place"
mkdir folder
touch old.toml new.toml "a policy.toml" notes.txt folder/deep.toml

# completed WORD...: what the last word, which may be empty, is completed with, sorted, with commas between
completed() {
    COMP_WORDS=(ipseccfgctl "$@")
    COMP_CWORD=$#
    COMPREPLY=()
    _ipseccfgctl
    printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort | paste -sd ,
}

# expect EXPECTED WORD...
failures=0
expect() {
    local expected=$1 seen
    shift
    seen=$(completed "$@")
    [[ $seen == "$expected" ]] || {
        echo "ipseccfgctl $*: expected '$expected', got '$seen'" >&2
        failures=$((failures + 1))
    }
}

# The names that a help text has: of commands, and of long options.
commands=$("$client" --help | awk '/^Commands:/ { on = 1; next } /^$/ { on = 0 } on { print $1 }')
options_of() { { "$client" "$@" --help; echo " --json --verbose --server "; } | grep -oE '(^|[ ,])--[a-z-]+' | tr -d ' ,' | LC_ALL=C sort -u | paste -sd ,; }

expect "$(LC_ALL=C sort <<<"$commands" | paste -sd ,)" ""
expect "$(LC_ALL=C sort <<<"$commands" | paste -sd ,)" --json ""
expect "start,status" sta
expect "start,status" --server show sta
expect "check" --server ./x -v ch
expect "" nonsense
expect "$(options_of)" --
while read -r command; do
    expect "$(options_of "$command")" "$command" --
done <<<"$commands"
for command in start restart check show init; do
    expect "a policy.toml,folder,new.toml,old.toml" "$command" ""
    expect "old.toml" "$command" o
    expect "folder/deep.toml" "$command" folder/
done
expect "a policy.toml,folder,new.toml,old.toml" diff old.toml ""
expect "" status ""
expect "" shutdown ""
expect "notes.txt" start --server no
expect "notes.txt" shutdown --setting-file no
complete -p ipseccfgctl >/dev/null || failures=$((failures + 1))
[[ $failures -eq 0 ]]
