#!/usr/bin/env python3
"""What clang-tidy has to read to see each of some files once.

    scripts/lint_units.py LINT BUILD... -- FILE...

Prints the files or, where sources are compiled together, what includes them. LINT gets a compilation database of one
command for each, that of the first BUILD that has it: what is part of several targets stands in its database as often.
"""
import json
import os
import re
import sys

lint, *builds = sys.argv[1 : sys.argv.index("--")]
files = sys.argv[sys.argv.index("--") + 1 :]
commands = {}
for build in builds:
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as database:
        for command in json.load(database):
            commands.setdefault(command["file"], command)
with open(os.path.join(lint, "compile_commands.json"), "w", encoding="utf-8") as database:
    json.dump(list(commands.values()), database, indent=1)

unit_of = {}
for unit in commands:
    unit_of[unit] = unit
    if re.search(r"/unity_\d+_cxx\.cxx$", unit):
        with open(unit, encoding="utf-8") as text:
            unit_of.update((file, unit) for file in re.findall(r'^#include "(.*)"', text.read(), re.MULTILINE))

units = {}
for file in files:
    unit = unit_of.get(os.path.abspath(file))
    if unit:
        units[unit] = True
    else:
        print(f"not part of any build here, so not checked: {file}", file=sys.stderr)
print("\n".join(units))
