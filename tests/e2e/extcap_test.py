"""corvane.exe as Wireshark calls it: its questions, and captures into a named pipe and a FIFO."""

import os
import shutil
import signal
import subprocess

import made_capture
from support import diag, environment, isf, mobile_broadband, recording, wine

# A plain EMM message of LTE in its log packet: identity request for the IMSI (3GPP TS 24.301,
# 8.2.18), behind the log's version and release.
IDENTITY_REQUEST = bytes.fromhex("075501")
_PAYLOAD = bytes([1, 9, 5, 0]) + IDENTITY_REQUEST
# 2024-05-17 12:00:00 UTC as DIAG has it: units of 1.25 ms since 1980-01-06.
_STAMP = ((1_715_947_200 - 315_964_800) * 800) << 16
_LENGTH = 12 + len(_PAYLOAD)
MESSAGE = (
    bytes([0x10, 0])
    + _LENGTH.to_bytes(2, "little") * 2
    + (0xB0EC).to_bytes(2, "little")
    + _STAMP.to_bytes(8, "little")
    + _PAYLOAD
)

INTERFACE = "{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}"


class ExtcapTestCase(recording.RecordingTestCase, environment.WineTestCase):
    def setUp(self):
        super().setUp()
        self.files = self.folder()
        self.output = self.files / "drive.isf"
        self.log = self.files / "drive.isf.log"
        self.streamed = self.files / "streamed.pcapng"

    def run_corvane(self, *arguments, program=None, **options):
        process = subprocess.Popen(
            [
                wine.ROOT / "scripts" / "wine.sh",
                program or environment.programs / "corvane.exe",
                *arguments,
            ],
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

    def ask(self, *arguments):
        out, errors = self.run_corvane(*arguments).communicate(timeout=wine.DEADLINE)
        self.assertEqual(errors, "")
        return out.splitlines()

    def capture(self, pipe, *more, interface="corvane_COM7", profile="requests-only", **options):
        """Starts a capture with the arguments that Wireshark gives. profile None: it gives none."""
        return self.run_corvane(
            *("--capture", "--extcap-interface", interface, "--fifo", pipe),
            *(() if profile is None else ("--profile", profile)),
            *("--output", wine.windows_path(self.output), *more),
            **options,
        )

    def open_pipe(self, number=0):
        """Makes a named pipe, a new one for each number. -> its name and the host that reads it"""
        self.streamed.unlink(missing_ok=True)
        name = f"corvane-test-{os.getpid()}-{self.id().rsplit('.', 1)[1]}-{number}"
        host = self.host("pipe_host.exe", name, wine.windows_path(self.streamed))
        return rf"\\.\pipe\{name}", host

    def wait_for_stream(self, what, count=1):
        wine.wait_until(
            lambda: self.streamed.exists() and self.streamed.read_bytes().count(what) >= count,
            f"{count} times {what!r} came through the pipe",
        )

    def end(self, process):
        _, errors = process.communicate(timeout=wine.DEADLINE)
        return process.returncode, errors


class Questions(ExtcapTestCase):
    def test_com_ports_and_interfaces_are_offered(self):
        for name in ("COM10", "COM7"):
            self.ports.add(name).set_present(True)
        prefix = environment.prefix()
        mobile_broadband.register(prefix, environment.programs)
        self.addCleanup(mobile_broadband.unregister, prefix, environment.programs)
        mobile_broadband.Service(prefix, self.files, f"interface {INTERFACE}\n")
        lines = self.ask("--extcap-interfaces", "--extcap-version=4.0")
        self.assertRegex(lines[0], r"^extcap \{version=[\d.]+\}\{display=Corvane\}$")
        bare = INTERFACE.strip("{}")
        self.assertEqual(
            lines[1:],
            [
                "interface {value=corvane_COM7}{display=Corvane: COM7, DIAG port 0002}",
                "interface {value=corvane_COM10}{display=Corvane: COM10, DIAG port 0001}",
                f"interface {{value=corvane_QMBE_{bare}}}"
                f"{{display=Corvane: QMBE:({bare}), mobile-broadband interface}}",
                "interface {value=corvane_follow}{display=Corvane: follow a capture file}",
            ],
        )

    def test_the_dialog_has_profiles_and_files(self):
        lines = self.ask("--extcap-config", "--extcap-interface", "corvane_COM7")
        calls = [line.split("{call=")[1].split("}")[0] for line in lines if "{call=" in line]
        self.assertEqual(calls[:3], ["--profile", "--config", "--output"])
        choices = [line for line in lines if line.startswith("value {arg=0}")]
        names = [choice.split("{value=")[1].split("}")[0] for choice in choices]
        profiles = sorted(path.stem for path in (wine.ROOT / "profiles").glob("*.cfg"))
        self.assertEqual(names, profiles)
        self.assertEqual(sum("{default=true}" in choice for choice in choices), 1)

    def test_the_link_type_is_that_of_exported_pdus(self):
        (line,) = self.ask("--extcap-dlts", "--extcap-interface", "corvane_COM7")
        self.assertTrue(line.startswith("dlt {number=252}"), line)


class ModemTestCase(ExtcapTestCase):
    """With a modem at COM7 that answers requests."""

    def plug_modem(self):
        self.line = self.ports.add("COM7").plug()
        self.modem = diag.MinimalModem(self.line)
        self.addCleanup(self.modem.stop)

    def send_message(self):
        self.line.send(diag.frame(MESSAGE))

    def wait_for_requests(self):
        """Waits until the library has asked all that it asks: then it takes what comes."""
        wine.wait_until(
            lambda: len(self.modem.replies) == len(diag.START_UP_REQUESTS), "the library's requests"
        )

    def unplug(self):
        """Lets the reader of the port end, which has been told to close."""
        wine.wait_until(
            lambda: "Port COM7 disconnected".encode("utf-16-le") in self.output.read_bytes(),
            "the port closed",
        )
        self.modem.stop()
        self.line.hang_up()


class NamedPipe(ModemTestCase):
    def test_messages_are_streamed_and_a_closed_pipe_ends_it_well(self):
        self.plug_modem()
        pipe, host = self.open_pipe()
        process = self.capture(pipe)
        host.wait_for("connected")
        self.wait_for_requests()
        for count in range(1, 4):
            self.send_message()
            self.wait_for_stream(IDENTITY_REQUEST, count)
        # The capture is still open; the pipe closes, and nothing comes any more.
        host.finish()
        self.unplug()
        self.assertEqual(self.end(process), (0, ""))
        self.assertEqual(self.read_capture().packets(isf.LOG), [MESSAGE] * 3)

    def test_a_marker_is_streamed_when_it_is_set(self):
        self.plug_modem()
        pipe, host = self.open_pipe()
        process = self.capture(pipe, "--messages")
        self.wait_for_requests()
        self.send_message()
        self.wait_for_stream(IDENTITY_REQUEST, 1)
        marked = self.run_corvane("mark", wine.windows_path(self.output), "at the bridge")
        self.assertEqual(self.end(marked), (0, ""))
        wine.wait_until(lambda: b"at the bridge" in self.streamed.read_bytes(), "the marker")
        host.finish()
        self.unplug()
        self.assertEqual(self.end(process), (0, ""))

    def test_what_the_library_prints_is_in_the_log_alone(self):
        self.plug_modem()
        pipe, host = self.open_pipe()
        process = self.capture(pipe)
        damaged = bytearray(diag.frame(MESSAGE))
        damaged[20] ^= 1
        self.wait_for_requests()
        self.assertIn("Port COM7 connected", self.log.read_text())
        self.line.send(bytes(damaged))
        wine.wait_until(lambda: "bad CRC" in self.log.read_text(), "the complaint in the log")
        host.finish()
        self.unplug()
        out, errors = process.communicate(timeout=wine.DEADLINE)
        self.assertEqual((process.returncode, out, errors), (0, "", ""))
        log = self.log.read_text()
        self.assertIn("Capturing COM7 into ", log)
        self.assertIn("Port COM7 disconnected", log)
        self.assertIn("is complete: ", log)
        self.assertNotIn(b"Port COM7", self.streamed.read_bytes())

    def test_a_device_that_never_comes_ends_with_a_complete_file(self):
        pipe, host = self.open_pipe()
        # Wireshark does not pass on the profile that its dialog shows first.
        process = self.capture(pipe, profile=None)
        self.wait_for_stream(b"\x0a\x0d\x0d\x0a")
        host.finish()
        self.assertEqual(self.end(process), (0, ""))
        self.assertEqual(self.read_capture().texts, ["Corvane version 1.0"])
        self.assertRegex(self.log.read_text(), r"Capturing COM7 into .*\\signalling\.cfg\n")

    def test_ctrl_c_ends_it_with_a_complete_file_too(self):
        pipe, host = self.open_pipe()
        process = self.capture(pipe)
        self.wait_for_stream(b"\x0a\x0d\x0d\x0a")
        process.send_signal(signal.SIGINT)
        self.assertEqual(self.end(process), (0, ""))
        host.wait_for("closed")
        self.read_capture()

    def test_a_killed_program_leaves_what_was_recorded(self):
        self.plug_modem()
        pipe, _ = self.open_pipe()
        process = self.capture(pipe)
        self.wait_for_requests()
        self.send_message()
        self.wait_for_stream(IDENTITY_REQUEST)
        process.kill()
        process.wait()
        listing = self.run_corvane("list", wine.windows_path(self.output))
        out, _ = listing.communicate(timeout=wine.DEADLINE)
        self.assertEqual(listing.returncode, 3)
        self.assertIn("0xB0EC", out)

    def test_without_a_name_the_file_is_a_new_one_in_the_documents(self):
        users = environment.prefix().path / "drive_c" / "users"
        (documents,) = set(users.glob("*/Documents")) - {users / "Public" / "Documents"}
        usual = documents.with_name("Documents.usual")
        documents.rename(usual)
        self.addCleanup(usual.rename, documents)
        documents.symlink_to(self.files)
        self.addCleanup(documents.unlink)
        pipe, host = self.open_pipe()
        process = self.run_corvane(
            *("--capture", "--extcap-interface", "corvane_COM7", "--fifo", pipe),
            *("--profile", "requests-only"),
        )
        self.wait_for_stream(b"\x0a\x0d\x0d\x0a")
        host.finish()
        self.assertEqual(self.end(process), (0, ""))
        capture, log = sorted((self.files / "Corvane").iterdir())
        self.assertRegex(capture.name, r"^COM7-\d{8}-\d{6}\.isf$")
        self.assertEqual(log.name, f"{capture.name}.log")
        self.read_capture(capture)

    def test_a_file_that_exists_is_kept(self):
        self.output.write_bytes(b"an earlier capture")
        (self.files / "drive-2.isf").write_bytes(b"another one")
        pipe, host = self.open_pipe()
        process = self.capture(pipe)
        self.wait_for_stream(b"\x0a\x0d\x0d\x0a")
        host.finish()
        self.assertEqual(self.end(process), (0, ""))
        self.assertEqual(self.output.read_bytes(), b"an earlier capture")
        self.assertEqual((self.files / "drive-2.isf").read_bytes(), b"another one")
        self.read_capture(self.files / "drive-3.isf")
        self.assertTrue((self.files / "drive-3.isf.log").exists())


class Follow(ExtcapTestCase):
    """`corvane export --follow`, and the interface that offers it, into a Windows pipe."""

    def setUp(self):
        super().setUp()
        recorded = made_capture.MadeCapture()
        recorded.add(made_capture.LOG, made_capture.item_time(1_715_947_200_000), MESSAGE)
        self.recorded = recorded
        self.output.write_bytes(recorded.unclosed())

    def commands(self):
        path = wine.windows_path(self.output)
        yield lambda pipe: self.run_corvane("export", "--follow", path, "-w", pipe)
        yield lambda pipe: self.run_corvane(
            *("--capture", "--extcap-interface", "corvane_follow", "--fifo", pipe, "--file", path)
        )

    def test_a_pipe_that_is_closed_is_noticed_while_nothing_comes(self):
        for number, start in enumerate(self.commands()):
            pipe, host = self.open_pipe(number)
            process = start(pipe)
            self.wait_for_stream(IDENTITY_REQUEST)
            host.finish()
            self.assertEqual(self.end(process), (0, ""))

    def test_what_comes_is_streamed_and_the_trailer_ends_it(self):
        pipe, host = self.open_pipe()
        process = next(self.commands())(pipe)
        self.wait_for_stream(IDENTITY_REQUEST)
        self.recorded.add(made_capture.LOG, made_capture.item_time(1_715_947_200_010), MESSAGE)
        with open(self.output, "r+b") as file:  # not for a moment shorter
            file.write(self.recorded.closed())
        host.wait_for("closed")
        self.assertEqual(self.end(process), (0, "corvane export: 2 messages of 2 items\n"))
        self.assertEqual(self.streamed.read_bytes().count(IDENTITY_REQUEST), 2)


class MobileBroadband(ExtcapTestCase):
    def test_an_interface_is_captured_by_its_handle(self):
        prefix = environment.prefix()
        mobile_broadband.register(prefix, environment.programs)
        self.addCleanup(mobile_broadband.unregister, prefix, environment.programs)
        service = mobile_broadband.Service(prefix, self.files, f"interface {INTERFACE}\n")
        pipe, host = self.open_pipe()
        process = self.capture(pipe, interface=f"corvane_QMBE_{INTERFACE.strip('{}')}")
        # The first of the requests that open every connection.
        wine.wait_until(service.commands, "a command")
        host.finish()
        self.assertEqual(self.end(process), (0, ""))
        texts = self.read_capture().texts
        self.assertEqual(texts[1], f"Port {INTERFACE} connected")
        self.assertIn(f"Capturing QMBE:{INTERFACE} into ", self.log.read_text())


class Troubles(ExtcapTestCase):
    """What Wireshark shows its user."""

    def assert_refused(self, told, *arguments, **options):
        """Nothing is captured, and no file is left of it."""
        before = sorted(self.files.glob("drive*"))
        code, errors = self.end(self.capture(*arguments, **options))
        self.assertEqual(code, 1, errors)
        self.assertIn(told, errors)
        self.assertEqual(sorted(self.files.glob("drive*")), before)

    def test_a_pipe_that_is_not_there_is_told_of(self):
        self.assert_refused(r"\\.\pipe\corvane-nowhere cannot be written: ", r"\\.\pipe\corvane-nowhere")

    def test_a_profile_that_is_not_there_is_told_of(self):
        self.assert_refused("choose a profile", "pipe", profile="no such profile")

    def test_without_any_profile_one_is_asked_for(self):
        alone = self.folder()
        for name in ("corvane.exe", "corvane.dll"):
            shutil.copy(environment.programs / name, alone)
        program = alone / "corvane.exe"
        self.assert_refused("choose a profile", "pipe", profile=None, program=program)

    def test_a_log_that_cannot_be_written_is_told_of(self):
        self.log.mkdir()
        self.assert_refused("drive.isf.log cannot be written: ", "pipe")

    def test_a_capture_that_the_library_refuses_is_told_of(self):
        prefix = environment.prefix()
        mobile_broadband.register(prefix, environment.programs)
        self.addCleanup(mobile_broadband.unregister, prefix, environment.programs)
        scenario = f"interface {INTERFACE}\nfail OpenCommandSession always 0x8000000C\n"
        mobile_broadband.Service(prefix, self.files, scenario)
        # What an earlier capture has left is kept.
        self.log.write_text("an earlier log\n")
        self.assert_refused(
            "the library refused to start",
            wine.windows_path(self.streamed),
            interface=f"corvane_QMBE_{INTERFACE.strip('{}')}",
        )
        self.assertTrue(self.log.read_text().startswith("an earlier log\nCapturing QMBE:"))

    def test_a_pipe_that_takes_nothing_is_told_of(self):
        code, errors = self.end(self.capture(r"Z:\dev\full"))
        self.assertEqual(code, 1, errors)
        self.assertIn("the pipe to Wireshark could not be written: ", errors)
        self.read_capture()

    def test_a_configuration_that_is_not_there_leaves_no_capture(self):
        self.assert_refused("cannot be read", "pipe", "--config", wine.windows_path(self.files / "no.cfg"))

    def test_a_device_that_is_not_there_is_told_of(self):
        self.assert_refused("there is no device", "pipe", interface="corvane_QMBE_1")

    def test_a_port_that_cannot_be_opened_is_told_of(self):
        # What stands for a port that another program has: it is no file that can be opened.
        port = self.ports.add("COM7")
        port.link.unlink(missing_ok=True)
        port.link.symlink_to(self.files)
        port.set_present(True)
        self.assert_refused("COM7 is present but cannot be opened: another program has it", "pipe")

    def test_an_output_that_cannot_be_made_is_told_of(self):
        (self.files / "file").write_text("")
        self.output = self.files / "file" / "drive.isf"
        self.assert_refused("cannot be made: ", "pipe")


class Install(ExtcapTestCase):
    def test_the_installed_program_has_all_that_it_needs(self):
        process = self.run_corvane("wireshark", "install")
        out, errors = process.communicate(timeout=wine.DEADLINE)
        self.assertEqual((process.returncode, errors), (0, ""))
        (folder,) = environment.prefix().path.glob(
            "drive_c/users/*/AppData/Roaming/Wireshark/extcap"
        )
        self.addCleanup(shutil.rmtree, folder.parent)
        self.assertIn(r"\AppData\Roaming\Wireshark\extcap\corvane.exe", out)
        pipe, host = self.open_pipe()
        process = self.capture(pipe, program=folder / "corvane.exe")
        self.wait_for_stream(b"\x0a\x0d\x0d\x0a")
        host.finish()
        self.assertEqual(self.end(process), (0, ""))
        self.read_capture()
        process = self.run_corvane("wireshark", "uninstall")
        process.communicate(timeout=wine.DEADLINE)
        self.assertEqual(process.returncode, 0)
        self.assertEqual(list(folder.iterdir()), [])

    def test_without_its_library_the_program_says_so(self):
        lonely = self.files / "corvane.exe"
        lonely.write_bytes((environment.programs / "corvane.exe").read_bytes())
        config = self.files / "capture.cfg"
        config.write_text("")
        pipe, _ = self.open_pipe()
        code, errors = self.end(
            self.capture(pipe, "--config", wine.windows_path(config), program=lonely)
        )
        self.assertEqual(code, 1)
        self.assertIn("corvane.dll, which belongs beside this program, cannot be loaded", errors)
        self.assertEqual(list(self.files.glob("drive*")), [])


class Fifo(ModemTestCase):
    """tshark of this machine is the client. A script in its extcap folder runs the program."""

    # It gives paths the form that Windows programs know, and passes on a request to end: Wine does
    # not tell its programs of SIGTERM, but of Ctrl-C.
    SCRIPT = """#!/bin/sh
for argument; do
  shift
  case $argument in /*) argument="Z:$argument" ;; esac
  set -- "$@" "$argument"
done
"{run}" "{program}" "$@" &
echo $! >>"{started}"
trap 'kill -INT $!' TERM
wait
wait
"""

    def setUp(self):
        super().setUp()
        self.home = self.files / "home"
        self.started = self.files / "started"
        self.addCleanup(self.kill_started)
        extcap = self.home / ".config" / "wireshark" / "extcap"
        extcap.mkdir(parents=True)
        script = extcap / "corvane"
        script.write_text(
            self.SCRIPT.format(
                run=wine.ROOT / "scripts" / "wine.sh",
                program=environment.programs / "corvane.exe",
                started=self.started,
            )
        )
        script.chmod(0o755)

    def running(self):
        """The programs that the script has started and that have not ended."""
        if not self.started.exists():
            return []
        return [number for number in map(int, self.started.read_text().split()) if is_alive(number)]

    def kill_started(self):
        for number in self.running():
            os.kill(number, signal.SIGKILL)

    def tshark(self, *arguments):
        process = subprocess.Popen(
            ["tshark", *arguments],
            env={**environment.prefix().environment, "HOME": str(self.home)},
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            text=True,
        )
        self.addCleanup(self.clean_up, process)
        # First of all, so that no program holds what the clean-up of tshark waits for.
        self.addCleanup(self.kill_started)
        return process

    def test_the_ports_are_listed(self):
        self.ports.add("COM7").set_present(True)
        listing, _ = self.tshark("-D").communicate(timeout=wine.DEADLINE)
        self.assertIn("corvane_COM7 (Corvane: COM7, DIAG port 0001)", listing)

    def test_messages_are_shown_live_and_a_stop_completes_the_file(self):
        self.plug_modem()
        preferences = {"profile": "requests-only", "output": self.output}
        tshark = self.tshark(
            *("-l", "-n", "-i", "corvane_COM7"),
            *(
                word
                for name, value in preferences.items()
                for word in ("-o", f"extcap.corvane_com7.{name}:{value}")
            ),
        )
        self.wait_for_requests()
        self.send_message()
        self.assertIn("Identity request", tshark.stdout.readline())
        tshark.send_signal(signal.SIGINT)
        self.unplug()
        tshark.communicate(timeout=wine.DEADLINE)
        wine.wait_until(lambda: not self.running(), "the program has ended")
        self.assertEqual(self.read_capture().packets(isf.LOG), [MESSAGE])


def is_alive(process):
    try:
        os.kill(process, 0)
    except ProcessLookupError:
        return False
    return True
