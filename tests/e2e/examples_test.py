"""The example hosts in C and C++, as their users run them."""

import subprocess

import simulated_modem_test as simulated
from support import environment, recording, simulator, wine

HOSTS = ("host_c.exe", "host_cpp.exe")


class ExampleHosts(recording.RecordingTestCase, environment.WineTestCase):
    def setUp(self):
        super().setUp()
        self.port = self.ports.add("COM7")
        self.files = self.folder()
        self.config = self.files / "capture.cfg"
        self.config.write_text(simulated.CONFIGURATION)
        self.output = self.files / "capture.isf"

    def start(self, host, *arguments):
        process = subprocess.Popen(
            [wine.ROOT / "scripts" / "wine.sh", environment.programs / host, *arguments],
            env=environment.prefix().environment,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
        )
        self.addCleanup(self.clean_up, process)
        return process

    @staticmethod
    def clean_up(process):
        if process.poll() is None:
            process.kill()
        process.communicate()

    def capture(self, host, device="COM7", config=None):
        config = self.config if config is None else config
        return self.start(host, device, wine.windows_path(config), wine.windows_path(self.output))

    def assert_ends(self, process, code, text=""):
        """The host ends with `code`, at the latest with its input, having said `text`."""
        _, errors = process.communicate(None, wine.DEADLINE)
        self.assertEqual(process.returncode, code, errors)
        self.assertIn(text, errors.decode("latin-1"))

    def test_a_capture_lasts_until_enter_and_its_file_is_complete(self):
        for host in HOSTS:
            with self.subTest(host=host):
                self.port.link.unlink(missing_ok=True)
                modem = simulator.Simulator(self.port.link, *"--rate max --count 200".split())
                self.addCleanup(modem.close)
                self.capture_begins()
                process = self.capture(host)
                self.port.set_present(True)
                modem.wait_event("stream-end")
                sent, _ = simulated.expected_packets(modem.packets("tx"))
                wine.wait_until(
                    lambda: sent[-1] in self.output.read_bytes(), "the last packet in the file"
                )
                self.assertIsNone(process.poll())
                process.stdin.write(b"\n")
                process.stdin.flush()
                # The input stays open.
                process.wait(wine.DEADLINE)
                self.assert_ends(process, 0, "Enter ends it.")
                self.assertEqual(modem.close(), 0)
                # Has its index and trailer, or it would not be read.
                stored = recording.items_of(self.read_capture())
                self.assertEqual(
                    [item for item in stored if item[0] in recording.DEVICE_TYPES],
                    [recording.device_item(packet) for packet in sent],
                )
                self.port.set_present(False)

    def test_a_capture_that_does_not_start_is_told(self):
        for host in HOSTS:
            with self.subTest(host=host):
                process = self.capture(host, config=self.files / "missing.cfg")
                self.assert_ends(process, 1, "The capture did not start")

    def test_a_name_that_is_too_long_does_not_reach_the_library(self):
        for host, code in zip(HOSTS, (2, 1)):
            with self.subTest(host=host):
                self.assert_ends(self.capture(host, "C" * 64), code, "A name is too long")
                self.assertFalse(self.output.exists())

    def test_a_wrong_command_line_is_refused(self):
        for host in HOSTS:
            with self.subTest(host=host):
                self.assert_ends(self.start(host, "COM7"), 2, "usage")
