#!/usr/bin/env python3
"""Takes the samples out of the documents, so that they can be compiled and run.

    samples.py FOLDER DOCUMENT...     writes each fenced block as FOLDER/DOCUMENT.NUMBER.LANGUAGE and prints the names

The number counts the document's blocks of that language. A block without a language is no sample. Files that are right
already stay untouched; files of samples that are gone are removed."""

import pathlib
import re
import sys

FENCED = re.compile(r'^```(\w*)\n(.*?)^```$', re.MULTILINE | re.DOTALL)


def samples_of(document):
    counted = {}
    for language, text in FENCED.findall(document.read_text(encoding="utf-8")):
        if language:
            counted[language] = counted.get(language, 0) + 1
            yield f"{document.stem}.{counted[language]}.{language}", text


def main(folder, documents):
    folder.mkdir(parents=True, exist_ok=True)
    samples = dict(sample for document in documents for sample in samples_of(document))
    for name, text in samples.items():
        file = folder / name
        if not file.exists() or file.read_text(encoding="utf-8") != text:
            file.write_text(text, encoding="utf-8")
    for file in folder.iterdir():
        if file.name not in samples:
            file.unlink()
    print(";".join(sorted(samples)), end="")


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]), [pathlib.Path(name) for name in sys.argv[2:]])
