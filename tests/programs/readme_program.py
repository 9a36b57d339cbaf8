#!/usr/bin/env python3
"""Writes the N-th C++ program of a Markdown file to a source file: readme_program.py FILE N SOURCE"""

import re
import sys

text, number, source = open(sys.argv[1], encoding="utf-8").read(), int(sys.argv[2]), sys.argv[3]
programs = re.findall(r"^```cpp\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
with open(source, "w", encoding="utf-8") as out:
    out.write(programs[number - 1])
