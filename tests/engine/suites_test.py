#!/usr/bin/env python3
"""Every suite of algorithms that a policy can ask for, in both phases, each with packets through it (see hosts.py).

Run by uml_run:  suites_test.py CLIENT SERVER ENGINE IKE-VERSION RESULTS
RESULTS, below the folder that stays, is what suites_table.py makes a table of. The exit status is 0 only if every suite
was negotiated as asked for and carried packets.
"""

import itertools
import json
import sys

import hosts
from hosts import eventually, ping, states, use, Left, Right

GROUPS = {14: "MODP_2048", 24: "MODP_2048_256", 19: "ECP_256", 20: "ECP_384"}
HASHES = {"SHA1": "SHA1_96", "SHA256": "SHA2_256_128", "SHA384": "SHA2_384_192", "SHA512": "SHA2_512_256"}
CIPHERS = [("AES", 128), ("AES", 192), ("AES", 256), ("3DES", None)]
GCM = [("AES-GCM", 128), ("AES-GCM", 192), ("AES-GCM", 256)]


def phase1_suites(version):
    suites = [(*cipher, hash_, group) for cipher, hash_, group in itertools.product(CIPHERS, HASHES, GROUPS)]
    if version == 2:
        suites += [(*cipher, hash_, group) for cipher, hash_, group in itertools.product(GCM, [*HASHES, "AES-GCM"], GROUPS)]
    return suites


def phase2_suites():
    groups = [None, *GROUPS]
    return ([(*cipher, hash_, group) for cipher, hash_, group in itertools.product(CIPHERS, HASHES, groups)] +
            [(*cipher, "AES-GCM", group) for cipher, group in itertools.product(GCM, groups)])


def expected(suite):
    """What the other host calls it."""
    cipher, length, hash_, group = suite
    names = {"encr-alg": {"AES": "AES_CBC", "3DES": "3DES_CBC", "AES-GCM": "AES_GCM_16"}[cipher]}
    if length:
        names["encr-keysize"] = str(length)
    if cipher != "AES-GCM":
        names["integ-alg"] = "HMAC_" + HASHES[hash_]
    if group:
        names["dh-group"] = GROUPS[group]
    return names


def differs(association, suite):
    return {name: association.get(name) for name, value in expected(suite).items() if association.get(name) != value}


class Run:
    def __init__(self, programs, version):
        self.version = version
        hosts.make_hosts()
        self.right = Right()
        self.right.load(version=version)
        self.left = Left(*programs)
        self.left.configure(f"ike-version = {version}")
        self.begin = self.left.start

    def attempt(self, phase1, phase2):
        """The packets that were counted on both sides, and what was wrong."""
        self.left.write([use()], (*phase1, 3600), (*phase2, 1800))
        try:
            self.begin()
        except AssertionError as refusal:
            return 0, str(refusal)
        self.begin = self.left.restart
        if not eventually(lambda: ping("left", "10.0.0.2", 1) == 1):
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
        wrong = {**differs(ike, phase1), **differs(child, phase2)}
        if answered != 3 or packets != 6:
            wrong["answered"], wrong["packets"] = answered, packets
        return packets, json.dumps(wrong) if wrong else ""


def main():
    *programs, version, results = sys.argv[1:]
    run = Run(programs, int(version))
    first, second = phase1_suites(run.version), phase2_suites()
    rows, failures = [], 0
    # Each attempt shows a suite of either phase; the shorter list begins again.
    for number in range(max(len(first), len(second))):
        suites = first[number % len(first)], second[number % len(second)]
        packets, wrong = run.attempt(*suites)
        failures += 1 if wrong else 0
        print(f"{number + 1}: {suites}: {wrong or 'ok'}", flush=True)
        for phase, suite, count in ((1, suites[0], len(first)), (2, suites[1], len(second))):
            if number < count:
                rows.append({"ike": run.version, "phase": phase, "suite": suite, "packets": packets, "wrong": wrong})
    with open("/run/folder/" + results, "w") as file:
        json.dump(rows, file)
    print(f"{len(first)} suites of phase 1, {len(second)} of phase 2, {failures} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
