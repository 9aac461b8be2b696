"""The commands of docs/modem-simulator.md, run as they stand there."""

import os
import subprocess
import unittest

from documents import commands
from sandbox import DEADLINE, Sandbox


class ModemSimulator(unittest.TestCase):
    DOCUMENT = "modem-simulator.md"

    def run_in_sandbox(self, heading):
        """-> the sandbox in which the commands behind the heading were run"""
        sandbox = Sandbox()
        self.addCleanup(sandbox.close)
        home = sandbox.root / "home"
        home.mkdir()
        before = {path.name for path in sandbox.root.iterdir()}
        subprocess.run(
            ["sh", "-e", "-c", commands(self.DOCUMENT, heading)],
            cwd=sandbox.root,
            env={**sandbox.environment, "HOME": str(home)},
            stdout=subprocess.DEVNULL,
            check=True,
            timeout=DEADLINE,
        )
        self.assertEqual(list(home.iterdir()), [])
        # Beside what the stand-ins write, everything is in the build folder.
        self.assertEqual({path.name for path in sandbox.root.iterdir()} - before, {"calls"})
        return sandbox

    def assert_captures_in_the_prefix_of_the_demo(self, sandbox, output):
        """-> the simulator's command line, the last one"""
        prefix = sandbox.root / "build" / "demo" / "wine-serial"
        calls = sandbox.calls()
        captures = [call for call in calls if " capture " in call]
        self.assertEqual(len(captures), 2)  # the demo's and one's own
        self.assertIn(f"--output {output}", captures[1])
        simulators = [call for call in calls if call.startswith("corvane-modem-sim ")]
        self.assertIn(f"--link {prefix}/dosdevices/com7 ", simulators[1])
        prefixes = {call.rpartition("=")[2] for call in calls if call.startswith("wine LC_ALL")}
        self.assertEqual(prefixes, {str(prefix)})
        self.assertEqual(sandbox.processes(), {})
        return simulators[1]

    def test_a_capture_of_ones_own_leaves_the_home_folder_alone(self):
        sandbox = self.run_in_sandbox("### A capture of your own")
        self.assert_captures_in_the_prefix_of_the_demo(sandbox, "build/own.isf")

    def test_a_capture_of_signalling_has_the_time_of_the_host(self):
        sandbox = self.run_in_sandbox("## Signalling")
        simulator = self.assert_captures_in_the_prefix_of_the_demo(sandbox, "build/signalling.isf")
        self.assertIn("--scenario signalling --start-at now --rate 200", simulator)
        exports = [call for call in sandbox.calls() if call.startswith("corvane export ")]
        self.assertEqual(
            exports[-1], "corvane export build/signalling.isf -o build/signalling.pcapng --overwrite"
        )

    def test_every_example_is_a_command_that_the_simulator_takes(self):
        path = f"{os.environ['CORVANE_PROGRAMS']}:{os.environ['PATH']}"
        lines = commands(self.DOCUMENT, "### Examples").splitlines()
        examples = [line for line in lines if line.startswith("corvane-modem-sim ")]
        self.assertEqual(len(examples), 5)
        for example in examples:
            with self.subTest(example=example):
                ended = subprocess.run(
                    ["sh", "-c", example],
                    env={**os.environ, "PATH": path},
                    input=b"quit\n",
                    stdout=subprocess.PIPE,
                    timeout=DEADLINE,
                    check=True,
                )
                self.assertIn(b'"plugged"', ended.stdout)
