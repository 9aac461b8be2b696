"""The export of a capture that is being recorded: `corvane export --follow`, and the program as
Wireshark calls it from its extcap folder. tshark reads what comes of it."""

import array
import contextlib
import fcntl
import os
import pathlib
import signal
import stat
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))

import made_capture  # noqa: E402  (needs the path above)

PROGRAM = os.environ["CORVANE_PROGRAM"]

# Only a broken program ever takes this long.
DEADLINE = 60.0

# 2024-05-17 12:00:00 UTC.
NOON = 1_715_947_200_000

# An EMM message of LTE, plain: identity request for the IMSI (3GPP TS 24.301, 8.2.18). The log has a
# version and the three numbers of a release in front.
IDENTITY_REQUEST = bytes.fromhex("075501")
LOG_EMM_IN = 0xB0EC


def wait_until(condition, what):
    end = time.monotonic() + DEADLINE
    while not condition():
        if time.monotonic() >= end:
            raise AssertionError(f"not within {DEADLINE:.0f} s: {what}")
        time.sleep(0.005)


class GrowingCapture(made_capture.MadeCapture):
    """A capture in a file, written as the recorder does: each record, and then its entry."""

    def __init__(self, path):
        super().__init__()
        self._file = open(path, "wb", buffering=0)
        self._file.write(struct.pack("<I", made_capture.HEADER))
        self.add_text("Corvane version 1.0", made_capture.item_time(NOON))
        self.add_text("Port COM7 connected", made_capture.item_time(NOON))

    def add_message(self):
        milliseconds = NOON + 10 * self.items
        self.add_log(
            LOG_EMM_IN,
            bytes([1, 9, 5, 0]) + IDENTITY_REQUEST,
            made_capture.item_time(milliseconds),
            made_capture.diag_stamp(milliseconds),
        )

    def close(self):
        index = b"".join(struct.pack("<QQ", *block) for block in self._blocks)
        self._file.write(index + struct.pack("<QII", 0, self.items, made_capture.TRAILER))
        self.die()

    def die(self):
        """Ends it as a recorder that was killed does."""
        self._file.close()


class Reader:
    """Collects what comes out of a stream, as it comes."""

    def __init__(self, stream):
        self.data = b""
        self._stream = stream
        self._thread = threading.Thread(target=self._read, daemon=True)
        self._thread.start()

    def _read(self):
        while piece := os.read(self._stream.fileno(), 65536):
            self.data += piece

    def wait_for(self, count, what):
        """Waits until `what` has come `count` times."""
        wait_until(lambda: self.data.count(what) >= count, f"{count} times {what!r}")

    def join(self):
        self._thread.join(DEADLINE)


class LiveTestCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="corvane-live-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.path = self.folder / "drive.isf"
        self.home = self.folder / "home"
        self.home.mkdir()

    def grow(self):
        capture = GrowingCapture(self.path)
        self.addCleanup(capture.die)
        return capture

    def start(self, *command, **options):
        environment = {**os.environ, "HOME": str(self.home), "TZ": "UTC", "LC_ALL": "C.UTF-8"}
        for variable in ("XDG_CONFIG_HOME", "WIRESHARK_CONFIG_DIR"):
            environment.pop(variable, None)
        process = subprocess.Popen(
            command,
            env=environment,
            **{
                "stdin": subprocess.DEVNULL,
                "stdout": subprocess.PIPE,
                "stderr": subprocess.PIPE,
                **options,
            },
        )
        self.addCleanup(self.clean_up, process)
        return process

    @staticmethod
    def clean_up(process):
        if process.poll() is None:
            process.kill()
        process.wait()
        for stream in (process.stdin, process.stdout, process.stderr):
            if stream is not None:
                stream.close()

    def follow(self, *options, **streams):
        return self.start(PROGRAM, "export", "--follow", self.path, "-w", "-", *options, **streams)

    def end(self, process):
        """Waits for the end. -> what the user read"""
        process.wait(DEADLINE)
        return process.stderr.read().decode()


    def assert_exported(self, process, messages, items):
        """The export has ended by itself, and has told so much."""
        plural = "" if messages == 1 else "s"
        told = f"corvane export: {messages} message{plural} of {items} items\n"
        self.assertEqual((self.end(process), process.returncode), (told, 0))


class FollowList(LiveTestCase):
    def follow_list(self, *options, **streams):
        return self.start(PROGRAM, "list", "--follow", self.path, *options, **streams)

    def test_items_and_markers_come_while_the_capture_is_open(self):
        capture = self.grow()
        process = self.follow_list("--log-code", "emm-plain-ota-message-in", "--json")
        out = Reader(process.stdout)
        for count in range(1, 4):
            capture.add_message()
            out.wait_for(count, b'"0xB0EC"')
        marks = pathlib.Path(f"{self.path}.marks")
        marks.write_text("2024-05-17T13:00:00.000Z tunnel\n")
        out.wait_for(1, b'"sort":"marker","text":"tunnel"')
        capture.close()
        self.assertEqual((self.end(process), process.returncode), ("", 0))
        out.join()
        self.assertEqual(out.data.count(b"\n"), 4)
        self.assertEqual(out.data.count(b'"port":"COM7"'), 3)

    def test_a_new_item_is_there_within_half_a_second(self):
        capture = self.grow()
        process = self.follow_list("--fields", "number")
        out = Reader(process.stdout)
        out.wait_for(1, b"1\n")
        waits = []
        for number in range(2, 12):
            began = time.monotonic()
            capture.add_message()
            out.wait_for(1, b"\n%d\n" % number)
            waits.append(time.monotonic() - began)
        # Each item comes just behind a look. A busy machine may take its time, but not each time.
        self.assertLess(min(waits), 0.5)

    def test_the_last_items_come_first(self):
        capture = self.grow()
        for _ in range(5):
            capture.add_message()
        process = self.follow_list("--tail", "2", "--fields", "number")
        out = Reader(process.stdout)
        out.wait_for(1, b"6\n")
        capture.add_message()
        capture.close()
        self.assertEqual((self.end(process), process.returncode), ("", 0))
        out.join()
        self.assertEqual(out.data, b"5\n6\n7\n")

    def test_so_many_items_are_enough(self):
        capture = self.grow()
        for options in (("--head", "2"), ("--to", "1")):
            process = self.follow_list("--fields", "number", *options)
            errors = self.end(process)
            self.assertEqual(process.stdout.read(), b"0\n1\n")
            self.assertEqual(process.returncode, 3, errors)
            self.assertIn("the file was not closed", errors)
        capture.close()

    def test_a_stop_gives_code_3(self):
        self.grow()
        process = self.follow_list()
        Reader(process.stdout).wait_for(1, b"Port COM7 connected")
        process.send_signal(signal.SIGINT)
        errors = self.end(process)
        self.assertEqual(process.returncode, 3, errors)
        self.assertIn("the file was not closed", errors)

    def test_bytes_behind_the_trailer_are_told_at_the_end(self):
        capture = self.grow()
        capture.close()
        end = self.path.stat().st_size
        with open(self.path, "ab") as file:
            file.write(b"more")
        process = self.follow_list("--fields", "number")
        errors = self.end(process)
        self.assertEqual(process.stdout.read(), b"0\n1\n")
        self.assertEqual(process.returncode, 1, errors)
        self.assertIn(f"4 bytes stand behind the trailer, at offset {end}", errors)

    def test_a_removed_file_is_waited_for_until_a_stop(self):
        capture = self.grow()
        process = self.follow_list("--fields", "number")
        out = Reader(process.stdout)
        out.wait_for(1, b"1\n")
        self.path.unlink()
        capture.add_message()  # its recorder still has it open
        out.wait_for(1, b"2\n")
        self.assertIsNone(process.poll())
        process.send_signal(signal.SIGINT)
        self.assertEqual((self.end(process).count("not closed"), process.returncode), (1, 3))

    def test_nothing_selected_is_told_at_the_end(self):
        capture = self.grow()
        process = self.follow_list("--type", "31")
        capture.close()
        told = f"corvane list: {self.path}: no item is selected\n"
        self.assertEqual((self.end(process), process.returncode), (told, 0))

    def test_an_export_is_selected_from_as_it_grows(self):
        capture = self.grow()
        process = self.follow("--format", "jsonl", "--from", "2", "--log-code", "0xB0EC")
        out = Reader(process.stdout)
        capture.add_message()
        out.wait_for(1, b'{"number":2,')
        capture.close()
        self.assertEqual((self.end(process), process.returncode), ("", 0))
        out.join()
        self.assertEqual(out.data.count(b"\n"), 1)
        self.assertIn(b'"port":"COM7"', out.data)


class Follow(LiveTestCase):
    def test_messages_come_while_the_capture_is_open(self):
        capture = self.grow()
        process = self.follow()
        out = Reader(process.stdout)
        for count in range(1, 4):
            capture.add_message()
            out.wait_for(count, IDENTITY_REQUEST)
        capture.close()
        self.assert_exported(process, 3, 5)
        out.join()
        self.assertEqual(out.data.count(IDENTITY_REQUEST), 3)

    def test_other_formats_come_live_too(self):
        for name, sign in {
            "jsonl": b'"0xB0EC"',
            "csv": b"0xB0EC",
            "hdlc": IDENTITY_REQUEST,
            "gsmtap": IDENTITY_REQUEST,
        }.items():
            with self.subTest(name):
                capture = self.grow()
                process = self.follow("--format", name)
                out = Reader(process.stdout)
                for count in range(1, 3):
                    capture.add_message()
                    out.wait_for(count, sign)
                capture.close()
                process.wait(DEADLINE)
                self.assertEqual(process.returncode, 0)

    def test_what_was_recorded_before_comes_first_and_once(self):
        capture = self.grow()
        for _ in range(100):
            capture.add_message()
        process = self.follow()
        out = Reader(process.stdout)
        out.wait_for(100, IDENTITY_REQUEST)
        capture.add_message()
        capture.close()
        self.assert_exported(process, 101, 103)
        out.join()
        once = self.start(PROGRAM, "export", self.path, "-w", "-")
        whole, _ = once.communicate(timeout=DEADLINE)
        self.assertEqual(out.data, whole)

    def test_the_section_header_comes_before_the_first_message(self):
        self.grow()
        process = self.follow()
        Reader(process.stdout).wait_for(1, b"\x0a\x0d\x0d\x0a")

    def test_a_stop_leaves_whole_blocks_and_code_3(self):
        for stop in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(stop=stop.name):
                capture = self.grow()
                process = self.follow()
                out = Reader(process.stdout)
                capture.add_message()
                out.wait_for(1, IDENTITY_REQUEST)
                process.send_signal(stop)
                errors = self.end(process)
                self.assertEqual(process.returncode, 3, errors)
                self.assertIn("the file was not closed", errors)
                out.join()
                self.assertEqual(block_lengths(out.data)[-1], 0)

    def test_a_dead_recorders_file_is_followed_until_a_stop(self):
        capture = self.grow()
        capture.add_message()
        capture.die()
        process = self.follow()
        out = Reader(process.stdout)
        out.wait_for(1, IDENTITY_REQUEST)
        # Several looks later it is still waiting.
        with self.assertRaises(subprocess.TimeoutExpired):
            process.wait(0.5)
        process.send_signal(signal.SIGINT)
        self.end(process)
        self.assertEqual(process.returncode, 3)

    def test_a_reader_that_goes_is_noticed_while_nothing_comes(self):
        self.grow()
        process = self.follow()
        os.read(process.stdout.fileno(), 4)
        process.stdout.close()
        began = time.monotonic()
        self.assertEqual((self.end(process), process.returncode), ("", 0))
        self.assertLess(time.monotonic() - began, 10)

    def test_a_full_pipe_does_not_hold_up_a_stop(self):
        capture = self.grow()
        for _ in range(2000):
            capture.add_message()
        reading, writing = os.pipe()
        self.addCleanup(os.close, reading)
        fcntl.fcntl(writing, fcntl.F_SETPIPE_SZ, 4096)
        process = self.follow(stdout=writing)
        os.close(writing)
        # Nobody reads: a pipe of one page is full with the first bytes.
        wait_until(lambda: bytes_in(reading), "the pipe is full")
        process.send_signal(signal.SIGTERM)
        self.end(process)
        self.assertEqual(process.returncode, 3)

    def test_a_file_that_is_replaced_ends_it(self):
        capture = self.grow()
        capture.add_message()
        process = self.follow()
        out = Reader(process.stdout)
        out.wait_for(1, IDENTITY_REQUEST)
        os.truncate(self.path, 4)
        errors = self.end(process)
        self.assertEqual(process.returncode, 1)
        self.assertIn("the file has become shorter while it was followed", errors)

    def test_a_missing_file_is_refused_and_nothing_made(self):
        stream = self.folder / "out.pcapng"
        process = self.start(PROGRAM, "export", "--follow", self.path, "-w", stream)
        errors = self.end(process)
        self.assertEqual(process.returncode, 1)
        self.assertIn("cannot be opened (No such file or directory)", errors)
        self.assertFalse(stream.exists())

    def test_an_empty_file_is_waited_for(self):
        self.path.touch()
        process = self.follow()
        out = Reader(process.stdout)
        out.wait_for(1, b"\x0a\x0d\x0d\x0a")
        capture = self.grow()
        capture.add_message()
        out.wait_for(1, IDENTITY_REQUEST)
        capture.close()
        self.assert_exported(process, 1, 3)

    def test_a_pipe_by_name_is_waited_for_and_written(self):
        capture = self.grow()
        capture.add_message()
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        process = self.start(PROGRAM, "export", "--follow", self.path, "-w", pipe)
        with open(pipe, "rb") as stream:
            out = Reader(stream)
            out.wait_for(1, IDENTITY_REQUEST)
            capture.close()
            self.assert_exported(process, 1, 3)
            out.join()

    def test_a_file_can_be_written_too(self):
        capture = self.grow()
        stream = self.folder / "out.pcapng"
        process = self.start(PROGRAM, "export", "--follow", self.path, "-w", stream)
        wait_until(stream.exists, "the file is made")
        capture.add_message()
        wait_until(lambda: IDENTITY_REQUEST in stream.read_bytes(), "the message is written")
        capture.close()
        self.assert_exported(process, 1, 3)

    def assert_refused(self, stream, *options):
        """-> why the export was refused, which touched neither the capture nor the stream"""
        before = [path.read_bytes() for path in (self.path, stream)]
        process = self.start(PROGRAM, "export", "--follow", self.path, "-w", stream, *options)
        errors = self.end(process)
        self.assertEqual(process.returncode, 1, errors)
        self.assertEqual([path.read_bytes() for path in (self.path, stream)], before)
        return errors

    def test_a_file_that_is_there_is_kept(self):
        self.grow().add_message()
        stream = self.folder / "out.pcapng"
        stream.write_bytes(b"keep")
        link = self.folder / "link.pcapng"
        link.symlink_to(stream)
        for path in (stream, link):
            told = f"corvane export: {path} is there already; --overwrite replaces it\n"
            self.assertEqual(self.assert_refused(path), told)

    def test_a_file_that_is_there_is_replaced_if_asked(self):
        capture = self.grow()
        stream = self.folder / "out.pcapng"
        stream.write_bytes(b"old" * 1000)
        process = self.start(PROGRAM, "export", "--follow", self.path, "-w", stream, "--overwrite")
        capture.add_message()
        # It is written itself while it grows, and not another file beside it.
        wait_until(lambda: IDENTITY_REQUEST in stream.read_bytes(), "the message is written")
        self.assertEqual(sorted(os.listdir(self.folder)), ["drive.isf", "home", "out.pcapng"])
        capture.close()
        self.assert_exported(process, 1, 3)
        self.assertEqual(block_lengths(stream.read_bytes())[-1], 0)

    def test_the_capture_itself_is_never_written(self):
        self.grow().add_message()
        symbolic = self.folder / "symbolic.isf"
        symbolic.symlink_to(self.path)
        hard = self.folder / "hard.isf"
        hard.hardlink_to(self.path)
        told = f"corvane export: the export would overwrite the capture {self.path}\n"
        for stream in (self.path, symbolic, hard):
            for options in ([], ["--overwrite"]):
                self.assertEqual(self.assert_refused(stream, *options), told)

    def test_standard_output_is_no_file_called_minus(self):
        self.grow().close()
        (self.folder / "-").write_bytes(b"keep")
        for way in (["--follow"], []):
            process = self.start(PROGRAM, "export", *way, self.path, "-w", "-", cwd=self.folder)
            self.assert_exported(process, 0, 2)
        self.assertEqual((self.folder / "-").read_bytes(), b"keep")

    def test_a_new_file_of_an_open_capture_makes_no_sense(self):
        self.grow()
        process = self.start(PROGRAM, "export", "--follow", self.path, "-o", self.folder / "out")
        self.end(process)
        self.assertEqual(process.returncode, 2)


def block_lengths(data):
    """Walks the blocks of a pcapng stream. -> their lengths, and behind the last whole one what is
    left over"""
    lengths, place = [], 0
    while len(data) - place >= 12:
        (length,) = struct.unpack_from("<I", data, place + 4)
        if place + length > len(data):
            break
        lengths.append(length)
        place += length
    return [*lengths, len(data) - place]


def bytes_in(pipe):
    """How many bytes wait in a pipe for their reader."""
    count = array.array("i", [0])
    fcntl.ioctl(pipe, termios.FIONREAD, count)
    return count[0]


class Extcap(LiveTestCase):
    """The questions and the start of a capture exactly as Wireshark has them."""

    def ask(self, *arguments):
        process = self.start(PROGRAM, *arguments)
        out, errors = process.communicate(timeout=DEADLINE)
        self.assertEqual((process.returncode, errors), (0, b""))
        return out.decode().splitlines()

    def capture(self, *arguments, pipe=None):
        return self.start(
            PROGRAM,
            *("--capture", "--extcap-interface", "corvane_follow"),
            *("--fifo", pipe or self.folder / "pipe"),
            *arguments,
            stdout=subprocess.DEVNULL,
        )

    @contextlib.contextmanager
    def piped(self, *arguments):
        """A capture into a FIFO. -> the process, and what reads the FIFO"""
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        process = self.capture(*arguments)
        with open(pipe, "rb", buffering=0) as stream:
            yield process, stream

    def test_it_offers_to_follow_a_file(self):
        header, interface = self.ask("--extcap-interfaces", "--extcap-version=4.0")
        self.assertRegex(header, r"^extcap \{version=[\d.]+\}")
        self.assertEqual(
            interface, "interface {value=corvane_follow}{display=Corvane: follow a capture file}"
        )

    def test_the_link_type_is_that_of_exported_pdus(self):
        (line,) = self.ask("--extcap-dlts", "--extcap-interface", "corvane_follow")
        self.assertRegex(line, r"^dlt \{number=252\}\{name=\w+\}\{display=[^{}]+\}$")

    def test_the_file_is_the_first_option(self):
        lines = self.ask("--extcap-config", "--extcap-interface", "corvane_follow")
        self.assertRegex(lines[0], r"^arg \{number=0\}\{call=--file\}.*\{type=fileselect\}")
        self.assertIn("{required=true}", lines[0])

    def test_choices_can_be_asked_for_again(self):
        lines = self.ask(
            *("--extcap-config", "--extcap-interface", "corvane_follow"),
            *("--extcap-reload-option", "clock"),
        )
        self.assertEqual([line.split("}{")[1] for line in lines], ["value=modem", "value=host"])

    def test_it_streams_until_it_is_asked_to_end(self):
        capture = self.grow()
        with self.piped("--file", self.path) as (process, stream):
            out = Reader(stream)
            capture.add_message()
            out.wait_for(1, IDENTITY_REQUEST)
            process.send_signal(signal.SIGTERM)
            self.assertEqual((self.end(process), process.returncode), ("", 0))
            out.join()

    def test_a_pipe_closed_by_wireshark_ends_it(self):
        self.grow()
        with self.piped("--file", self.path) as (process, stream):
            stream.read(4)
        self.assertEqual((self.end(process), process.returncode), ("", 0))

    def test_it_ends_with_the_capture(self):
        capture = self.grow()
        with self.piped("--file", self.path) as (process, stream):
            out = Reader(stream)
            capture.add_message()
            capture.close()
            self.assertEqual((self.end(process), process.returncode), ("", 0))
            out.join()
            self.assertEqual(out.data.count(IDENTITY_REQUEST), 1)

    def test_it_can_be_stopped_before_a_reader_comes(self):
        self.grow()
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        process = self.capture("--file", self.path)
        wait_until(lambda: has_handler(process.pid, signal.SIGTERM), "it waits for its reader")
        process.send_signal(signal.SIGTERM)
        self.assertEqual((self.end(process), process.returncode), ("", 0))

    def test_troubles_are_told_and_end_with_code_1(self):
        self.grow()
        for told, arguments in {
            "which capture file is to be followed?": [],
            "cannot be opened (No such file or directory)": ["--file", self.folder / "missing"],
            "there are no capture filters for this interface": [
                *("--file", self.path, "--extcap-capture-filter", "udp"),
            ],
            "cannot be written: ": ["--file", self.path],
        }.items():
            with self.subTest(told):
                process = self.capture(*arguments, pipe=self.folder / "no" / "pipe")
                self.assertIn(told, self.end(process))
                self.assertEqual(process.returncode, 1)

    def test_a_stream_into_the_capture_itself_is_refused(self):
        self.grow()
        before = self.path.read_bytes()
        link = self.folder / "link.isf"
        link.symlink_to(self.path)
        for pipe in (self.path, link, self.folder / "." / self.path.name):
            with self.subTest(pipe.name):
                process = self.capture("--file", self.path, pipe=pipe)
                self.assertIn(f"--fifo names {self.path} itself", self.end(process))
                self.assertEqual(process.returncode, 1)
        self.assertEqual(self.path.read_bytes(), before)

    def test_a_stream_into_its_output_or_configuration_is_refused(self):
        config = self.folder / "own.cfg"
        config.write_text("<LogCodes>412F</LogCodes>")
        for option, path in (("--config", config), ("--output", self.folder / "new.isf")):
            process = self.start(
                *(PROGRAM, "--capture", "--extcap-interface", "corvane_COM7"),
                *("--fifo", path, option, path),
            )
            self.assertIn(f"--fifo names {path} itself", self.end(process))
            self.assertEqual(process.returncode, 1)
        self.assertEqual(config.read_text(), "<LogCodes>412F</LogCodes>")

    def test_another_interface_is_refused(self):
        process = self.start(
            *(PROGRAM, "--capture", "--extcap-interface", "corvane_COM7", "--fifo", "pipe")
        )
        self.assertIn("only the Windows build", self.end(process))
        self.assertEqual(process.returncode, 1)


def has_handler(pid, number):
    for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines():
        if line.startswith("SigCgt:"):
            return int(line.split()[1], 16) >> (number - 1) & 1
    return False


class InWireshark(LiveTestCase):
    """tshark, which is Wireshark without windows, reads a capture while it is recorded."""

    def run_tshark(self, *arguments, **options):
        return self.start("tshark", "-l", "-n", *arguments, **options)

    def install(self):
        process = self.start(PROGRAM, "wireshark", "install")
        out, errors = process.communicate(timeout=DEADLINE)
        self.assertEqual((process.returncode, errors), (0, b""))
        return out.decode()

    def follow_with_tshark(self, *more):
        return self.run_tshark(
            *("-i", "corvane_follow", "-o", f"extcap.corvane_follow.file:{self.path}", *more)
        )

    def test_the_installed_program_is_listed(self):
        self.assertIn(str(self.home / ".config/wireshark/extcap/corvane"), self.install())
        listing, _ = self.run_tshark("-D").communicate(timeout=DEADLINE)
        self.assertIn("corvane_follow (Corvane: follow a capture file)", listing.decode())

    def test_messages_are_shown_while_the_capture_is_open(self):
        capture = self.grow()
        self.install()
        tshark = self.follow_with_tshark()
        shown = Reader(tshark.stdout)
        for count in range(1, 4):
            capture.add_message()
            shown.wait_for(count, b"Identity request")
        # Ctrl-C in tshark ends the capture and what it started.
        tshark.send_signal(signal.SIGINT)
        errors = self.end(tshark)
        self.assertEqual(tshark.returncode, 0, errors)
        self.assertIn("3 packets captured", errors)
        wait_until(lambda: not followers_of(self.path), "the program has ended")

    def test_a_pipe_on_standard_input_is_read_live(self):
        capture = self.grow()
        process = self.follow()
        tshark = self.run_tshark("-i", "-", stdin=process.stdout)
        process.stdout.close()
        shown = Reader(tshark.stdout)
        capture.add_message()
        shown.wait_for(1, b"Identity request")
        tshark.send_signal(signal.SIGINT)
        tshark.wait(DEADLINE)
        # Nothing is written any more, and yet it is noticed.
        self.assertEqual((self.end(process), process.returncode), ("", 0))

    def test_what_is_wrong_is_told_by_wireshark(self):
        self.install()
        tshark = self.follow_with_tshark()  # the capture is missing
        errors = self.end(tshark)
        self.assertNotEqual(tshark.returncode, 0)
        self.assertIn("cannot be opened (No such file or directory)", errors)


def followers_of(path):
    """The processes that have the file open, besides this one."""
    found = []
    for entry in pathlib.Path("/proc").glob("[0-9]*/fd/*"):
        with contextlib.suppress(OSError):
            if os.readlink(entry) == str(path) and entry.parts[2] != str(os.getpid()):
                found.append(entry.parts[2])
    return found


class Install(LiveTestCase):
    def wireshark(self, action, *arguments):
        process = self.start(PROGRAM, "wireshark", action, *arguments)
        out, errors = process.communicate(timeout=DEADLINE)
        return process.returncode, out.decode(), errors.decode()

    def test_an_earlier_copy_is_replaced_and_runs(self):
        target = self.home / ".config" / "wireshark" / "extcap" / "corvane"
        target.parent.mkdir(parents=True)
        target.write_text("an earlier version")
        code, out, errors = self.wireshark("install")
        self.assertEqual((code, errors), (0, ""))
        self.assertIn("Give that with --folder.", out)
        self.assertEqual(target.read_bytes(), pathlib.Path(PROGRAM).read_bytes())
        self.assertTrue(target.stat().st_mode & stat.S_IXUSR)
        self.assertEqual([file.name for file in target.parent.iterdir()], ["corvane"])

    def test_the_copy_can_be_replaced_while_it_runs(self):
        self.wireshark("install")
        self.grow()
        target = self.home / ".config" / "wireshark" / "extcap" / "corvane"
        running = self.start(target, "export", "--follow", self.path, "-w", "-")
        os.read(running.stdout.fileno(), 4)
        self.assertEqual(self.wireshark("install")[0], 0)
        self.assertIsNone(running.poll())

    def test_another_folder_can_be_named(self):
        folder = self.folder / "extcap"
        code, out, _ = self.wireshark("install", "--folder", folder)
        self.assertEqual(code, 0)
        self.assertNotIn("--folder", out)
        self.assertTrue((folder / "corvane").is_file())
        self.assertFalse((self.home / ".config").exists())

    def test_uninstall_leaves_what_is_not_its_own(self):
        folder = self.folder / "extcap"
        self.wireshark("install", "--folder", folder)
        (folder / "other").write_text("another program")
        code, out, errors = self.wireshark("uninstall", "--folder", folder)
        self.assertEqual((code, errors), (0, ""))
        self.assertEqual(out, f"Removed {folder / 'corvane'}\n")
        self.assertEqual([file.name for file in folder.iterdir()], ["other"])
        said = f"There is nothing to remove in {folder}\n"
        self.assertEqual(self.wireshark("uninstall", "--folder", folder), (0, said, ""))

    def test_what_cannot_be_written_is_named(self):
        (self.folder / "extcap").write_text("a file")
        code, _, errors = self.wireshark("install", "--folder", self.folder / "extcap")
        self.assertEqual(code, 1)
        said = f"the folder {self.folder / 'extcap'} cannot be made: Not a directory"
        self.assertEqual(errors, f"corvane wireshark: {said}\n")


if __name__ == "__main__":
    unittest.main()
