#!/usr/bin/env python3
"""Every suite of algorithms that a policy can ask for, in both phases, each with packets through it (see hosts.py).

Run by uml_run:  suites_test.py CLIENT SERVER ENGINE IKE-VERSION RESULTS [continue]
RESULTS, below the folder that stays, is what suites_table.py makes a table of. It is written after each attempt; with
"continue" the suites that it says were good are not tried again, for a run that was killed. The exit status is 0 only if
every suite was negotiated as asked for and carried packets, or was refused as it should be.
"""

import itertools
import json
import os
import sys

import hosts
from hosts import eventually, ping, reaches, states, use, Left, Right

GROUPS = {14: "MODP_2048", 24: "MODP_2048_256", 19: "ECP_256", 20: "ECP_384"}
HASHES = {"SHA1": "SHA1_96", "SHA256": "SHA2_256_128", "SHA384": "SHA2_384_192", "SHA512": "SHA2_512_256"}
PSEUDORANDOMS = {"SHA1": "SHA1", "SHA256": "SHA2_256", "SHA384": "SHA2_384", "SHA512": "SHA2_512"}
CIPHERS = [("AES", 128), ("AES", 192), ("AES", 256), ("3DES", None)]
GCM = [("AES-GCM", 128), ("AES-GCM", 192), ("AES-GCM", 256)]


# What is not possible, and what the server says to it.
GCM_REFUSAL = ("phase 1, proposal 1, transform 1: enc-algo: AES-GCM is not possible in phase 1 of IKE version 1, "
               "only AES, 3DES")


def phase1_suites():
    return ([(*cipher, hash_, group) for cipher, hash_, group in itertools.product(CIPHERS, HASHES, GROUPS)] +
            [(*cipher, hash_, group) for cipher, hash_, group in itertools.product(GCM, [*HASHES, "AES-GCM"], GROUPS)])


def refused(version, phase1):
    return version == 1 and phase1[0] == "AES-GCM"


def phase2_suites():
    groups = [None, *GROUPS]
    return ([(*cipher, hash_, group) for cipher, hash_, group in itertools.product(CIPHERS, HASHES, groups)] +
            [(*cipher, "AES-GCM", group) for cipher, group in itertools.product(GCM, groups)])


def expected(phase, suite):
    """What the other host calls it."""
    cipher, length, hash_, group = suite
    names = {"encr-alg": {"AES": "AES_CBC", "3DES": "3DES_CBC", "AES-GCM": "AES_GCM_16"}[cipher]}
    if length:
        names["encr-keysize"] = str(length)
    if cipher != "AES-GCM":
        names["integ-alg"] = "HMAC_" + HASHES[hash_]
    if phase == 1 and hash_ in PSEUDORANDOMS:
        names["prf-alg"] = "PRF_HMAC_" + PSEUDORANDOMS[hash_]
    if group:
        names["dh-group"] = GROUPS[group]
    return names


def differs(association, phase, suite):
    wanted = expected(phase, suite).items()
    return {name: association.get(name) for name, value in wanted if association.get(name) != value}


class Run:
    def __init__(self, programs, version):
        self.version = version
        hosts.make_hosts()
        self.right = Right()
        self.right.load(version=version)
        self.left = Left(*programs)
        self.left.configure(f"ike-version = {version}")
        self.begin = self.left.start

    def attempt_refused(self, phase1, phase2):
        """What was wrong: the server must refuse the suite by name and leave the engine as it was."""
        self.left.write([use()], (*phase1, 3600), (*phase2, 1800))
        pid = self.left.engine_pid()
        status, detail = self.left.ask("restart" if pid else "start", self.left.policy)
        if status != "failure" or not detail.endswith(GCM_REFUSAL):
            return f"{status}: {detail}"
        return "" if self.left.engine_pid() == pid else "the engine is not as it was"

    def attempt(self, phase1, phase2):
        """The packets that were counted on both sides, and what was wrong."""
        self.left.write([use()], (*phase1, 3600), (*phase2, 1800))
        try:
            self.begin()
        except AssertionError as refusal:
            return 0, str(refusal)
        self.begin = self.left.restart
        if not reaches("left", "10.0.0.2"):
            return 0, "no ping is answered"
        if self.version == 2 and phase2[3]:
            # The first keys of version 2 come from phase 1; the group counts as soon as they are renewed.
            self.right.swanctl("--rekey", "--child", "hosts")
            eventually(lambda: len(states("left")) == 2 and "dh-group" in self.right.association()[1])
        before = states("left")
        answered = ping("left", "10.0.0.2", 3)
        after = states("left")
        packets = sum(after.values()) - sum(before.get(spi, 0) for spi in after)
        ike, child = self.right.association()
        wrong = {**differs(ike, 1, phase1), **differs(child, 2, phase2)}
        if answered != 3 or packets != 6:
            wrong["answered"], wrong["packets"] = answered, packets
        return packets, json.dumps(wrong) if wrong else ""


def read_rows(path):
    if not os.path.exists(path):
        return []
    with open(path) as file:
        return json.load(file)


def write_rows(path, rows):
    # Whenever the run is killed, one whole file lies there.
    with open(path + ".new", "w") as file:
        json.dump(rows, file)
    os.replace(path + ".new", path)


def main():
    *programs, version, results = sys.argv[1:6]
    version, results = int(version), "/run/folder/" + results
    rows = [row for row in read_rows(results) if not row["wrong"]] if sys.argv[6:] == ["continue"] else []
    done = {(row["phase"], *row["suite"]) for row in rows}

    def add(phase, suite, **outcome):
        rows.append({"ike": version, "phase": phase, "suite": suite, **outcome})
        print(f"IKEv{version}, phase {phase}, {suite}: {outcome}", flush=True)

    open_suites = [suite for suite in phase1_suites() if (1, *suite) not in done]
    first = [suite for suite in open_suites if not refused(version, suite)]
    second = [suite for suite in phase2_suites() if (2, *suite) not in done]
    run = Run(programs, version)
    # Each attempt shows a suite of either phase; where one list has come to its end, its phase goes on with any suite.
    for one, two in itertools.zip_longest(first, second):
        packets, wrong = run.attempt(one or phase1_suites()[0], two or phase2_suites()[0])
        for phase, suite in ((1, one), (2, two)):
            if suite:
                add(phase, suite, packets=packets, wrong=wrong)
        write_rows(results, rows)
    for suite in open_suites:
        if refused(version, suite):
            add(1, suite, refused=True, wrong=run.attempt_refused(suite, phase2_suites()[0]))
            write_rows(results, rows)
    failures = sum(1 for row in rows if row["wrong"])
    print(f"{len(rows)} suites, {failures} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
