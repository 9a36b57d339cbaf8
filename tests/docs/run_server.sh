#!/usr/bin/env bash
# A sample of a server carries requests out on a host that only notes what it is asked: run_server.sh PROGRAM START SHUTDOWN
# The program's sample_host.cpp writes down into the file that SAMPLE_HOST_ASKED names.
set -euo pipefail
program=$1 start=$2 shutdown=$3
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
export SAMPLE_HOST_ASKED=$place/asked SAMPLE_HOST_FOLDER=$place

fail() {
    echo "sample: $*" >&2
    cat "$place/asked" >&2
    exit 1
}

# answers STATUS REQUEST: what it says, and that the host was asked for all the words that follow.
answers() {
    local status=$1 request=$2 word
    shift 2
    "$program" <"$request" >"$place/answer" || fail "it ended with $?"
    tr -d ' \n' <"$place/answer" >"$place/joined"
    grep -qF "<name>status</name><value><int>$status</int></value>" "$place/joined" ||
        fail "the answer is not of status $status: $(cat "$place/answer")"
    for word in "$@"; do
        grep -qF -- "$word" "$place/asked" || fail "the host was not asked: $word"
    done
}

answers 0 "$start" '/sbin/insmod /lib/modules/esp4.ko' '/usr/sbin/engine -'
# A server that writes a setting file writes the request's rule into it.
[[ ! -e $place/engine.conf ]] || grep -qx 'protect 192.0.2.1 192.0.2.2' "$place/engine.conf" || fail "its setting file is wrong"
answers 0 "$shutdown" '/sbin/rmmod -s esp4' 'kill '
