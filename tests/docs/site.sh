#!/usr/bin/env bash
# The documentation is built without a warning, and no public name is without a word: site.sh SOURCE WORK
set -euo pipefail
source=$1 work=$2
command -v doxygen >/dev/null || {
    echo "skipped: there is no doxygen (scripts/setup checks)"
    exit 77
}
cd "$source"
scripts/docs "$work"
shopt -s extglob
python3 tests/docs/documented.py "$work/xml" lib/src/!(ShellCommand).h platform/include/*.h
for page in index md_docs_security; do
    [[ -s $work/html/$page.html ]] || {
        echo "the site has no page $page"
        exit 1
    }
done
