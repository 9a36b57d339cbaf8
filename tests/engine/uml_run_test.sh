#!/usr/bin/env bash
# Nothing of User-mode Linux stays when uml_run is killed, whichever way:  uml_run_test.sh FOLDER
set -euo pipefail

folder=$(realpath "$1")
uml_run=$(realpath "$(dirname "$0")")/uml_run

processes() { pgrep --full --count "IPSECCFG_FOLDER=$folder( |\$)" || true; }

eventually() { # SECONDS COMMAND...
    local deadline=$((SECONDS + $1))
    shift
    until "$@"; do
        ((SECONDS < deadline)) || return 1
        sleep 0.1
    done
}

is_up() { [[ -e $folder/up ]] || ! kill -0 "$runner" 2>/dev/null; }
is_gone() { [[ $(processes) -eq 0 ]]; }

for signal in KILL TERM HUP; do
    rm -f "$folder/up"
    # Processes of all kinds are in there: some that run, some that wait.
    # shellcheck disable=SC2016
    "$uml_run" "$folder" bash -c 'sleep 600 & (while :; do :; done) & touch /run/folder/up; wait' >"$folder/output" &
    runner=$!
    eventually 60 is_up
    status=0
    kill -0 "$runner" 2>/dev/null || wait "$runner" || status=$?
    if [[ $status -eq 77 ]]; then
        cat "$folder/output"
        exit 77
    fi
    [[ -e $folder/up ]] || { cat "$folder/output"; exit 1; }
    before=$(processes)
    ((before > 1)) || { echo "SIG$signal: only $before processes to begin with"; exit 1; }
    kill -s "$signal" "$runner"
    wait "$runner" || true
    eventually 20 is_gone || { echo "SIG$signal: of $before processes $(processes) are left"; exit 1; }
    echo "SIG$signal: of $before processes none is left"
done
