"""The example hosts in Python and JavaScript, with a stand-in for the library.

There is no Windows Python or Node.js to run them with: they are run on this system, where they load
the stand-in as they would load corvane.dll.
"""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
EXAMPLES = HERE.parents[1] / "examples"
DEADLINE = 60.0


class ScriptHostTestCase(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.log = self.folder / "calls"
        self.library = os.environ["CORVANE_STAND_IN"]

    def start(self, *command, library=None):
        environment = dict(
            os.environ,
            CORVANE_DLL=library or self.library,
            CORVANE_STAND_IN_LOG=str(self.log),
            NODE_PATH=str(HERE / "stub"),
            LC_ALL="C.UTF-8",
        )
        host = subprocess.Popen(
            command, env=environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, text=True, cwd=self.folder,
        )
        self.addCleanup(self.clean_up, host)
        return host

    @staticmethod
    def clean_up(host):
        if host.poll() is None:
            host.kill()
        host.communicate()

    def lines(self):
        return self.log.read_text("utf-8").splitlines() if self.log.exists() else []

    def wait_for_line(self, line, host):
        end = time.monotonic() + DEADLINE
        while line not in self.lines():
            self.assertIsNone(host.poll(), self.lines())
            self.assertLess(time.monotonic(), end, f"no {line}: {self.lines()}")
            time.sleep(0.005)

    @staticmethod
    def press_enter(host):
        host.stdin.write("\n")
        host.stdin.flush()
        # The input stays open.
        host.wait(DEADLINE)

    def assert_ends(self, host, code, text=""):
        """The host ends with `code`, at the latest with its input, having said `text`."""
        _, errors = host.communicate(None, DEADLINE)
        self.assertEqual(host.returncode, code, errors)
        self.assertIn(text, errors)

    def assert_still_capturing(self, host, lines):
        self.assertIsNone(host.poll())
        self.assertEqual(self.lines(), lines)


class PythonHost(ScriptHostTestCase):
    START = "start\tCOM7\tdrivé.cfg\tdrive.isf"

    def capture(self, device="COM7", **options):
        command = (sys.executable, "-B", EXAMPLES / "host.py", device, "drivé.cfg", "drive.isf")
        return self.start(*command, **options)

    def test_it_captures_until_enter(self):
        host = self.capture()
        self.wait_for_line(self.START, host)
        self.assert_still_capturing(host, [self.START])
        self.press_enter(host)
        self.assert_ends(host, 0, "Capturing into drive.isf")
        self.assertEqual(self.lines(), [self.START, "stop"])

    def test_ctrl_c_ends_the_capture_too(self):
        host = self.capture()
        # Printed once the capture runs, and before the host waits.
        self.assertIn("Capturing", host.stderr.readline())
        host.send_signal(signal.SIGINT)
        host.wait(DEADLINE)
        self.assert_ends(host, 0)
        self.assertEqual(self.lines(), [self.START, "stop"])

    def test_a_capture_that_does_not_start_is_not_stopped(self):
        self.assert_ends(self.capture("refuse"), 1, "the capture did not start")
        self.assertEqual(self.lines(), ["start\trefuse\tdrivé.cfg\tdrive.isf"])

    def test_a_name_that_is_too_long_does_not_reach_the_library(self):
        self.assert_ends(self.capture("C" * 64), 1, "the name of the device is too long")
        self.assertEqual(self.lines(), [])
        self.assert_ends(self.capture("C" * 63), 0)
        self.assertEqual(len(self.lines()), 2)

    def test_a_missing_library_is_said(self):
        self.assert_ends(self.capture(library="/missing.dll"), 1, "/missing.dll")

    def test_a_wrong_command_line_is_refused(self):
        self.assert_ends(self.start(sys.executable, "-B", EXAMPLES / "host.py"), 2, "usage")


class JavaScriptHost(ScriptHostTestCase):
    LOAD = [
        '["load","library.dll"]',
        '["func","CorvaneStart","bool",["str","str","str"]]',
        '["func","CorvaneStop","void",[]]',
    ]
    STOP = '["call","CorvaneStop",0]'
    STOP_AFTER_ENTER = '["call","CorvaneStop",1]'

    def capture(self, device="COM7"):
        names = (device, "drive.cfg", "drive.isf")
        call = json.dumps(["call", "CorvaneStart", *names], separators=(",", ":"))
        command = ("node", EXAMPLES / "host.js", *names)
        return self.start(*command, library="library.dll"), self.LOAD + [call]

    def test_it_captures_until_enter(self):
        host, started = self.capture()
        self.wait_for_line(started[-1], host)
        self.assert_still_capturing(host, started)
        self.press_enter(host)
        self.assert_ends(host, 0, "Capturing into drive.isf")
        self.assertEqual(self.lines(), started + [self.STOP_AFTER_ENTER])

    def test_the_end_of_its_input_ends_the_capture(self):
        host, started = self.capture()
        self.assert_ends(host, 0)
        self.assertEqual(self.lines(), started + [self.STOP])

    def test_ctrl_c_ends_the_capture_too(self):
        host, started = self.capture()
        self.assertIn("Capturing", host.stderr.readline())
        host.send_signal(signal.SIGINT)
        host.wait(DEADLINE)
        self.assert_ends(host, 0)
        self.assertEqual(self.lines(), started + [self.STOP])

    def test_a_host_that_fails_stops_its_capture(self):
        host, started = self.capture("fail")
        # By itself: its input stays open.
        host.wait(DEADLINE)
        self.assert_ends(host, 1, "the host failed")
        self.assertEqual(self.lines(), started + [self.STOP])

    def test_a_capture_that_does_not_start_is_not_stopped(self):
        host, started = self.capture("refuse")
        self.assert_ends(host, 1, "The capture did not start")
        self.assertEqual(self.lines(), started)

    def test_names_that_the_library_cannot_take_do_not_reach_it(self):
        for name in ("C" * 64, "COMé"):
            with self.subTest(name=name):
                host, _ = self.capture(name)
                self.assert_ends(host, 2, "A name is too long, or not ASCII")
                self.assertEqual(self.lines(), [])

    def test_a_wrong_command_line_is_refused(self):
        self.assert_ends(self.start("node", EXAMPLES / "host.js"), 2, "usage")
