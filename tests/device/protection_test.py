#!/usr/bin/env python3
"""A tunnel's whole life on the emulated device, its kernel modules included (see tests/engine/hosts.py for the two hosts).

Run by scripts/device-test:  protection_test.py CLIENT SERVER ENGINE
"""

import os
import unittest

from device import loaded_modules, module_table
from hosts import eventually, inside, kernel_module, ping, policies, run, states, use, Wire
from traffic_test import Hosts

MODULES = ["authenc", "echainiv", "esp4"]


class Life(Hosts):
    def configure(self):
        self.left.configure('[[strongswan.gateway]]\ndestination = "10.2.0.0/16"\nremote = "10.0.0.2"\nlocal = "10.0.0.1"',
                            "".join(module_table(kernel_module(name)) for name in MODULES), retry=25, interval=200000)

    def modules_here(self):
        return [name for name in loaded_modules() if name in MODULES]

    def test_from_the_first_module_to_the_last(self):
        # What the other host's engine has loaded for itself belongs to nobody else.
        for name in reversed(self.modules_here()):
            run("rmmod", name)
        self.configure()

        self.left.write([use()])
        self.left.start()
        pid = self.left.engine_pid()
        self.assertEqual(MODULES, self.modules_here())
        self.assert_protected()
        first = states("left")
        self.assertNotEqual(0, run("rmmod", "esp4", check=False).returncode, "the kernel's ESP is not in use")

        self.left.write([use("10.1.0.0/16", "10.2.0.0/16")])
        self.left.restart()
        self.assertEqual(pid, self.left.engine_pid())
        self.assertEqual(set(), set(first) & set(states("left")))
        self.assertTrue(eventually(lambda: not set(first) & set(states("right"))))
        self.assert_protected("10.2.0.1", "10.1.0.1", "tunnel")
        with Wire() as wire:
            self.assertEqual(3, ping("left", "10.0.0.2"), "no rule is about these any more")
        self.assertEqual(6, len(wire.clear()))

        self.left.shut_down()
        self.assertFalse(os.path.exists(f"/proc/{pid}"))
        self.assertEqual([], self.modules_here())
        self.assertEqual({}, states("left"))
        self.assertEqual(0, policies("left"))
        self.assertEqual([".lock"], os.listdir(self.left.folder + "/run"))
        with Wire() as wire:
            self.assertEqual(3, ping("left", "10.2.0.1", 3, "10.1.0.1"))
        self.assertEqual(6, len(wire.clear()))
        self.assertEqual("", inside("left", "ip", "xfrm", "state").stdout)

        # And once more, with the modules loaded anew.
        self.configure()
        self.left.start()
        self.assertEqual(MODULES, self.modules_here())
        self.assert_protected("10.2.0.1", "10.1.0.1", "tunnel")


if __name__ == "__main__":
    import sys

    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=2)
