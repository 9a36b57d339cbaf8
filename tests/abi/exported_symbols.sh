#!/usr/bin/env bash
# Compares what a library exports, and how it is linked, with what its users rely on.
#   exported_symbols.sh NM READELF LIBRARY EXPECTED NAMESPACE [NEEDED...]
#   exported_symbols.sh NM READELF LIBRARY EXPECTED --update
set -euo pipefail
nm=$1 readelf=$2 library=$3 expected=$4 namespace=$5
shift 5

exported() {
    # Other weak symbols depend on what a compiler inlines, as does the strength of a type's name: the strong ones and the
    # virtual tables are promised. A size is of another type on 32 bits. The virtual table of a class that has no function of its
    # own is made by everybody who needs it; an optimised library keeps its own to itself.
    "$nm" -D --defined-only -C "$library" | sed -E 's/^[0-9a-f]+ //; s/@@?[A-Z_]+_1$//; s/\[abi:cxx11\]//g; s/std::__cxx11::/std::/g; s/unsigned (long|int)\b/size_t/g' |
        grep -vE '^. (typeinfo name for |vtable for .*::(Certificate|FilterRule|Result|Scenario|SecurityAssociation)Command$)' | grep -E '^[TDBR] |^V (vtable|typeinfo) for ' | sed -E 's/^[VDBR] /O /' | LC_ALL=C sort -u
}

if [[ $namespace == --update ]]; then
    exported >"$expected"
    exit
fi

failed=0
complain() {
    echo "$*"
    failed=1
}
diff -u "$expected" <(exported) || failed=1
# What an instance of a template returns stands before its name.
of_ours="(guard variable for |typeinfo for |typeinfo name for |vtable for )?$namespace::"
if "$nm" -D --defined-only -C "$library" | grep -vE " A [A-Z_]+_1|^[0-9a-f]+ . ${of_ours}[^(]*(\(|$)" ||
    "$nm" -D --defined-only -C "$library" | grep -E "^[^(]* std::"; then
    complain "exported, but not of the library's own namespaces"
fi
name=$(basename "$library")
soname=${name%%.so*}.so.1
dynamic=$("$readelf" -dW "$library")
segments=$("$readelf" -lW "$library")
grep -qF "Library soname: [$soname]" <<<"$dynamic" || complain "its soname is not $soname"
grep -q 'NOW' <<<"$dynamic" || complain "not linked with -z now"
grep -q GNU_RELRO <<<"$segments" || complain "not linked with -z relro"
for needed in "$@"; do
    grep -qE "\(NEEDED\).*\[$needed\]" <<<"$dynamic" || complain "does not need $needed"
done
exit $failed
