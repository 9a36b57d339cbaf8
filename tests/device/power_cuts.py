#!/usr/bin/env python3
"""Cuts the power of the emulated device at random moments of start and restart, and sees what the next life finds.

    power_cuts.py FOLDER ROUNDS [SEED]

The disk is a file of this machine: what the device's kernel had not written when QEMU was killed is lost. After each cut the
setting file must be as it was before or as it was to be, or only as it was to be if the answer had come, and remembered then;
the next start must succeed, and make the very same file of the same policy.
"""

import os
import random
import re
import shutil
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
SECONDS = 120
# A little more than an operation takes, so that some cuts come after its answer.
LATER = 1.2


class Life:
    """One boot: its lines as they come."""

    def __init__(self, folder, start, restart, before):
        disk = f"-drive if=none,id=disk,format=raw,file={folder}/disk -device virtio-blk-device,drive=disk,serial=disk"
        self.process = subprocess.Popen(
            [HERE + "/run_device", folder + "/life", str(SECONDS), HERE + "/power_cut", str(start), str(restart), before],
            env=dict(os.environ, IPSECCFG_DEVICE_OPTIONS=disk), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.lines = []
        self.moments = {}

    def read_until(self, text):
        """Whether that line came."""
        for line in self.process.stdout:
            self.lines.append(line.rstrip())
            self.moments[self.lines[-1]] = time.monotonic()
            if self.lines[-1] == text:
                return True
        return False

    def cut(self):
        self.process.kill()
        # QEMU dies with it; its end of the pipe is closed then.
        self.read_until(None)
        self.process.wait()

    def said(self, word):
        """What followed a word at the beginning of a line; nothing if it did not come."""
        return next((line[len(word) + 1:] for line in self.lines if line.startswith(word + " ")), None)

    def policies(self):
        """Which policy may be in force after the end: the last one that was answered, and the one that was asked for since."""
        last, asked = self.said("found"), []
        for event, _, policy in (line.split() for line in self.lines if re.match(r"(now|done) \w+ \w+$", line)):
            if event == "now":
                asked = [policy]
            else:
                last, asked = policy, []
        return [last] + asked


def fail(life, why):
    print("\n".join(life.lines))
    sys.exit(why)


def main():
    folder, rounds = os.path.abspath(sys.argv[1]), int(sys.argv[2])
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else random.SystemRandom().randrange(10 ** 6)
    print(f"seed {seed}", flush=True)
    dice = random.Random(seed)
    os.makedirs(folder, exist_ok=True)
    with open(folder + "/disk", "wb") as disk:
        disk.truncate(16 << 20)
    subprocess.run([shutil.which("mkfs.ext4", path="/usr/sbin:/sbin:" + os.environ["PATH"]), "-q", folder + "/disk"], check=True)

    life = Life(folder, 1, 2, "clean")
    if not life.read_until("end"):
        fail(life, "without a cut: the device did not come to its end")
    life.read_until(None)
    life.process.wait()
    lasts = {word: life.moments[f"done {word} {policy}"] - life.moments[f"now {word} {policy}"]
             for word, policy in (("start", 1), ("restart", 2))}
    print("without a cut: " + ", ".join(f"{word} {seconds:.1f} s" for word, seconds in lasts.items()), flush=True)

    allowed = ["none"]
    leftovers = {}
    for number in range(1, rounds + 2):
        start, restart = 2 * number % 250 + 1, 2 * number % 250 + 2
        before = dice.choice(("clean", "over"))
        life = Life(folder, start, restart, before)
        word, policy = dice.choice((("start", start), ("restart", restart)))
        reached = life.read_until(f"now {word} {policy}")
        found, left = life.said("found"), life.said("left")
        if left is None or found not in allowed:
            fail(life, f"round {number}: found policy {found}, allowed are {allowed}")
        if not reached or (found != "none" and life.said("whole") != found):
            fail(life, f"round {number}: the start after a cut")
        if allowed == [found] != ["none"] and ".current" not in left.split():
            fail(life, f"round {number}: it is not remembered which setting file is in use")
        for name in left.split():
            leftovers[name] = leftovers.get(name, 0) + 1
        if number > 1:
            print(f"  the next life found policy {found}, and in the folder {left}", flush=True)
        if number > rounds:
            life.cut()
            break
        later = dice.uniform(0, LATER * lasts[word])
        time.sleep(later)
        life.cut()
        allowed = life.policies()
        print(f"round {number}: cut {later:.2f} s into the {word} with policy {policy}, allowed are {allowed}", flush=True)
    print(f"after {rounds} cuts every setting file was whole and every start succeeded; found there: {leftovers}")


if __name__ == "__main__":
    main()
