"""How scripts/demo.sh and scripts/test.sh end: by a signal, and by a step that fails."""

import itertools
import signal
import unittest

from sandbox import DEADLINE, Sandbox, wait_until

SIGNALS = (signal.SIGHUP, signal.SIGINT, signal.SIGTERM)

# Calls at which a run can be interrupted, in their order.
DEMO_CALLS = (
    "cmake --preset native",
    "cmake --build --preset native *",
    "cmake --build --preset mingw *",
    "wine wineboot *",
    "wine *cmd.exe *",
    "corvane-modem-sim *",
    "wine *regedit.exe *",
    "wine *corvane.exe devices",
    "wine *corvane.exe capture *",
    "corvane info *",
    "corvane export *",
    "tshark *",
)
MOBILE_BROADBAND_CALLS = ("wine *regsvr32.exe *", "wine *corvane.exe capture *")
TEST_CALLS = (
    "cmake --build --preset tsan *",
    "wine wineboot *",
    "ctest --preset native *",
    "ctest --preset mingw *",
    "ota_fuzzer *",
    "framing_bench *",
)
INSTALL_CALLS = ("apt-get update *", "apt-get install --download-only *")


class ScriptTestCase(unittest.TestCase):
    def sandbox(self):
        sandbox = Sandbox()
        self.addCleanup(sandbox.close)
        return sandbox

    def run_to_end(self, sandbox, *command, **environment):
        """-> the script's exit code"""
        code = sandbox.start(*command, **environment).wait(DEADLINE)
        self.assertEqual(sandbox.processes(), {})
        return code

    def assert_ended(self, sandbox, script, number):
        """The script ends as one that a signal has ended, and nothing that it has started is left."""
        self.assertEqual(script.wait(DEADLINE), -number, sandbox.printed())
        self.assertEqual(sandbox.processes(), {})


class Signals(ScriptTestCase):
    def assert_ends_all(self, calls, *command, **environment):
        """At each of the calls another of the signals ends the script."""
        for call, number in zip(calls, itertools.cycle(SIGNALS)):
            with self.subTest(call=call, signal=number.name):
                sandbox = self.sandbox()
                script = sandbox.start(*command, STAY_AT=call, **environment)
                sandbox.wait_for_stay(script)
                script.send_signal(number)
                self.assert_ended(sandbox, script, number)

    def test_a_signal_ends_the_demo_and_all_it_started(self):
        self.assert_ends_all(DEMO_CALLS, "demo.sh")

    def test_each_of_the_signals_ends_a_capture(self):
        self.assert_ends_all(["wine *corvane.exe capture *"] * len(SIGNALS), "demo.sh")

    def test_a_signal_ends_the_mobile_broadband_demo(self):
        self.assert_ends_all(MOBILE_BROADBAND_CALLS, "demo.sh", "--mbn")

    def test_a_signal_ends_the_test_run_and_all_it_started(self):
        self.assert_ends_all(TEST_CALLS, "test.sh")

    def test_a_signal_ends_the_download_of_packages(self):
        self.assert_ends_all(INSTALL_CALLS, "demo.sh", PACKAGES="absent")

    def test_a_signal_waits_for_the_installation_of_packages(self):
        for number in SIGNALS:
            with self.subTest(signal=number.name):
                sandbox = self.sandbox()
                script = sandbox.start(
                    "demo.sh", WAIT_AT="apt-get install -y *", PACKAGES="absent"
                )
                sandbox.wait_for_stay(script)
                script.send_signal(number)
                # The script has taken the signal when it ignores further ones.
                wait_until(lambda: ignores(script.pid, number), "the script's end")
                (sandbox.root / "go").touch()
                self.assert_ended(sandbox, script, number)
                self.assertEqual(sandbox.calls()[-1], "waited to the end")

    def test_a_process_that_ignores_the_request_to_end_is_killed(self):
        sandbox = self.sandbox()
        stand_in = sandbox.root / "build" / "native" / "bin" / "corvane"
        stand_in.write_text("#!/bin/sh\ntrap '' TERM\n: >\"$SANDBOX/stays\"\nexec sleep 1000\n")
        script = sandbox.start("demo.sh")
        sandbox.wait_for_stay(script)
        script.send_signal(signal.SIGTERM)
        self.assert_ended(sandbox, script, signal.SIGTERM)

    def test_wine_is_shut_down_in_the_prefix_of_the_demo(self):
        sandbox = self.sandbox()
        script = sandbox.start("demo.sh", STAY_AT="wine *regedit.exe *")
        sandbox.wait_for_stay(script)
        script.send_signal(signal.SIGTERM)
        self.assert_ended(sandbox, script, signal.SIGTERM)
        self.assertEqual(sandbox.calls()[-1], "wineserver -k")


def ignores(process, number):
    """Whether a process ignores a signal."""
    with open(f"/proc/{process}/status", encoding="ascii") as status:
        ignored = next(line for line in status if line.startswith("SigIgn:"))
    return int(ignored.split()[1], 16) >> number - 1 & 1


class Ends(ScriptTestCase):
    def test_the_demo_runs_to_its_end_and_leaves_nothing_running(self):
        sandbox = self.sandbox()
        self.assertEqual(self.run_to_end(sandbox, "demo.sh"), 0, sandbox.printed())
        calls = [call for call in sandbox.calls() if call.startswith(("corvane ", "tshark "))]
        self.assertEqual(
            calls,
            [
                "corvane info build/demo/demo.isf",
                "corvane export build/demo/demo.isf -o build/demo/demo.pcapng --overwrite",
                "tshark -r build/demo/demo.pcapng -c 10",
            ],
        )

    def test_the_demo_needs_no_tshark(self):
        sandbox = self.sandbox()
        path = sandbox.path_without("tshark")
        self.assertEqual(self.run_to_end(sandbox, "demo.sh", PATH=path), 0, sandbox.printed())
        exports = [call for call in sandbox.calls() if call.startswith("corvane export ")]
        self.assertEqual(len(exports), 1)
        self.assertEqual([call for call in sandbox.calls() if call.startswith("tshark ")], [])

    def test_no_export_of_an_older_demo_stays_beside_a_new_capture(self):
        sandbox = self.sandbox()
        old = sandbox.root / "build" / "demo" / "demo.pcapng"
        old.parent.mkdir()
        old.write_bytes(b"old")
        self.assertEqual(self.run_to_end(sandbox, "demo.sh", "--mbn"), 0, sandbox.printed())
        self.assertFalse(old.exists())

    def test_windows_programs_run_under_a_utf_8_locale(self):
        sandbox = self.sandbox()
        self.run_to_end(sandbox, "demo.sh")
        prefix = sandbox.root / "build" / "demo" / "wine-serial"
        environments = {line for line in sandbox.calls() if line.startswith("wine LC_ALL")}
        self.assertEqual(environments, {f"wine LC_ALL=C.UTF-8 WINEPREFIX={prefix}"})

    def test_programs_of_windows_are_started_by_their_paths(self):
        sandbox = self.sandbox()
        self.run_to_end(sandbox, "demo.sh")
        self.run_to_end(sandbox, "demo.sh", "--mbn")
        calls = [call for call in sandbox.calls() if call.startswith("wine ")]
        programs = {call.split()[1] for call in calls if "=" not in call} - {"wineboot"}
        self.assertIn(r"C:\windows\system32\regsvr32.exe", programs)
        self.assertEqual({name for name in programs if not name.endswith(".exe")}, set())

    def test_a_failing_step_of_the_demo_shows_the_end_of_its_log(self):
        for call in (
            "cmake --preset native",
            "cmake --build --preset mingw *",
            "wine wineboot *",
            "wine *cmd.exe *",
            "corvane-modem-sim *",
            "tshark *",
        ):
            with self.subTest(call=call):
                sandbox = self.sandbox()
                self.assertNotEqual(self.run_to_end(sandbox, "demo.sh", FAIL_AT=call), 0)
                self.assertIn("the reason of the failure", sandbox.printed())

    def test_a_failing_step_of_the_test_run_shows_its_log(self):
        for call in (
            "cmake --build --preset asan *",
            "wine wineboot *",
            "ctest --preset native *",
            "ota_fuzzer *",
            "framing_bench *",
        ):
            with self.subTest(call=call):
                sandbox = self.sandbox()
                self.assertNotEqual(self.run_to_end(sandbox, "test.sh", FAIL_AT=call), 0)
                self.assertIn("the reason of the failure", sandbox.printed())

    def test_a_windows_program_gives_the_demo_its_exit_code(self):
        sandbox = self.sandbox()
        self.assertEqual(
            self.run_to_end(sandbox, "demo.sh", FAIL_AT="wine *corvane.exe capture *"), 53
        )
