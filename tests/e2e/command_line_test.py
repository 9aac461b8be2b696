"""`corvane capture` as its user runs it: status line, end, exit code, and what it refuses."""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile

import made_capture
from support import diag, environment, isf, mobile_broadband, recording, simulator, wine

STATUS = re.compile(
    r"\d+:\d\d:\d\d  [\d,]+ items?  [\d.]+ k?M?B  \d+ items/s(  set up|  set-up \d+ of \d+)?"
    r"(  nothing received for \d+ s)?"
)


class CommandLineTestCase(recording.RecordingTestCase, environment.WineTestCase):
    def setUp(self):
        super().setUp()
        self.files = self.folder()
        self.config = self.files / "capture.cfg"
        self.config.write_text("")
        self.output = self.files / "capture.isf"

    def run_corvane(self, *arguments, **options):
        """Starts corvane.exe. -> Popen; its standard error is what the user reads"""
        process = subprocess.Popen(
            [wine.ROOT / "scripts" / "wine.sh", environment.programs / "corvane.exe", *arguments],
            env=environment.prefix().environment,
            **{
                "stdin": subprocess.DEVNULL,
                "stdout": subprocess.PIPE,
                "stderr": subprocess.PIPE,
                "text": True,
                **options,
            },
        )
        self.addCleanup(self.clean_up, process)
        return process

    @staticmethod
    def clean_up(process):
        if process.poll() is None:
            process.kill()
        process.communicate()

    def capture(self, *arguments, device="COM7", config=None, output=None):
        return self.run_corvane(
            "capture",
            "--device",
            device,
            "--config",
            wine.windows_path(self.config) if config is None else config,
            "--output",
            wine.windows_path(self.output) if output is None else output,
            *arguments,
        )

    def wait_for_line(self, process, text):
        """The first line that the user reads with `text` in it."""
        line = process.stderr.readline()
        while text not in line:
            self.assertNotEqual(line, "", f"the program has ended without: {text}")
            line = process.stderr.readline()
        return line.rstrip("\n")

    def stop(self, process, code=0):
        """Ends the capture as Ctrl-C does. -> what the user read after that"""
        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=wine.DEADLINE)
        self.assertEqual(process.returncode, code, errors)
        return errors

    def wait_for_disconnection(self):
        wine.wait_until(
            lambda: "Port COM7 disconnected".encode("utf-16-le") in self.output.read_bytes(),
            "the port closed",
        )

    def assert_refused(self, process, reason, code=1):
        _, errors = process.communicate(timeout=wine.DEADLINE)
        self.assertEqual(process.returncode, code, errors)
        self.assertIn(reason, errors)
        self.assertNotIn("Capturing", errors)


class Capture(CommandLineTestCase):
    def test_it_captures_for_the_duration_and_exits_with_0(self):
        port = self.ports.add("COM7")
        self.config.write_text("<LogCodes>4125</LogCodes>")
        modem = simulator.Simulator(port.link, *"--rate 500 --seed 1".split())
        self.addCleanup(modem.close)
        port.set_present(True)
        process = self.capture("--duration", "4s")
        printed, errors = process.communicate(timeout=wine.DEADLINE)
        self.assertEqual(process.returncode, 0, errors)
        capture = self.read_capture()
        self.assertEqual(capture.packets(isf.REQUEST)[:6], diag.START_UP_REQUESTS[:6])
        lines = errors.splitlines()
        status = [line for line in lines if STATUS.fullmatch(line)]
        self.assertGreaterEqual(len(status), 4, errors)
        self.assertIn(f"capture.isf is complete: {len(capture.items):,} items", errors)
        self.assertIn("Set-up complete: 14 requests sent, 14 answered", errors)
        self.assertNotIn("not present", errors)
        # What the library prints is on standard error, and standard output has results alone.
        self.assertIn("Port COM7 connected\n", errors)
        self.assertEqual(printed, "")

    def test_the_status_line_follows_the_growing_file(self):
        port = self.ports.add("COM7")
        line = port.plug()
        modem = diag.MinimalModem(line)
        process = self.capture()
        # 13 requests, 13 replies, the information and the connected text.
        seen = ""
        while " 28 items " not in seen:
            seen = process.stderr.readline()
            self.assertNotEqual(seen, "", "the program has ended")
        process.send_signal(signal.SIGINT)
        self.wait_for_disconnection()
        modem.stop()
        line.hang_up()
        process.communicate(timeout=wine.DEADLINE)
        self.assertEqual(process.returncode, 0)
        self.assertEqual(len(self.read_capture().items), 29)

    def test_ctrl_c_ends_a_capture_that_waits_for_its_port(self):
        process = self.capture()
        line = ""
        while "COM7 is not present yet: waiting for it" not in line:
            line = process.stderr.readline()
            self.assertNotEqual(line, "", "the program has ended")
        while not STATUS.fullmatch(line.strip()):
            line = process.stderr.readline()
        errors = self.stop(process, 4)
        self.assertIn("nothing was captured", errors)
        self.assertFalse(self.output.exists())

    def test_a_wait_for_nothing_captures_nothing(self):
        process = self.capture("--wait", "0s")
        _, errors = process.communicate(timeout=wine.DEADLINE)
        self.assertEqual(process.returncode, 4, errors)
        self.assertFalse(self.output.exists())


class Troubles(CommandLineTestCase):
    """What the user is told of while a capture runs, or before it starts."""

    def test_a_configuration_of_too_many_requests_is_warned_of(self):
        levels = ",".join(f"{ssid}/1" for ssid in range(988))
        self.config.write_text(f"<MessageLevels>{levels}</MessageLevels>")
        process = self.capture("--wait", "0s")
        _, errors = process.communicate(timeout=wine.DEADLINE)
        self.assertEqual(process.returncode, 4, errors)
        warning = errors.index("makes 1,001 requests, and the library keeps only the last 1,000")
        self.assertLess(warning, errors.index("Capturing"))

    def test_a_connected_device_that_stays_silent_is_told_of(self):
        line = self.ports.add("COM7").plug()
        process = self.capture()
        self.wait_for_line(process, "nothing received for 5 s")
        process.send_signal(signal.SIGINT)
        self.wait_for_disconnection()
        line.hang_up()
        _, errors = process.communicate(timeout=wine.DEADLINE)
        self.assertEqual(process.returncode, 4, errors)

    def test_a_port_that_does_not_exist_is_told_of(self):
        for name in ("COM10", "COM9"):
            self.ports.add(name).set_present(True)
        process = self.capture(device="COM77")
        told = self.wait_for_line(process, "COM77 is not among")
        self.assertEqual(
            told,
            "COM77 is not among the present ports: COM9 (DIAG port 0002), COM10 (DIAG port 0001)",
        )
        self.stop(process, 4)

    def test_it_ends_with_a_complete_file_before_the_disk_is_full(self):
        # A file system in memory, where nobody else writes much. Its room is used up from outside.
        folder = pathlib.Path(tempfile.mkdtemp(prefix="corvane-", dir="/dev/shm"))
        self.addCleanup(shutil.rmtree, folder)
        self.output = folder / "capture.isf"
        line = self.ports.add("COM7").plug()
        modem = diag.MinimalModem(line)
        margin = 16_000_000
        limit = self.room(folder) - margin
        process = self.capture("--stop-below", str(limit))
        self.wait_for_line(process, " 28 items ")
        with open(folder / "filler", "wb") as filler:
            while (excess := self.room(folder) - limit) >= 0:
                end = os.fstat(filler.fileno()).st_size
                os.posix_fallocate(filler.fileno(), end, excess + 1_000_000)
        self.wait_for_disconnection()
        modem.stop()
        line.hang_up()
        _, errors = process.communicate(timeout=wine.DEADLINE)
        self.assertEqual(process.returncode, 0, errors)
        self.assertRegex(
            errors, r"corvane capture: only [\d.]+ .B are left on the disk of .*: the capture ends"
        )
        self.assertEqual(len(self.read_capture().items), 29)

    @staticmethod
    def room(folder):
        disk = os.statvfs(folder)
        return disk.f_bavail * disk.f_frsize

    def test_too_little_room_is_refused_and_nothing_overwritten(self):
        self.output.write_bytes(b"an earlier capture")
        self.assert_refused(
            self.capture("--stop-below", "18446744073G"),
            "and the capture would end below 18.4 EB: make room, or give a smaller --stop-below",
        )
        self.assertEqual(self.output.read_bytes(), b"an earlier capture")
        # The longest name that a capture which replaces another one can have.
        folder = len(wine.windows_path(self.files)) + 1
        longest = wine.windows_path(self.files / ("x" * (254 - folder)))
        self.assertEqual(len(longest), 254)
        self.assert_refused(
            self.capture("--stop-below", "18446744073G", output=longest),
            f" are free for the capture file {longest}, and the capture would end below 18.4 EB",
        )

    def test_amounts_that_are_none_are_wrong_usage(self):
        self.assert_refused(self.capture("--stop-below", "much"), '"much" is no size', code=2)
        self.assert_refused(
            self.capture("--duration", "0s"),
            '--duration: "0s" is no duration: write 10s, 5m or 2h',
            code=2,
        )


class Refusals(CommandLineTestCase):
    def test_a_missing_configuration_overwrites_nothing(self):
        self.output.write_bytes(b"an earlier capture")
        missing = wine.windows_path(self.files / "missing.cfg")
        self.assert_refused(
            self.capture(config=missing),
            f"the configuration file {missing} cannot be read: No such file or directory",
        )
        self.assertEqual(self.output.read_bytes(), b"an earlier capture")

    def test_a_folder_is_no_configuration(self):
        folder = wine.windows_path(self.files)
        self.assert_refused(
            self.capture(config=folder), f"the configuration file {folder} is a folder"
        )

    def test_an_output_that_cannot_be_written_is_named(self):
        nowhere = wine.windows_path(self.files / "missing" / "capture.isf")
        self.assert_refused(
            self.capture(output=nowhere),
            f"the capture file {nowhere} cannot be written: No such file or directory",
        )

    def test_a_folder_is_no_output(self):
        folder = wine.windows_path(self.files)
        self.assert_refused(self.capture(output=folder), f"the capture file {folder} is a folder")

    def test_the_configuration_is_not_overwritten(self):
        self.config.write_text("<LogCodes>412F</LogCodes>")
        path = wine.windows_path(self.config)
        self.assert_refused(
            self.capture(output=path), "the capture would overwrite its configuration file"
        )
        self.assertEqual(self.config.read_text(), "<LogCodes>412F</LogCodes>")

    def test_a_file_that_another_capture_writes_is_left_alone(self):
        first = self.capture()
        while not STATUS.fullmatch(first.stderr.readline().strip()):
            self.assertIsNone(first.poll())
        self.assert_refused(self.capture(), "is in use by another program, perhaps a capture")
        self.stop(first, 4)

    def test_a_device_name_of_64_characters_is_refused(self):
        self.assert_refused(
            self.capture(device="C" * 64),
            "the device name has 64 characters; at most 63 are possible",
        )

    def test_paths_of_260_characters_are_refused(self):
        self.assert_refused(
            self.capture(config="c" * 260),
            "the path of the configuration file has 260 characters; at most 259 are possible",
        )
        self.assert_refused(
            self.capture(output="o" * 260),
            "the path of the capture file has 260 characters; at most 259 are possible",
        )

    def test_an_empty_device_name_is_wrong_usage(self):
        self.assert_refused(self.capture(device=""), "the device name is empty", code=2)

    def test_a_duration_that_is_none_is_wrong_usage(self):
        self.assert_refused(self.capture("--duration", "soon"), '"soon" is no duration', code=2)
        self.assert_refused(self.capture("--duration", "0s"), '"0s" is no duration', code=2)

    def test_a_missing_option_is_wrong_usage(self):
        self.assert_refused(self.run_corvane("capture", "--device", "COM7"), "--output", code=2)

    def test_without_its_library_it_says_so(self):
        lonely = self.files / "corvane.exe"
        lonely.write_bytes((environment.programs / "corvane.exe").read_bytes())
        process = subprocess.run(
            [
                *(wine.ROOT / "scripts" / "wine.sh", lonely, "capture", "--device", "COM7"),
                *("--config", wine.windows_path(self.config)),
                *("--output", wine.windows_path(self.output)),
            ],
            env=environment.prefix().environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            text=True,
            check=False,
            timeout=wine.DEADLINE,
        )
        self.assertEqual(process.returncode, 1)
        self.assertIn("corvane.dll, which belongs beside this program, cannot be loaded", process.stderr)
        self.assertFalse(self.output.exists())


class Devices(CommandLineTestCase):
    INTERFACE = "{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}"

    def devices(self, told=""):
        process = self.run_corvane("devices")
        printed, errors = process.communicate(timeout=wine.DEADLINE)
        self.assertEqual((process.returncode, errors), (0, told))
        return printed.splitlines()

    def test_without_any_it_says_so(self):
        told = "No COM port and no mobile-broadband interface is present.\n"
        self.assertEqual(self.devices(told), [])

    def test_com_ports_are_listed_by_number_with_descriptions(self):
        for name in ("COM10", "COM9", "COM7"):
            self.ports.add(name).set_present(True)
        self.ports.add("COM8")  # absent
        self.ports.add().set_present(True)  # without a name
        self.assertEqual(
            self.devices(),
            ["COM7   DIAG port 0003", "COM9   DIAG port 0002", "COM10  DIAG port 0001"],
        )

    def test_ports_are_probed_for_a_modem(self):
        reply = b"\x00Oct 18 2019\x00\x01modem"
        modem = diag.MinimalModem(self.ports.add("COM7").plug(), lambda request: reply)
        # A port for AT commands sends back what it gets.
        echo = diag.MinimalModem(self.ports.add("COM8").plug(), lambda request: request)
        silent = self.ports.add("COM9").plug()
        process = self.run_corvane("devices", "--probe")
        printed, errors = process.communicate(timeout=wine.DEADLINE)
        self.assertEqual((process.returncode, errors), (0, ""))
        self.assertEqual(
            printed.splitlines(),
            [
                'COM7  DIAG port 0001: answered: version "Oct 18 2019, modem"',
                "COM8  DIAG port 0002: no answer",
                "COM9  DIAG port 0003: no answer",
            ],
        )
        modem.stop()
        echo.stop()
        # Nothing but the one request, in its frame.
        self.assertEqual((modem.requests, echo.requests), ([b"\x00"], [b"\x00"]))
        self.assertEqual(silent.receive(0), bytes.fromhex("0078F07E"))

    def test_interfaces_are_listed_as_the_device_option_takes_them(self):
        self.ports.add("COM7").set_present(True)
        prefix = environment.prefix()
        mobile_broadband.register(prefix, environment.programs)
        self.addCleanup(mobile_broadband.unregister, prefix, environment.programs)
        mobile_broadband.Service(prefix, self.files, f"interface {self.INTERFACE}\n")
        listed = f"QMBE:{self.INTERFACE}"
        self.assertEqual(
            self.devices(),
            ["COM7".ljust(len(listed)) + "  DIAG port 0001", listed + "  mobile-broadband interface"],
        )


class ReadingCommands(CommandLineTestCase):
    def test_info_and_list_read_a_capture_on_windows_too(self):
        made = made_capture.MadeCapture()
        made.add_text("Corvane version 1.0", made_capture.item_time(1_715_956_205_000))
        self.output.write_bytes(made.closed())
        for command in (["info", "--deep"], ["list"]):
            process = self.run_corvane(*command, wine.windows_path(self.output))
            printed, errors = process.communicate(timeout=wine.DEADLINE)
            self.assertEqual(process.returncode, 0, errors)
            self.assertIn("Corvane version 1.0", printed)
