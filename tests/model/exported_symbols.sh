#!/usr/bin/env bash
# Compares what the library exports, and how it is linked, with what its users rely on.
#   exported_symbols.sh NM READELF LIBRARY EXPECTED [--update]
set -euo pipefail
nm=$1 readelf=$2 library=$3 expected=$4

exported() {
    # Other weak symbols depend on what a compiler inlines, as does the strength of a type's name: the strong ones and the
    # virtual tables are promised.
    "$nm" -D --defined-only -C "$library" | sed -E 's/^[0-9a-f]+ //; s/@@?IPSECCFG_1$//; s/\[abi:cxx11\]//g; s/std::__cxx11::/std::/g' |
        grep -vE '^. typeinfo name for ' | grep -E '^[TDBR] |^V (vtable|typeinfo) for ' | sed -E 's/^[VDBR] /O /' | LC_ALL=C sort -u
}

if [[ ${5:-} == --update ]]; then
    exported >"$expected"
    exit
fi

failed=0
diff -u "$expected" <(exported) || failed=1
if "$nm" -D --defined-only -C "$library" | grep -vE ' A IPSECCFG_1|norvale::tamber::systemdata::ipseccfg::'; then
    echo "exported, but not of the library's own namespaces"
    failed=1
fi
dynamic=$("$readelf" -dW "$library")
segments=$("$readelf" -lW "$library")
for needed in 'Library soname: \[libipseccfg\.so\.1\]' 'NOW' '\(NEEDED\).*libsystemdata-parser\.so\.1' '\(NEEDED\).*libsystemdata-requester\.so\.1'; do
    grep -qE "$needed" <<<"$dynamic" || {
        echo "not in the dynamic section: $needed"
        failed=1
    }
done
grep -q GNU_RELRO <<<"$segments" || {
    echo "not linked with -z relro"
    failed=1
}
exit $failed
