#!/usr/bin/env python3
"""What scripts/demo --engine strongswan shows, each step verified; run by uml_run:  demo.py CLIENT SERVER ENGINE"""

import re
import sys

import hosts
from hosts import bypass, discard, ping, policies, reaches, run, states, use, Left, Right, Wire


def say(text):
    print(f"\n\033[1m{text}\033[0m", flush=True)


def need(condition, what):
    if not condition:
        sys.exit("demo: " + what)


def show_wire(wire, most=4):
    for line in list(filter(None, wire.lines))[:most]:
        print("  " + re.sub(r"^[\d:.]+ ", "", line))
    print(f"  in all {len(wire.esp())} packets of ESP and {len(wire.clear())} that can be read", flush=True)


def pings(left_to, count=3):
    print(f"$ ping {left_to}", flush=True)
    with Wire() as wire:
        answered = ping("left", left_to, count)
    print(f"  {answered} of {count} answered")
    show_wire(wire)
    return answered, len(wire.esp()), len(wire.clear())


def command(left, word, *arguments):
    print(f"$ ipseccfgctl {word} {' '.join(arguments)}", flush=True)
    status, detail = left.ask(word, *arguments)
    print(f"  {status}: {detail}", flush=True)
    need(status == "success", f"{word} failed")


def main():
    say("Two hosts on a wire: left (10.0.0.1), which this project configures, and right (10.0.0.2 and more),\n"
        "with a strongSwan of its own")
    hosts.make_hosts()
    right = Right()
    right.load()
    left = Left(*sys.argv[1:4])
    left.configure()
    need(pings("10.0.0.2") == (3, 0, 6), "the hosts do not reach each other in clear")

    say("A policy: protect what goes to 10.0.0.2, drop what goes to 10.0.0.3, let all else pass")
    left.write([use(), discard("10.0.0.3", 20), bypass("10.0.0.0/24", 90)])
    print(run(sys.argv[1], "show", left.policy).stdout)

    say("Start")
    command(left, "start", left.policy)
    with open(left.settings) as file:
        print(re.sub(r'(secret = )"[^"]*"', r'\1"********"', file.read()))
    need(reaches("left", "10.0.0.2"), "there is no tunnel")

    say("To 10.0.0.2 there is nothing but ESP on the wire, to 10.0.0.3 nothing at all, to 10.0.0.4 everything can be read")
    before = states("left")
    need(pings("10.0.0.2") == (3, 6, 0), "the traffic is not protected")
    counted = {spi: packets - before[spi] for spi, packets in states("left").items()}
    print("  counted by the kernel: " + ", ".join(f"{count} packets with SPI {spi}" for spi, count in counted.items()))
    need(sorted(counted.values()) == [3, 3], "the kernel did not count them")
    need(pings("10.0.0.3") == (0, 0, 0), "the traffic is not dropped")
    need(pings("10.0.0.4") == (3, 0, 6), "the traffic does not pass")
    print("$ ipseccfgctl status", flush=True)
    print(run(*left.host, "env", "IPSECCFG_SERVER_CONFIG=" + left.folder + "/server.toml", sys.argv[1], "status").stdout)

    say("Restart with a changed rule: 10.0.0.3 may pass. The tunnel stays")
    left.write([use(), bypass("10.0.0.3", 20), bypass("10.0.0.0/24", 90)])
    command(left, "restart", left.policy)
    need(set(states("left")) == set(before), "the tunnel did not stay")
    need(pings("10.0.0.3") == (3, 0, 6), "the traffic does not pass")
    need(pings("10.0.0.2") == (3, 6, 0), "the traffic is not protected any more")

    say("Shutdown")
    command(left, "shutdown")
    print(f"  {len(states('left'))} states and {policies('left')} policies are left in the kernel")
    need(not states("left") and not policies("left") and not left.engine_pid(), "something is left")
    need(pings("10.0.0.2") == (3, 0, 6), "the hosts do not reach each other any more")
    right.stop()


main()
