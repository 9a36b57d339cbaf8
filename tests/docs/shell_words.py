#!/usr/bin/env python3
"""Looks at a sample for a shell: shell_words.py SAMPLE SOURCE

It parses; every command is one that Debian has, a script of this tree or a program of this project; the client's own commands
are those that it has; every preset is one of CMakePresets.json, every option -DIPSECCFG_... one of the build's, and each
component one that is installed."""

import json
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

PROGRAMS = {"ipseccfgctl", "systemdataIPsecCfgServer", "standalone"}
# What need not be installed where the tests run.
ELSEWHERE = {"systemctl", "sudo", "c++"}
COMPONENTS = {"runtime", "development", "programs"}


def commands_of(text):
    """Each command as its words, without what is set before it; substitutions count as commands of their own."""
    text = re.sub(r'(^|\s)#[^\n]*', r'\1', text).replace("\\\n", " ")
    text = re.sub(r'\$\(([^)]*)\)', lambda match: "SUBSTITUTED\n" + match.group(1) + "\n", text)
    for line in re.split(r'\n|&&|\|\||\||;(?=\s)', text):
        words = shlex.split(line)
        while words and re.match(r'\w+=', words[0]):
            words = words[1:]
        if words and not words[0].startswith("-"):
            yield words


def problems_of(words, source):
    name = words[0]
    known = (source / name).exists() if "/" in name else name in PROGRAMS | ELSEWHERE or shutil.which(name)
    if not known:
        yield f"no such command: {name}"
    if name == "sudo":
        yield from problems_of(words[1:], source)
    if name == "ipseccfgctl":
        table = (source / "programs/client/CommandLine.cpp").read_text(encoding="utf-8")
        if not re.search(rf'\{{Command::\w+, "{words[1]}",', table):
            yield f"no such command of ipseccfgctl: {words[1]}"
    presets = json.loads((source / "CMakePresets.json").read_text(encoding="utf-8"))
    names = {preset["name"] for preset in presets["configurePresets"]}
    options = "\n".join(file.read_text(encoding="utf-8") for file in [*source.glob("CMakeLists.txt"),
                                                                      *source.glob("platform/*/CMakeLists.txt")])
    for word, following in zip(words, words[1:] + [""]):
        if word == "--preset" and following not in names:
            yield f"no such preset: {following}"
        if word == "--component" and following not in COMPONENTS:
            yield f"no such component: {following}"
        option = re.match(r'-D(IPSECCFG_\w+)', word)
        if option and not re.search(rf'\b(option|set)\({option.group(1)} ', options):
            yield f"no such option: {option.group(1)}"


def main(sample, source):
    subprocess.run(["bash", "-n", sample], check=True)
    commands = list(commands_of(sample.read_text(encoding="utf-8")))
    problems = [problem for words in commands for problem in problems_of(words, source)]
    print(*problems, sep="\n")
    return 1 if problems or not commands else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])))
