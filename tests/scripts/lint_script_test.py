"""scripts/lint.sh: which files clang-tidy reads and how, and what the script says and leaves behind."""

import json
import os
import signal
import unittest

from sandbox import DEADLINE, Sandbox

# The C++ files of this machine's build and of the cross build.
NATIVE = ("src/diag/hdlc.cpp", "src/platform/text_posix.cpp")
WINDOWS = ("src/diag/hdlc.cpp", "src/platform/text_windows.cpp", "src/control/corvane.rc")


class Lint(unittest.TestCase):
    def setUp(self):
        self.sandbox = Sandbox()
        self.addCleanup(self.sandbox.close)
        self.sandbox.add_program("clang-tidy")
        self.sandbox.add_program("x86_64-w64-mingw32-g++-posix")
        for preset, files in (("lint", NATIVE), ("lint-windows", WINDOWS)):
            build = self.sandbox.root / "build" / preset
            build.mkdir(parents=True)
            commands = [{"command": "c++", "file": self.path(name)} for name in files]
            # As CMake writes it.
            text = json.dumps(commands, ensure_ascii=False, indent=2)
            (build / "compile_commands.json").write_text(text, encoding="utf-8")

    def path(self, name):
        return str(self.sandbox.root / name)

    def lint(self, *files, **environment):
        """-> the script's exit code"""
        for file in (*NATIVE, *WINDOWS):
            path = self.sandbox.root / file
            path.parent.mkdir(parents=True, exist_ok=True)
            path.touch()
        code = self.sandbox.start("lint.sh", *files, **environment).wait(DEADLINE)
        self.assertEqual(self.sandbox.processes(), {})
        return code

    def looks(self):
        """What clang-tidy was called with, by file."""
        calls = [call for call in self.sandbox.calls() if call.startswith("clang-tidy ")]
        found = {}
        for call in calls:
            options, _, name = call.rpartition(f" {self.sandbox.root}/")
            found[name] = options.split()[1:]
        self.assertEqual(len(found), len(calls), "a file was read twice")
        return found

    def test_each_file_is_read_once_and_as_it_is_compiled(self):
        self.assertEqual(self.lint(), 0, self.sandbox.printed())
        looks = self.looks()
        self.assertEqual(
            set(looks), {name for name in (*NATIVE, *WINDOWS) if name.endswith(".cpp")}
        )
        for name in NATIVE:
            self.assertEqual(looks[name], ["--quiet", "-p", "build/lint"])
        windows = looks[WINDOWS[1]]
        self.assertEqual(windows[:3], ["--quiet", "-p", "build/lint-windows"])
        self.assertIn("--extra-arg-before=--target=x86_64-w64-mingw32", windows)
        self.assertIn("Nothing found in 3 files", self.sandbox.printed())

    def test_files_that_are_named_are_read_and_no_others(self):
        # A relative name belongs to the folder where the script is started.
        relative = os.path.relpath(self.path(NATIVE[0]))
        self.assertEqual(self.lint(self.path(WINDOWS[1]), relative), 0, self.sandbox.printed())
        self.assertEqual(set(self.looks()), {WINDOWS[1], NATIVE[0]})

    def test_a_finding_is_shown_and_fails_the_run(self):
        for name in (NATIVE[0], WINDOWS[1]):
            with self.subTest(name=name):
                (self.sandbox.root / "calls").unlink(missing_ok=True)
                self.assertEqual(self.lint(FAIL_AT=f"clang-tidy *{name}"), 1)
                self.assertIn("the reason of the failure", self.sandbox.printed())
                self.assertNotIn("Nothing found", self.sandbox.printed())
                self.assertEqual(len(self.looks()), 3)  # the other files were read even so

    def test_a_file_that_is_not_compiled_is_refused(self):
        other = self.sandbox.root / "other.cpp"
        other.touch()
        self.assertEqual(self.lint(other), 2)
        self.assertIn("other.cpp is none of the C++ files", self.sandbox.printed())
        self.assertEqual(self.looks(), {})

    def test_a_failing_configuration_shows_its_log(self):
        self.assertEqual(self.lint(FAIL_AT="cmake --preset lint-windows"), 1)
        self.assertIn("the reason of the failure", self.sandbox.printed())

    def test_a_signal_ends_it_and_all_it_started(self):
        for number in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM):
            with self.subTest(signal=number.name):
                (self.sandbox.root / "stays").unlink(missing_ok=True)
                script = self.sandbox.start("lint.sh", STAY_AT="clang-tidy *")
                self.sandbox.wait_for_stay(script)
                script.send_signal(number)
                self.assertEqual(script.wait(DEADLINE), -number, self.sandbox.printed())
                self.assertEqual(self.sandbox.processes(), {})
