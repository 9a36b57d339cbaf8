"""The emulated device as its tests see it: the installed programs and the standalone engine, nothing in between."""

import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "engine"))

import hosts
from hosts import run

CLIENT = "/usr/bin/ipseccfgctl"
SERVER = "/usr/sbin/systemdataIPsecCfgServer"
ENGINES = "/usr/libexec/ipseccfg/"


class Device(hosts.Left):
    kind = "standalone"
    host = []

    def __init__(self):
        super().__init__(CLIENT, SERVER, ENGINES + self.kind)


def module_table(path, install="", remove=""):
    """A module in the server's configuration."""
    return f'[[modules.module]]\npath = "{path}"\ninstall-option = "{install}"\nremove-option = "{remove}"\n'


def loaded_modules():
    """The kernel's modules in the order in which they came: lsmod's, turned round."""
    return [line.split()[0] for line in reversed(run("lsmod").stdout.splitlines()[1:])]
