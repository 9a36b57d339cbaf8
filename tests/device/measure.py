#!/usr/bin/env python3
"""Time, memory and space that client and server take on the emulated device.

Run by scripts/device-test:  measure.py INSTALLED    (the folder that the installation was made in)
Writes /run/folder/device.md.
"""

import os
import statistics
import subprocess
import sys
import threading
import time

from device import CLIENT, SERVER, Device
from hosts import run, use

ROUNDS = 5
PAUSES = "/run/slept"
HEAD = """# What client and server take on a 32-bit ARM device

Made by `scripts/device-test measures`, not written by hand: {date}, on an emulated {model} with Debian's kernel
{kernel} and the engine `standalone`. The build is that of the preset `armhf` (MinSizeRel), as it is installed.
"""


def rules(count):
    return [use("10.0.0.1", f"10.{1 + number // 250}.0.{1 + number % 250}", number % 100) for number in range(count)]


def milliseconds(device, word):
    """Of a command of the client, but for the pauses of whole seconds that the server makes; and these, in seconds."""
    if os.path.exists(PAUSES):
        os.unlink(PAUSES)
    environment = dict(os.environ, IPSECCFG_SERVER_CONFIG=device.folder + "/server.toml", LD_PRELOAD="/usr/lib/bench/slept.so")
    words = [CLIENT, "--server", SERVER, word] + ([] if word == "shutdown" else [device.policy])
    begun = time.monotonic()
    subprocess.run(words, env=environment, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    lasted = time.monotonic() - begun
    slept = 0
    if os.path.exists(PAUSES):
        with open(PAUSES) as file:
            slept = sum(map(int, file)) / 1e6
    assert (slept > 0) == (word != "shutdown"), f"{word}: slept {slept} s"
    return 1000 * (lasted - slept), slept


def peaks(device, word):
    """The most memory that client and server had resident, in KiB, while the client carried out a command."""
    most = {CLIENT: 0, SERVER: 0}
    done = threading.Event()

    def watch():
        while not done.wait(0.05):
            for pid in filter(str.isdigit, os.listdir("/proc")):
                try:
                    program = os.readlink(f"/proc/{pid}/exe")
                    if program in most:
                        with open(f"/proc/{pid}/status") as file:
                            peak = next(int(line.split()[1]) for line in file if line.startswith("VmHWM"))
                        most[program] = max(most[program], peak)
                except (OSError, StopIteration):
                    pass

    watcher = threading.Thread(target=watch)
    watcher.start()
    device.command(word)
    done.set()
    watcher.join()
    assert all(most.values()), most
    return most[CLIENT], most[SERVER]


def table(head, rows):
    yield "| " + " | ".join(head) + " |"
    yield "|" + "---|" * len(head)
    for row in rows:
        yield "| " + " | ".join(map(str, row)) + " |"


def times(device):
    rows, pauses = [], set()
    for count in (10, 100, 1000):
        device.write(rules(count))
        found = {"start": [], "restart": [], "shutdown": []}
        for _ in range(ROUNDS):
            for word, values in found.items():
                value, slept = milliseconds(device, word)
                values.append(value)
                if slept:
                    pauses.add(round(slept))
        rows.append([count] + [f"{statistics.median(values):.0f}" for values in found.values()])
    return rows, pauses


def memory(device):
    for count in (0, 10, 100, 1000):
        device.write(rules(count) if count else [use()])
        client, server = peaks(device, "start")
        request = len(run(CLIENT, "show", "--xml", "--secrets", device.policy).stdout)
        settings = os.path.getsize(device.settings)
        device.shut_down()
        if count:
            yield [count, client, server, request, settings]


def installed(folder):
    """What is installed of each kind."""
    kinds = {"/bin/": "client", "/sbin/": "server", "/libexec/": "engines"}
    sizes = {}
    for path, _, names in os.walk(folder):
        for name in names:
            file = os.path.join(path, name)
            if os.path.islink(file):
                continue
            kind = next((kind for part, kind in kinds.items() if part in file), None)
            kind = kind or ("libraries" if ".so." in name else "headers, build files, units and examples")
            sizes.setdefault(kind, []).append(f"{os.path.getsize(file)} {name}")
    for kind, files in sizes.items():
        total = sum(int(file.split()[0]) for file in files)
        names = ", ".join(file.split()[1] for file in files) if len(files) < 6 else f"{len(files)} files"
        yield [kind, total, names]


def main():
    device = Device()
    device.configure(retry=3)
    rows, pauses = times(device)
    with open("/proc/device-tree/cpus/cpu@0/compatible") as file:
        model = file.read().strip("\0").split(",")[1]
    text = [HEAD.format(date=time.strftime("%Y-%m-%d"), model=model, kernel=os.uname().release)]
    text += ["## Time", ""]
    text += table(["rules", "start, ms", "restart, ms", "shutdown, ms"], rows)
    text += ["", f"From the client's start to its end, the median of {ROUNDS}, without the pauses of whole seconds in which the "
             f"server waits for\nthe engine ({min(pauses)} to {max(pauses)} s for a start or a restart). The emulated processor takes "
             "2 ns for each instruction, whatever that\ndoes: the times compare with each other and with those of another run, "
             "not with those of a real processor.", "", "## Memory", ""]
    text += table(["rules", "client, KiB", "server, KiB", "request, bytes", "setting file, bytes"], memory(device))
    text += ["", "The most that was resident at once during a start, pages of libraries that others use, too, included.",
             "", "## Space", ""]
    text += table(["what", "bytes", "files"], installed(sys.argv[1]))
    text = "\n".join(text) + "\n"
    print(text)
    with open("/run/folder/device.md", "w") as file:
        file.write(text)


if __name__ == "__main__":
    main()
