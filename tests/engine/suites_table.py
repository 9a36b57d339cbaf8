#!/usr/bin/env python3
"""Makes a table of the results of suites_test.py:  suites_table.py RUN RESULTS... >docs/strongswan-suites.md

RUN says when that was, and with which versions.
"""

import json
import sys

HEAD = """# What strongSwan was seen to protect with

Made by `tests/engine/suites_table.py` from a run of `tests/engine/suites_test.py`, not written by hand:
{run}.

Each suite of a policy was negotiated between a host that this project configures and one that it does not. What the other host
then named was this suite, and three pings and their answers were counted as ESP packets in the kernel. A number is that of
the packets; "refused" is what the server answers, by name and before it touches anything: version 1 of IKE has no AES-GCM
in phase 1.
"""


def cipher(suite):
    return suite[0] + (f" {suite[1]}" if suite[1] else "")


def outcome(row):
    if row["wrong"]:
        return "failed"
    return "refused" if row.get("refused") else str(row["packets"])


def table(rows, phase):
    groups = [14, 24, 19, 20] if phase == 1 else [None, 14, 24, 19, 20]
    counts = {(row["ike"], tuple(row["suite"])): outcome(row) for row in rows}
    names = list(dict.fromkeys(tuple(row["suite"][:3]) for row in rows))
    columns = [(version, group) for version in sorted({row["ike"] for row in rows}) for group in groups]
    yield "| encryption | hash | " + " | ".join(
        f"IKEv{version}, " + (f"group {group}" if group else "no group") for version, group in columns) + " |"
    yield "|" + "---|" * (len(columns) + 2)
    for name in names:
        cells = [counts.get((version, (*name, group)), "not tried") for version, group in columns]
        yield f"| {cipher(name)} | {name[2]} | " + " | ".join(cells) + " |"


def main():
    rows = []
    for path in sys.argv[2:]:
        with open(path) as file:
            rows += json.load(file)
    print(HEAD.format(run=sys.argv[1]))
    missing = {1, 2} - {row["ike"] for row in rows}
    for version in sorted(missing):
        print(f"Version {version} of IKE is not in these results.\n")
    for phase in (1, 2):
        mine = [row for row in rows if row["phase"] == phase]
        tried = [row for row in mine if not row.get("refused")]
        good = sum(1 for row in tried if not row["wrong"])
        print(f"## Phase {phase}: {good} of {len(tried)} suites\n")
        print("\n".join(table(mine, phase)) + ("\n" if phase == 1 else ""))


if __name__ == "__main__":
    main()
