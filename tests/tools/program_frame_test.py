"""The frame of the command line: manual pages, progress, captures from standard input."""

import json
import os
import pty
import re
import select
import signal
import subprocess
import time
import unittest

import made_capture
from corvane_run import DEADLINE, PROGRAM, FrameTestCase, capture_of, commands_below, described, run


class ManualPages(FrameTestCase):
    def pages(self):
        self.assertEqual(run("manual", self.folder).returncode, 0)
        return sorted(self.folder.iterdir())

    def test_each_command_has_a_page_that_man_shows_cleanly(self):
        names = ["corvane", *("corvane-" + one["name"].split()[1] for one in described()["commands"])]
        self.assertEqual(sorted(page.stem for page in self.pages()), sorted(names))
        self.assertGreater(len(names), 7)
        for page in self.pages():
            shown = subprocess.run(
                ["groff", "-Kutf8", "-man", "-ww", "-Tutf8", "-P-cbou", "-rLL=80n", page],
                capture_output=True,
                text=True,
                check=False,
                timeout=DEADLINE,
            )
            self.assertEqual((shown.returncode, shown.stderr), (0, ""), page.name)
            headings = [line for line in shown.stdout.splitlines() if re.fullmatch("[A-Z]+[A-Z ]*", line)]
            wanted = ["NAME", "SYNOPSIS", "DESCRIPTION", "EXIT STATUS", "SEE ALSO"]
            self.assertEqual([one for one in headings if one in wanted], wanted, page.name)

    def test_a_page_and_the_help_have_the_same_options_and_examples(self):
        pages = {page.stem: page.read_text(encoding="utf-8") for page in self.pages()}
        for command in commands_below(described()):
            words = command["name"].split()
            page = pages["-".join(words[:2])]
            help_text = " ".join(run(*words[1:], "--help").stdout.split())
            for option in command["options"]:
                for name in option["names"]:
                    self.assertIn("\\fB" + name.replace("-", "\\-") + "\\fR", page, words)
                    self.assertIn(name, help_text)
                self.assertIn(" ".join(option["meaning"].split()), help_text)
            for example in command["examples"]:
                self.assertIn(example["command"], help_text)
                typed = example["command"].replace("\\", "\\e").replace("-", "\\-")
                self.assertIn(typed.replace("'", "\\(aq").replace("~", "\\(ti"), page)

    def test_help_is_no_wider_than_a_terminal(self):
        for command in (described(), *commands_below(described())):
            for line in run(*command["name"].split()[1:], "--help").stdout.splitlines():
                # An example is one line, so that it can be copied.
                if not line.startswith("  corvane ") and " | " not in line:
                    self.assertLessEqual(len(line), 80, line)

    def test_every_command_has_examples_and_exit_codes(self):
        for command in commands_below(described()):
            self.assertTrue(command["examples"], command["name"])
            self.assertTrue(command["exitCodes"], command["name"])
            for line in command["exitCodes"]:
                self.assertRegex(line, r"^[0-4] \S")

    def test_a_folder_that_is_missing_is_told(self):
        ended = run("manual", self.folder / "missing")
        self.assertEqual(ended.returncode, 1)
        self.assertIn("missing/corvane.1 cannot be written: No such file", ended.stderr)


class Progress(FrameTestCase):
    """The bar, on a pseudo-terminal."""

    def start(self, *arguments):
        """-> the process, whose standard error is a terminal, and our end of that"""
        ours, theirs = pty.openpty()
        self.addCleanup(os.close, ours)
        process = subprocess.Popen(
            [PROGRAM, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=theirs
        )
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        os.close(theirs)
        return process, ours

    def shown_on(self, terminal, seconds):
        """-> what the terminal gets within so many seconds; its writer's end ends it"""
        shown = b""
        while select.select([terminal], [], [], seconds)[0]:
            try:
                piece = os.read(terminal, 65_536)
            except OSError:  # the terminal has no more writer
                piece = b""
            if not piece:
                break
            shown += piece
        return shown.decode("utf-8")

    def test_long_work_shows_a_bar_and_wipes_it_out(self):
        path = self.folder / "drive.isf"
        path.write_bytes(capture_of(30_000))
        output = self.folder / "rows"
        os.mkfifo(output)
        process, terminal = self.start("export", path, "--format", "jsonl", "-w", output)
        rows = output.open("rb")
        self.addCleanup(rows.close)
        # The work takes as long as its reader lets it, and longer than a second.
        begun = time.monotonic()
        shown = ""
        while not shown:
            self.assertLess(time.monotonic(), begun + DEADLINE)
            self.assertTrue(rows.read1(16_384), "the export has ended without a bar")
            shown = self.shown_on(terminal, 0.05)
        self.assertGreater(time.monotonic(), begun + 0.9)
        while rows.read1(1 << 20):
            pass
        shown += self.shown_on(terminal, DEADLINE)
        self.assertEqual(process.wait(DEADLINE), 0)
        name = re.escape(str(output))
        self.assertRegex(shown, rf"^\r{name}  \[#* *\] +\d+ %")
        self.assertTrue(shown.endswith("\r"), shown)
        self.assertEqual(shown.split("\r")[-2].strip(), "")

    def test_short_work_shows_none(self):
        path = self.folder / "drive.isf"
        path.write_bytes(capture_of(10))
        output = self.folder / "drive.csv"
        process, terminal = self.start("export", path, "--format", "csv", "-o", output)
        self.assertEqual(self.shown_on(terminal, DEADLINE), "")
        self.assertEqual(process.wait(DEADLINE), 0)


class CapturesWithoutItems(FrameTestCase):
    def made_of(self, command, data):
        """-> the exit code, the messages, and the bytes of the new file; None without one"""
        path, output = self.folder / "empty.isf", self.folder / "made.isf"
        path.write_bytes(data)
        ended = run(command, path, "-o", output)
        made = output.read_bytes() if output.exists() else None
        output.unlink(missing_ok=True)
        return ended.returncode, ended.stderr, made

    def test_all_of_a_complete_one_is_one_again(self):
        data = made_capture.MadeCapture().closed()
        for command in ("cut", "merge"):
            self.assertEqual(self.made_of(command, data), (0, "", data), command)

    def test_of_one_that_was_not_closed_none_is_made(self):
        data = made_capture.MadeCapture().unclosed()
        for command in ("cut", "merge", "recover"):
            code, messages, made = self.made_of(command, data)
            self.assertEqual((code, made), (1, None), command)
            self.assertRegex(messages, r"so (none|no capture) was made\n$")


class EndsFromOutside(FrameTestCase):
    def test_a_signal_leaves_nothing_of_the_new_file(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with subprocess.Popen(
                [PROGRAM, "import", "-", "-o", self.folder / "drive.isf"],
                stdin=subprocess.PIPE,
                stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL,
            ) as process:
                self.addCleanup(process.kill)
                deadline = time.monotonic() + DEADLINE
                while not (self.folder / "drive.isf.part").exists():
                    self.assertLess(time.monotonic(), deadline)
                    self.assertIsNone(process.poll())
                    time.sleep(0.005)
                process.send_signal(number)
                self.assertEqual(process.wait(DEADLINE), -number)
            self.assertEqual(list(self.folder.iterdir()), [])

    def test_a_signal_that_is_ignored_stays_ignored(self):
        with subprocess.Popen(
            [PROGRAM, "import", "-", "-o", self.folder / "drive.isf"],
            stdin=subprocess.PIPE,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN),
        ) as process:
            self.addCleanup(process.kill)
            deadline = time.monotonic() + DEADLINE
            while not (self.folder / "drive.isf.part").exists():
                self.assertLess(time.monotonic(), deadline)
                time.sleep(0.005)
            process.send_signal(signal.SIGHUP)
            process.stdin.close()
            self.assertGreaterEqual(process.wait(DEADLINE), 0)


class StandardInput(FrameTestCase):
    def test_a_capture_is_read_as_from_a_file(self):
        path = self.folder / "drive.isf"
        # Bytes that a text file would lose on the way.
        data = capture_of(9_000)
        path.write_bytes(data)
        for command in (
            ["info"],
            ["info", "--deep"],
            ["list"],
            ["stats"],
            ["stats", "--json"],
            ["verify", "--json", "--jobs", "2"],
            ["export", "--format", "csv", "-w", "-"],
        ):
            from_file = run(command[0], path, *command[1:], text=False)
            self.assertEqual((from_file.returncode, from_file.stderr), (0, b""))
            piped = run(command[0], "-", *command[1:], input=data, text=False)
            self.assertEqual((piped.returncode, piped.stderr), (0, b""))
            wanted = from_file.stdout.replace(os.fsencode(path), b"standard input")
            self.assertEqual(piped.stdout, wanted)

    def made_of(self, data, *command):
        """-> what a command makes of standard input, in a folder where "-" names other files"""
        output = self.folder / "out"
        for name in ("-", "-.marks", ".marks"):
            (self.folder / name).write_text("2024-05-17T12:00:00.000Z not of this capture\n")
        made = run(*command, "-o", output, input=data, text=False, cwd=self.folder)
        self.assertIn(made.returncode, (0, 1, 3), made.stderr)
        self.assertFalse((self.folder / "out.marks").exists())
        return made, output.read_bytes()

    def test_captures_are_made_of_it(self):
        data = capture_of(9_000)
        for command in ("cut", "recover"):
            made, capture = self.made_of(data, command, "-")
            self.assertEqual((made.returncode, made.stderr), (0, b""))
            self.assertEqual(capture, data)
            (self.folder / "out").unlink()

    def test_it_is_merged_with_files(self):
        path = self.folder / "later.isf"
        path.write_bytes(capture_of(5, step=100_000))
        made, capture = self.made_of(capture_of(5), "merge", path, "-")
        self.assertEqual((made.returncode, made.stderr), (0, b""))
        self.assertIn("Merged from standard input".encode("utf-16-le"), capture)
        self.assertIn("Merged from later.isf".encode("utf-16-le"), capture)
        twice = run("merge", "-", "-", "-o", self.folder / "twice", input="")
        self.assertEqual(
            (twice.returncode, twice.stderr), (2, "corvane merge: standard input is named twice\n")
        )

    def test_a_report_tells_what_is_wrong_in_it(self):
        # The file is opened a second time for its violations.
        data = bytearray(capture_of(10))
        data[4 + 7 * 3 + 5] += 1  # the length of an item
        made, page = self.made_of(data, "report", "-")
        self.assertEqual(made.returncode, 1)
        self.assertIn(b"corvane report: standard input: ", made.stderr)
        self.assertIn(b"<title>standard input ", page)
        told = json.loads(run("verify", "--json", "-", input=bytes(data), text=False).stdout.splitlines()[0])
        self.assertIn(told["problem"].encode(), page)

    def test_a_capture_that_is_cut_off_is_called_standard_input(self):
        data = capture_of(10)[:-200]
        ended = run("info", "-", input=data, text=False)
        self.assertEqual(ended.returncode, 1)
        self.assertTrue(ended.stderr.startswith(b"corvane info: standard input: "), ended.stderr)

    def test_without_room_for_its_bytes_it_says_so(self):
        environment = dict(os.environ, TMPDIR=str(self.folder / "missing"))
        ended = run("info", "-", input="", env=environment)
        self.assertEqual((ended.returncode, ended.stdout), (1, ""))
        self.assertEqual(
            ended.stderr,
            "corvane info: standard input: the file cannot be opened (no temporary file can be made: "
            "No such file or directory)\n",
        )

    def test_nothing_of_it_is_left(self):
        environment = dict(os.environ, TMPDIR=str(self.folder))
        ended = run("info", "-", input=capture_of(3), text=False, env=environment)
        self.assertEqual(ended.returncode, 0)
        self.assertEqual(list(self.folder.iterdir()), [])


if __name__ == "__main__":
    unittest.main()
