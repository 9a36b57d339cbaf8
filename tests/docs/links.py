#!/usr/bin/env python3
"""Checks that what the documents refer to is there: links.py SOURCE

Every link of a Markdown file to a file of this tree, its heading included; every path in a code span that begins with a folder
of this tree and ends in no NAME; that README.md links every guide; that the build's options are those that are listed; that the
changelog's latest version is the project's."""

import pathlib
import re
import sys

LINK = re.compile(r'\[[^\]]*\]\(([^)\s]+)\)')
# Below these folders lies what belongs to the tree, and not to the machine that it is installed on.
SPAN = re.compile(r'`((?:\.ci|cmake|docs|lib|packaging|platform|programs|scripts|tests|benchmarks)/[\w./-]*)`')


def anchors_of(document):
    headings = re.findall(r'^#+ (.*)$', document, re.MULTILINE)
    return {re.sub(r'[^\w -]', '', heading).strip().lower().replace(' ', '-') for heading in headings}


def problems_of(source, file):
    document = file.read_text(encoding="utf-8")
    prose = re.sub(r'^```.*?^```', '', document, flags=re.MULTILINE | re.DOTALL)
    for target in LINK.findall(prose):
        if re.match(r'[a-z]+:', target):
            continue
        path, _, anchor = target.partition("#")
        linked = file.parent / path if path else file
        if not linked.exists():
            yield f"{target}: there is no such file"
        elif anchor and anchor not in anchors_of(linked.read_text(encoding="utf-8")):
            yield f"{target}: there is no such heading"
    for path in SPAN.findall(prose):
        if not re.search(r'/[A-Z]+$', path) and not (source / path).exists():
            yield f"{path}: there is no such file"


def main(source):
    files = [*source.glob("*.md"), *source.glob("docs/**/*.md")]
    problems = [f"{file.relative_to(source)}: {problem}" for file in files for problem in problems_of(source, file)]
    listed = set(re.findall(r'^\| `(IPSECCFG_\w+)`', (source / "docs/building-for-a-device.md").read_text(encoding="utf-8"),
                            re.MULTILINE))
    built = set()
    for file in [source / "CMakeLists.txt", *source.glob("platform/*/CMakeLists.txt")]:
        built |= set(re.findall(r'^(?:option|set)\((IPSECCFG_\w+)', file.read_text(encoding="utf-8"), re.MULTILINE))
    built.discard("IPSECCFG_TOP_LEVEL")
    problems += [f"docs/building-for-a-device.md: no such option: {option}" for option in listed - built]
    problems += [f"docs/building-for-a-device.md: not listed: {option}" for option in built - listed]
    latest = re.search(r'^## \[([\d.]+)\]', (source / "CHANGELOG.md").read_text(encoding="utf-8"), re.MULTILINE)
    if latest is None or f"VERSION {latest.group(1)} " not in (source / "CMakeLists.txt").read_text(encoding="utf-8"):
        problems.append("CHANGELOG.md: its latest version is not that of CMakeLists.txt")
    print(*problems, sep="\n")
    guides = [*source.glob("docs/**/*.md"), *source.glob("[!R]*.md")]
    readme = (source / "README.md").read_text(encoding="utf-8")
    unlinked = [str(guide.relative_to(source)) for guide in guides if f"({guide.relative_to(source)})" not in readme]
    for name in unlinked:
        print(f"README.md does not link {name}")
    print(f"{len(files)} documents, {len(problems) + len(unlinked)} problems")
    return 1 if problems or unlinked or len(files) < 4 else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
