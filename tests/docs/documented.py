#!/usr/bin/env python3
"""Says which public names have no word of documentation: documented.py XML_FOLDER HEADER...

Doxygen's own warning passes over some of them, enumerators for example. Left out is what needs no word: destructors, what is
deleted, a default constructor, and what redefines an operation that is documented."""

import pathlib
import sys
import xml.etree.ElementTree as ElementTree


def has_words(element):
    return any("".join(element.find(part).itertext()).strip()
               for part in ("briefdescription", "detaileddescription") if element.find(part) is not None)


def needs_words(member):
    name = member.findtext("name")
    arguments = member.findtext("argsstring") or ""
    if member.get("kind") == "friend" or name.startswith("~") or arguments.endswith("=delete"):
        return False
    if member.find("reimplements") is not None:
        return False
    is_constructor = member.get("kind") == "function" and not member.findtext("type")
    return not (is_constructor and arguments == "()")


def main(folder, headers):
    problems, looked_at, seen = [], 0, set()
    for file in sorted(folder.glob("*.xml")):
        for compound in ElementTree.parse(file).getroot().iter("compounddef"):
            kind, name = compound.get("kind"), compound.findtext("compoundname")
            if kind in ("class", "struct") or kind == "file" and name in headers:
                seen.add(name if kind == "file" else "")
                looked_at += 1
                if not has_words(compound):
                    problems.append(f"{kind} {name}")
            for member in compound.iter("memberdef"):
                if member.get("prot") == "private":
                    continue
                looked_at += 1
                if needs_words(member) and not has_words(member):
                    problems.append(f"{name}::{member.findtext('name')}{member.findtext('argsstring') or ''}")
                for value in member.findall("enumvalue"):
                    looked_at += 1
                    if not has_words(value):
                        problems.append(f"{name}::{member.findtext('name')}::{value.findtext('name')}")
    problems += [f"no documentation was made of {header}" for header in headers if header not in seen]
    for problem in problems:
        print(f"undocumented: {problem}")
    if looked_at < 300:
        problems.append("too little was looked at")
    print(f"{looked_at} public names in {len(headers)} headers, {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]), {pathlib.Path(path).name for path in sys.argv[2:]}))
