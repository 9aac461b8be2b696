"""`corvane capture` while it runs and at its end, with the simulated modem: events, files in turn,
limits, markers, and a modem that stays silent."""

import json
import re
import signal
import subprocess

from command_line_test import STATUS, CommandLineTestCase
from support import diag, isf, simulator, wine

CONFIGURATION = "<LogCodes>4125</LogCodes>"


class RunningCaptureTestCase(CommandLineTestCase):
    def setUp(self):
        super().setUp()
        self.config.write_text(CONFIGURATION)

    def simulate(self, *arguments):
        """A modem behind COM7 that streams logs."""
        port = self.ports.add("COM7")
        modem = simulator.Simulator(port.link, "--seed", "1", *arguments)
        self.addCleanup(modem.close)
        port.set_present(True)
        return modem

    def finish(self, process, code=0, given=None):
        """-> what it wrote to standard output and standard error until its end"""
        printed, errors = process.communicate(given, timeout=wine.DEADLINE)
        self.assertEqual(process.returncode, code, errors)
        return printed, errors

    @staticmethod
    def events(printed, name=None):
        events = [json.loads(line) for line in printed.splitlines()]
        return [event for event in events if name in (None, event["event"])]

    @staticmethod
    def sent_logs(modem):
        return [
            bytes.fromhex(line["hex"]) for line in modem.packets("tx") if line["kind"] == "log"
        ]


class Events(RunningCaptureTestCase):
    def test_a_supervisor_is_told_and_sets_a_marker(self):
        self.simulate("--rate", "500")
        process = self.run_corvane(
            *("capture", "--device", "COM7", "--config", wine.windows_path(self.config)),
            *("--output", wine.windows_path(self.output), "--json", "--items", "1000"),
            stdin=subprocess.PIPE,
        )
        process.stdin.write("m tunnel entry\n")
        process.stdin.flush()
        # Its input stays open until it has ended by itself.
        process.wait(wine.DEADLINE)
        printed, errors = self.finish(process)
        names = [event["event"] for event in self.events(printed)]
        self.assertEqual((names[0], names[-2:]), ("started", ["stopped", "summary"]))
        for name in ("connected", "set_up", "status", "marker"):
            self.assertIn(name, names)
        self.assertEqual(self.events(printed, "stopped")[0]["reason"], "items")
        summary = self.events(printed, "summary")[0]
        capture = self.read_capture()
        self.assertEqual(summary["exit_code"], 0)
        self.assertEqual(summary["items"], len(capture.items))
        self.assertGreaterEqual(len(capture.items), 1000)
        self.assertEqual(summary["set_up"]["answered"], 14)
        self.assertTrue(summary["set_up"]["complete"])
        self.assertIn("Set-up complete: 14 requests sent, 14 answered", errors)
        # What the library prints is on standard error.
        self.assertIn("Port COM7 connected\n", errors)
        marks = (self.output.parent / "capture.isf.marks").read_text()
        self.assertRegex(marks, r"\A\d{4}-\d\d-\d\dT[\d:.]+Z tunnel entry\n\Z")

    def test_both_streams_in_one_pipe_are_whole_lines(self):
        # Damaged frames make the library print on its own thread all the while.
        self.simulate("--rate", "500", "--bad-crc", "20%")
        process = self.run_corvane(
            *("capture", "--device", "COM7", "--config", wine.windows_path(self.config)),
            *("--output", wine.windows_path(self.output), "--json", "--duration", "4s"),
            stderr=subprocess.STDOUT,
        )
        printed, _ = self.finish(process)
        known = re.compile(
            r"bad CRC|Port COM7 (dis)?connected|Capturing .*|COM7 is not .*|Set-up complete: .*|"
            r".* is complete: .*|Items: .*|\d+ connections?, .*"
        )
        lines = printed.splitlines()
        for line in lines:
            if line.startswith("{"):
                json.loads(line)
            else:
                self.assertTrue(known.fullmatch(line) or STATUS.fullmatch(line), line)
        summary = json.loads([line for line in lines if line.startswith("{")][-1])
        self.assertGreater(summary["bad_frames"], 10)
        self.assertEqual(lines.count("bad CRC"), summary["bad_frames"])

    def test_a_quiet_one_says_nothing(self):
        self.simulate("--rate", "500")
        process = self.capture("--quiet", "--items", "100")
        self.assertEqual(self.finish(process), ("", ""))

    def test_closed_standard_streams_do_not_end_it(self):
        self.simulate("--rate", "500")
        arguments = [
            *("capture", "--device", "COM7", "--config", wine.windows_path(self.config)),
            *("--output", wine.windows_path(self.output), "--json", "--items", "200"),
        ]
        process = self.run_corvane(*arguments)
        # Nobody reads any longer.
        process.stdout.close()
        process.stderr.close()
        self.assertEqual(process.wait(wine.DEADLINE), 0)
        self.assertGreaterEqual(len(self.read_capture().items), 200)
        process.stdout = process.stderr = None


class SeveralSims(RunningCaptureTestCase):
    def test_their_missing_logs_are_hinted_at(self):
        """The library is silent about the wrappers that it refuses on a COM port."""
        self.simulate("--rate", "300", "--scenario", "signalling", "--subscriptions", "2")
        process = self.capture("--duration", "3s", "--json")
        printed, errors = self.finish(process)
        self.assertEqual(self.read_capture().packets(isf.LOG), [])
        summary = self.events(printed, "summary")[0]
        self.assertEqual((summary["refused_packets"], summary["exit_code"]), (0, 0))
        (warning,) = self.events(printed, "warning")
        self.assertRegex(
            warning["text"],
            "no log was recorded, though the modem accepted the log masks: perhaps it has several "
            "SIMs .* <MultiSim>unwrap</MultiSim> in the configuration records them",
        )
        self.assertIn(f"corvane capture: warning: {warning['text']}\n", errors)


class Limits(RunningCaptureTestCase):
    def test_it_ends_at_its_size(self):
        self.simulate("--rate", "500")
        process = self.capture("--size", "100k")
        _, errors = self.finish(process)
        self.assertIn("are captured: the capture ends", errors)
        self.assertGreaterEqual(self.output.stat().st_size, 100_000)
        self.read_capture()

    def test_a_silent_modem_is_told_of_and_gives_4(self):
        line = self.ports.add("COM7").plug()
        process = self.capture("--duration", "9s")
        self.wait_for_line(process, "the set-up is stuck: request 1 of 14 (")
        self.wait_for_disconnection()
        line.hang_up()
        _, errors = self.finish(process, 4)
        self.assertIn("Set-up stuck: 1 of 14 requests sent, 0 answered, 0 refused", errors)
        self.assertIn("the device was connected and sent nothing", errors)
        self.assertEqual(self.read_capture().packets(isf.REQUEST), diag.START_UP_REQUESTS[:1])

    def test_a_stop_that_the_driver_holds_up_is_told_of(self):
        line = self.ports.add("COM7").plug()
        modem = diag.MinimalModem(line)
        process = self.capture("--items", "14")
        # Wine does not end the read of a silent line.
        self.wait_for_line(process, "complete as soon as the device lets go of its port")
        modem.stop()
        line.hang_up()
        self.finish(process)
        self.read_capture()


class FilesInTurn(RunningCaptureTestCase):
    def files_of_run(self):
        return sorted(self.files.glob("capture_*.isf"))

    def test_each_is_complete_and_loses_nothing_inside(self):
        modem = self.simulate("--rate", "200")
        process = self.capture("--rotate-time", "3s", "--duration", "10s", "--json")
        printed, errors = self.finish(process)
        rotated = self.events(printed, "rotated")
        files = self.files_of_run()
        self.assertGreaterEqual(len(rotated), 2, errors)
        self.assertEqual(len(files), len(rotated) + 1)
        sent = self.sent_logs(modem)
        place = 0
        lost = []
        for path in files:
            self.assertRegex(
                path.name, r"\Acapture_\d{5}_\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d\.isf\Z"
            )
            logs = self.read_capture(path).packets(isf.LOG)
            self.assertTrue(logs, path)
            begin = sent.index(logs[0], place)
            # Not one log is missing between the first and the last of a file.
            self.assertEqual(sent[begin : begin + len(logs)], logs, path)
            lost.append(begin - place)
            place = begin + len(logs)
        self.assertEqual(self.events(printed, "summary")[0]["file_count"], len(files))
        self.assertIn("and nothing was received for", errors)
        # A change costs what comes while the modem is not heard, and that is told.
        silences = [event["silence"] for event in self.events(printed, "resumed")]
        self.assertEqual(len(silences), len(rotated), errors)
        for count, silence in zip(lost[1:], silences):
            self.assertLess(count, 200 * (silence + 1), (lost, silences))

    def test_only_the_newest_are_kept(self):
        self.simulate("--rate", "200")
        other = self.files / "capture_00000_2020-01-01_00-00-00.isf"
        other.write_bytes(b"of another run")
        process = self.capture("--rotate-size", "100k", "--keep", "1", "--items", "1500")
        _, errors = self.finish(process)
        self.assertIn(" is removed", errors)
        kept = self.files_of_run()
        self.assertEqual(kept[0], other)
        self.assertEqual(len(kept), 2)
        self.read_capture(kept[1])


class Marking(RunningCaptureTestCase):
    def test_another_program_marks_a_running_capture(self):
        self.simulate("--rate", "100")
        process = self.capture()
        self.wait_for_line(process, " items/s")
        markers = [
            self.run_corvane("mark", wine.windows_path(self.output), f"marker {number}")
            for number in range(3)
        ]
        for marker in markers:
            printed, errors = self.finish(marker)
            self.assertRegex(printed, r"Z marker \d$")
            self.assertEqual(errors, "")
        process.send_signal(signal.SIGINT)
        self.finish(process)
        lines = (self.output.parent / "capture.isf.marks").read_text().splitlines()
        self.assertEqual(
            sorted(line.split(" ", 1)[1] for line in lines), [f"marker {n}" for n in range(3)]
        )
        # A name that is too long for a capture, but not for what marks it.
        folder = self.files / ("x" * 200) / ("y" * 90)
        folder.mkdir(parents=True)
        far = folder / "capture.isf"
        far.write_bytes(self.output.read_bytes())
        printed, errors = self.finish(
            self.run_corvane("mark", "--at", "2026-03-01T10:00:00Z", wine.windows_path(far), "far")
        )
        self.assertEqual((folder / "capture.isf.marks").read_text(), printed)
        # Now it is complete.
        _, errors = self.finish(
            self.run_corvane("mark", wine.windows_path(self.output), "late"), 1
        )
        self.assertIn("is complete, and a marker of now", errors)
