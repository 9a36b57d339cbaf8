#!/usr/bin/env python3
"""Counts the instructions of the measured work under callgrind, and compares them with the stored counts.

    instructions.py ONCE BASELINE           fails if any count is more than 5 % above the stored one
    instructions.py ONCE BASELINE --move    stores the counts of now instead

ONCE is the program of that name; BASELINE a table "work,rules,instructions".
"""

import csv
import pathlib
import re
import subprocess
import sys
import tempfile

WORKS = [
    ("encode", 10), ("encode", 100), ("encode-pretty", 100),
    ("decode", 10), ("decode", 100), ("decode-pretty", 100),
    ("receive", 100), ("encode-associations", 1), ("decode-associations", 1), ("receive-associations", 1),
    ("encode-xmlrpc-c", 100), ("decode-xmlrpc-c", 100), ("decode-floor", 100),
    ("encode-associations-xmlrpc-c", 1), ("decode-associations-xmlrpc-c", 1),
]
# What others do is measured for comparison; a newer version of theirs is not our regression.
PEERS = {"encode-xmlrpc-c", "decode-xmlrpc-c", "decode-floor", "encode-associations-xmlrpc-c", "decode-associations-xmlrpc-c"}
TOLERANCE = 1.05


def count(once, work, rules):
    with tempfile.TemporaryDirectory() as folder:
        run = subprocess.run(
            ["valgrind", "--tool=callgrind", "--toggle-collect=measured_work",
             f"--callgrind-out-file={folder}/out", once, work, str(rules)],
            capture_output=True, text=True, check=False)
    collected = re.search(r"Collected : (\d+)", run.stderr)
    if run.returncode != 0 or not collected:
        sys.exit(f"{work} {rules} could not be counted:\n{run.stdout}{run.stderr}")
    return int(collected.group(1))


def read(path):
    with open(path, newline="", encoding="utf-8") as table:
        return {(row["work"], int(row["rules"])): int(row["instructions"]) for row in csv.DictReader(table)}


def write(path, counts):
    with open(path, "w", newline="", encoding="utf-8") as table:
        rows = csv.writer(table, lineterminator="\n")
        rows.writerow(["work", "rules", "instructions"])
        rows.writerows([work, rules, number] for (work, rules), number in counts.items())


def main():
    once, baseline = sys.argv[1], pathlib.Path(sys.argv[2])
    counts = {(work, rules): count(once, work, rules) for work, rules in WORKS}
    if "--move" in sys.argv:
        write(baseline, counts)
        return
    stored = read(baseline)
    if stored.keys() != counts.keys():
        sys.exit(f"{baseline.name} and this script do not list the same work: store the counts again")
    worse = False
    for key, number in counts.items():
        ratio = number / stored[key]
        above = ratio > TOLERANCE and key[0] not in PEERS
        worse = worse or above
        print(f"{key[0]:28} {key[1]:5} rules {number:12} instructions, {ratio:6.1%} of before"
              + ("  <-- more than 5 % above" if above else ""))
    if worse:
        sys.exit("Slower than before. If that is meant: scripts/bench --move-baseline")


if __name__ == "__main__":
    main()
