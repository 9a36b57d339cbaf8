#!/usr/bin/env python3
"""Compares the texts that the libraries throw with docs/what-can-go-wrong.md and with the headers: thrown_texts.py SOURCE

Which texts are thrown is taken from the sources: every text of more than one word, but for those that are listed here as being
something else, and every text in a throw expression."""

import pathlib
import re
import sys

# What the sources say that is no exception: headings of what is printed, commands, punctuation.
NOT_THROWN = {
    "Contents of Certificate:", "  Filter Kind   : ", "  Cert File Path: ", "  Pkey File Path: ", "Contents of FilterRule:",
    "  Filter Type   : ", "  Src IP Address: ", "  Dst IP Address: ", "  Identity Type : ", "  Src Identity  : ",
    "  Dst Identity  : ", "  Priority      : ", "EncryptionAlgorithm: value: ", "KeyLength: value: ", "HashAlgorithm: value: ",
    "AuthenticationMethod: value: ", ": data: ", "GroupDescription: value: ", "LifeType: value: ", "LifeDuration: value: ",
    "SecurityAssociation: ", "proposalID: ", "transformID: ", "/sbin/rmmod -s", "pidof ",
}
LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
THROW = re.compile(r'throw (std::\w+)\(([^;]*);')
SPACES_ALONE = re.compile(r'(\\n)?\s*')


def without_comments(text):
    # Raw literals hold markup, no words; a comment begins a line or follows a blank.
    text = re.sub(r'R"(\w*)\(.*?\)\1"', '""', text, flags=re.DOTALL)
    text = re.sub(r"'(\\.|[^'\\])'", "' '", text)
    return re.sub(r'(^|\s)//[^\n]*', r'\1', text)


def texts_of(files):
    """Of all files: the texts, those among them that are thrown, and pairs of a thrown text and its type."""
    everything, thrown, typed = set(), set(), set()
    for file in files:
        source = without_comments(file.read_text(encoding="utf-8"))
        everything |= set(LITERAL.findall(source))
        for kind, arguments in THROW.findall(source):
            literals = LITERAL.findall(arguments)
            thrown |= set(literals)
            if literals and not literals[0].startswith(" "):
                typed.add((literals[0], kind))
    thrown |= {text for text in everything if " " in text and not SPACES_ALONE.fullmatch(text)}
    return everything, thrown - NOT_THROWN, typed


def rows_of(document):
    """Pairs of a text and its type. A text with a "'" stands between double backticks: Doxygen asks for it."""
    return [row[1:] for row in re.findall(r'^\| (`+)([^`]*)\1 \| `(std::\w+)` \|', document, re.MULTILINE)]


def is_made_of(text, parts):
    """Whether a text is a sequence of parts."""
    reached = {0}
    for position in range(len(text)):
        if position in reached:
            reached |= {position + len(part) for part in parts if part and text.startswith(part, position)}
    return len(text) in reached


def words_of_headers(files):
    text = "\n".join(file.read_text(encoding="utf-8") for file in files)
    return " ".join(re.sub(r'^\s*///', '', line).strip() for line in text.split("\n") if re.match(r'\s*///', line))


def main(source):
    files = sorted([*source.glob("lib/src/*.cpp"), *source.glob("platform/*/*.cpp"), *source.glob("platform/*/*.h")])
    files = [file for file in files if file.parent.name != "include"]
    headers = [*source.glob("lib/src/*.h"), *source.glob("platform/include/*.h")]
    everything, thrown, typed = texts_of(files)
    rows = rows_of((source / "docs/what-can-go-wrong.md").read_text(encoding="utf-8"))
    documented = re.sub(r"\s+", " ", words_of_headers(headers))

    problems = [f"not among the texts of the sources any more: {text}" for text in NOT_THROWN - everything]
    for text in sorted(thrown):
        if not any(text.rstrip() in row for row, _ in rows):
            problems.append(f"thrown, but not in the document: {text}")
        if text.rstrip() not in documented:
            problems.append(f"thrown, but no header says so: {text}")
    for row, _ in rows:
        # What the standard library puts before the reason of a system_error is its own.
        fixed = re.split(r"<\w+>", row.replace(": <reason>", ""))
        if not all(is_made_of(part, everything) for part in fixed):
            problems.append(f"in the document, but not thrown: {row}")
    for text, kind in sorted(typed):
        kinds = {row_kind for row, row_kind in rows if row.startswith(text)}
        if kinds and kind not in kinds:
            problems.append(f"thrown as {kind}, but the document says {', '.join(sorted(kinds))}: {text}")
    print(*problems, sep="\n")
    print(f"{len(thrown)} texts in {len(files)} sources, {len(rows)} rows, {len(problems)} problems")
    return 1 if problems or len(thrown) < 30 or len(rows) < 30 else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
