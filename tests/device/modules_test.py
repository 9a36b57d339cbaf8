#!/usr/bin/env python3
"""Loading and unloading of real kernel modules by the server, on the emulated device.

The modules "bench" are those of tests/device/modules: they come and go with a word in the kernel's log, and fail on demand.
"""

import os
import shutil
import unittest
from concurrent.futures import ThreadPoolExecutor

from device import Device, loaded_modules, module_table
from hosts import eventually, kernel_module, run, use

BENCH = "/usr/lib/bench/"
MISSING = "/usr/lib/bench/missing.ko"
NAMES = ["bench_count", "bench_flaky", "bench_option", "bench_user", "bench_stubborn", "bench_killer", "bench_dash"]


def bench(name, install="", remove=""):
    return module_table(f"{BENCH}{name}.ko", install, remove)


def parameter(module, name):
    with open(f"/sys/module/{module}/parameters/{name}") as file:
        return file.read().strip()


def here(*names):
    """Which of the bench's modules, or of those given, are loaded, in the order in which they came."""
    return [name for name in loaded_modules() if name in (names or NAMES)]


def said():
    """What the bench's modules have said since the test began."""
    return [line.split("bench: ")[1] for line in run("dmesg").stdout.splitlines() if "bench: " in line]


class Modules(unittest.TestCase):
    def setUp(self):
        self.device = Device()
        self.device.write([use()])
        run("dmesg", "-C")

    def tearDown(self):
        self.use_shell("dash")
        self.device.clean_up()
        if "bench_stubborn" in here():
            self.release()
        for name in reversed(here()):
            run("rmmod", name)

    def use_shell(self, name):
        """Makes that one the system's: bash lets its last command take its place, so that the server sees that command's end;
        dash stays."""
        os.symlink(name, "/usr/bin/sh.new")
        os.rename("/usr/bin/sh.new", "/usr/bin/sh")

    def use_engine(self, script):
        self.device.engine = self.device.folder + "/no-engine"
        with open(self.device.engine, "w") as file:
            file.write("#!/bin/sh\n" + script + "\n")
        os.chmod(self.device.engine, 0o755)

    def release(self):
        with open("/sys/module/bench_stubborn/parameters/held", "w") as file:
            file.write("0")

    def configure(self, *modules, retry=1):
        self.device.configure(modules="".join(modules), retry=retry)

    def assert_folder_holds_nothing_but(self, noted):
        """The note of modules that the server could not remove."""
        self.assertEqual([".lock"] + [".modules"] * noted, sorted(os.listdir(self.device.folder + "/run")))

    def assert_start_fails(self, *words, left=(), noted=False):
        """And what is left of it are the modules that were there before, nothing else."""
        self.assertEqual(("failure", *words), self.device.ask("start", self.device.policy))
        self.assertEqual(list(left), here())
        self.assertIsNone(self.device.engine_pid())
        self.assert_folder_holds_nothing_but(noted)

    def assert_shut_down_with(self, status, words, noted=False):
        """Whatever became of the modules, engine and setting file are gone."""
        pid = self.device.engine_pid()
        self.assertEqual((status, words), self.device.ask("shutdown"))
        self.assertFalse(os.path.exists(f"/proc/{pid}"))
        self.assert_folder_holds_nothing_but(noted)

    def test_they_come_in_order_with_their_options_and_go_in_reverse_order(self):
        self.configure(bench("bench_count"), bench("bench_option", "number=-7 word=seven"), bench("bench_user"),
                       bench("bench-dash"))
        self.device.start()
        self.assertEqual(["bench_count", "bench_option", "bench_user", "bench_dash"], here())
        self.assertEqual(("-7", "seven"), (parameter("bench_option", "number"), parameter("bench_option", "word")))
        self.assertEqual(["bench_count in", "bench_option in", "bench_user in", "bench_dash in"], said())
        self.device.restart()
        self.assertEqual(4, len(said()), "a restart concerns no module")
        self.assert_shut_down_with("success", "the engine was shut down")
        self.assertEqual([], here())
        self.assertEqual(["bench_dash out", "bench_user out", "bench_option out", "bench_count out"], said()[4:])

    def test_the_kernels_esp_comes_with_what_it_needs_and_goes(self):
        names = ["xfrm_algo", "esp4", "ah4", "xfrm_user"]
        self.assertEqual([], here(*names))
        self.configure(*(module_table(kernel_module(name)) for name in names))
        self.device.start()
        self.assertEqual(names, here(*names))
        self.assert_shut_down_with("success", "the engine was shut down")
        self.assertEqual([], here(*names))

    def test_the_kernels_esp_does_not_come_without_what_it_needs(self):
        self.configure(bench("bench_count"), module_table(kernel_module("esp4")))
        self.assert_start_fails("Can't install module")
        self.assertEqual([], here("esp4"))

    def test_a_module_before_the_one_that_it_needs_is_left_out(self):
        self.configure(bench("bench_user"), bench("bench_option"))
        self.device.start()
        self.assertEqual(["bench_option"], here())
        # The one that is judged is the one that is removed last.
        self.assert_shut_down_with("failure", "Can't remove module")
        self.assertEqual([], here())

    def test_one_that_fails_at_first_is_tried_again(self):
        self.configure(bench("bench_count"), bench("bench_flaky", "failures=2"), retry=3)
        self.device.start()
        self.assertEqual(["bench_count", "bench_flaky"], here())
        self.assertEqual("3", parameter("bench_count", "attempts"))

    def test_the_last_one_is_not_tried_for_ever(self):
        run("insmod", BENCH + "bench_count.ko")
        self.configure(bench("bench_option"), bench("bench_flaky", "failures=3"), retry=3)
        self.assert_start_fails("Can't install module", left=["bench_count"])
        self.assertEqual("3", parameter("bench_count", "attempts"))
        self.assertEqual(["bench_count in", "bench_option in", "bench_option out"], said())

    def test_only_the_last_one_is_judged(self):
        self.configure(bench("bench_count"), bench("bench_flaky", "failures=9"), module_table(MISSING),
                       bench("bench_option"), retry=2)
        self.device.start()
        self.assertEqual(["bench_count", "bench_option"], here())
        self.assertEqual("2", parameter("bench_count", "attempts"))
        self.assert_shut_down_with("success", "the engine was shut down")
        self.assertEqual([], here())

    def test_one_that_is_missing_is_a_failure_if_it_is_the_last(self):
        self.configure(bench("bench_count"), bench("bench_option"), module_table(MISSING))
        self.assert_start_fails("Can't install module")
        self.assertEqual(["bench_count in", "bench_option in", "bench_option out", "bench_count out"], said())

    def test_the_first_one_that_refuses_to_go_is_a_failure(self):
        self.configure(bench("bench_stubborn", "held=1"), bench("bench_option"), retry=2)
        self.device.start()
        self.assert_shut_down_with("failure", "Can't remove module", noted=True)
        self.assertEqual(["bench_stubborn"], here())
        # It is there already: insmod refuses it, and nothing takes it away.
        self.configure(bench("bench_option"), bench("bench_stubborn"))
        self.assert_start_fails("Can't install module", left=["bench_stubborn"], noted=True)
        self.release()
        self.configure(bench("bench_stubborn"), bench("bench_option"))
        self.device.start()
        self.assert_shut_down_with("success", "the engine was shut down")
        self.assertEqual([], here())

    def test_a_later_one_that_refuses_to_go_is_none(self):
        self.configure(bench("bench_option"), bench("bench_stubborn", "held=1"))
        self.device.start()
        self.assert_shut_down_with("success", "the engine was shut down", noted=True)
        self.assertEqual(["bench_stubborn"], here())
        # Else the next start would fail at it.
        self.release()
        self.configure(bench("bench_option"), bench("bench_stubborn"))
        self.device.start()
        self.assert_shut_down_with("success", "the engine was shut down")
        self.assertEqual([], here())

    def test_one_that_somebody_else_uses_refuses_to_go(self):
        self.configure(bench("bench_option"))
        self.device.start()
        run("insmod", BENCH + "bench_user.ko")
        self.assert_shut_down_with("failure", "Can't remove module", noted=True)
        self.assertEqual(["bench_option", "bench_user"], here())

    def test_a_bad_value_is_refused_and_an_unknown_option_is_not(self):
        self.configure(bench("bench_option", "number=seven"))
        self.assert_start_fails("Can't install module")
        self.configure(bench("bench_option", "numbers=7 number=5"))
        self.device.start()
        self.assertEqual("5", parameter("bench_option", "number"))

    def test_the_extension_may_be_o_or_ko_or_none(self):
        for name in ("bench_option.o", "bench_option"):
            path = f"{self.device.folder}/{name}"
            shutil.copy(BENCH + "bench_option.ko", path)
            with self.subTest(name):
                self.configure(module_table(path))
                self.device.start()
                self.assertEqual(["bench_option"], here())
                self.assert_shut_down_with("success", "the engine was shut down")
                self.assertEqual([], here())

    def test_another_extension_is_refused_before_anything_happens(self):
        for name in ("bench_option.bar.ko", "bench_option.ko.xz", "bench_option."):
            path = f"{self.device.folder}/{name}"
            shutil.copy(BENCH + "bench_option.ko", path)
            with self.subTest(name):
                self.configure(bench("bench_count"), module_table(path))
                status, words = self.device.ask("start", self.device.policy)
                self.assertEqual("failure", status)
                self.assertIn(f"'{path}' is not a kernel module's file", words)
                self.assertEqual([], said())

    def test_the_signal_that_ended_insmod_is_named_and_it_is_not_tried_again(self):
        run("insmod", BENCH + "bench_count.ko")
        self.use_shell("bash")
        for count, signal in enumerate((9, 11, 15, 1), 1):
            with self.subTest(signal):
                self.configure(bench("bench_option"), bench("bench_killer", f"signal={signal}"), retry=3)
                # The "%d" is part of the text.
                self.assert_start_fails(f"Abnormal termination: signal number: %d{signal}", left=["bench_count"])
                self.assertEqual(str(count), parameter("bench_count", "attempts"))

    def test_a_shell_that_survives_a_killed_insmod_makes_an_exit_code_of_it(self):
        run("insmod", BENCH + "bench_count.ko")
        self.configure(bench("bench_killer"), retry=3)
        self.assert_start_fails("Can't install module", left=["bench_count"])
        self.assertEqual("3", parameter("bench_count", "attempts"))

    def test_an_engine_that_does_not_start_takes_the_modules_away_again(self):
        for shell, script, words in (("dash", "exit 3", "Can't start service"),
                                     ("dash", "kill -9 $$", "Can't start service"),
                                     ("bash", "exit 137", "Can't start service"),
                                     ("bash", "kill -9 $$", "Abnormal termination: signal number: 9"),
                                     ("bash", "kill -TERM $$", "Abnormal termination: signal number: 15")):
            with self.subTest(shell + ": " + script):
                self.use_shell(shell)
                self.use_engine(script)
                self.configure(bench("bench_count"), bench("bench_option"))
                self.assert_start_fails(words)
                self.assertEqual(["bench_option out", "bench_count out"], said()[-2:])

    def test_those_of_a_killed_server_are_not_in_the_way_of_the_next_start(self):
        run("insmod", BENCH + "bench_count.ko")
        engine = self.device.engine
        self.use_engine("exit 0")  # and never ready
        self.configure(bench("bench_option"), bench("bench_user"))
        with ThreadPoolExecutor() as others:
            answer = others.submit(self.device.ask, "start", self.device.policy)
            self.assertTrue(eventually(lambda: "bench_user" in here()))
            run("pkill", "-KILL", "-x", "systemdataIPsec")
            self.assertNotEqual("success", answer.result()[0])
        self.assertEqual(["bench_count", "bench_option", "bench_user"], here())
        self.device.engine = engine
        self.configure(bench("bench_option"), bench("bench_user"))
        self.device.start()
        self.assertEqual(["bench_user out", "bench_option out", "bench_option in", "bench_user in"], said()[-4:])
        self.assert_shut_down_with("success", "the engine was shut down")
        self.assertEqual(["bench_count"], here())


if __name__ == "__main__":
    unittest.main(verbosity=2)
