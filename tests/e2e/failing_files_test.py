"""corvane.dll where its files fail: a full disk, an output or a configuration that cannot be opened."""

import contextlib
import os
import subprocess
import unittest

import capture_test
from support import diag, isf, wine

CORVANE = wine.ROOT / "build" / "native" / "bin" / "corvane"
# A header, a block and the records of some items; the rest of the packets find no room.
SMALL_DISK = 128 * 1024
LOG = bytes.fromhex("1000F401F401C0B00102030405060708") + bytes(484)

# Nobody is there to be asked for a password.
AS_ROOT = [] if os.geteuid() == 0 else ["sudo", "-n"]


@contextlib.contextmanager
def mounted(folder, options):
    """A file system in memory at `folder`. Skips the test where this user must not mount any."""
    command = [*AS_ROOT, "mount", "-t", "tmpfs", "-o", options, "tmpfs", str(folder)]
    try:
        subprocess.run(command, capture_output=True, check=True)
    except (OSError, subprocess.CalledProcessError) as error:
        raise unittest.SkipTest("only root can mount a file system") from error
    try:
        yield
    finally:
        subprocess.run([*AS_ROOT, "umount", str(folder)], check=True)


class FullDisk(capture_test.CaptureTestCase):
    def test_a_full_disk_ends_the_file_and_not_the_capture(self):
        disk = self.folder()
        with mounted(disk, f"size={SMALL_DISK}"):
            output = disk / "capture.isf"
            modem = diag.MinimalModem(self.port.plug())
            self.assertTrue(self.start(output=wine.windows_path(output)))
            self.wait_connected()
            wine.wait_until(lambda: len(modem.replies) >= 13, "13 requests")
            sent = [LOG[:-4] + number.to_bytes(4, "little") for number in range(400)]
            for log in sent:
                self.port.line.send(diag.frame(log))
            free = os.statvfs(disk)
            wine.wait_until(lambda: os.statvfs(disk).f_bavail == 0, f"a full disk: {free}")

            # The modem is served as before: a reconnection sends every request again.
            self.unplug(modem)
            modem = diag.MinimalModem(self.port.plug())
            self.wait_connected()
            wine.wait_until(lambda: len(modem.replies) >= 13, "13 requests on a full disk")
            self.unplug(modem)
            self.stop()
            data = output.read_bytes()
            recovered = self.files / "recovered.isf"
            recovery = subprocess.run(
                [CORVANE, "recover", output, "-o", recovered], capture_output=True, check=False
            )
        self.assertIn(recovery.returncode, (0, 1), recovery.stderr)
        # The end of the first connection and both ends of the second could not be recorded.
        self.assertEqual(self.library.count("bad string write response"), 3)
        left = isf.parse_unclosed(data)
        logs = left.packets(isf.LOG)
        self.assertGreater(len(logs), 50)
        self.assertEqual(logs, sent[: len(logs)])
        self.assertEqual(isf.read(recovered).packets(isf.LOG)[: len(logs)], logs)
        self.assertEqual(left.texts, [capture_test.INFORMATION, "Port COM7 connected"])


class FilesThatCannotBeOpened(capture_test.CaptureTestCase):
    def assert_starts_again(self):
        """What failed has left nothing that keeps the next capture from starting."""
        self.assertTrue(self.start(output=wine.windows_path(self.files / "next.isf")))
        self.stop()
        self.assertEqual(
            self.read_capture(self.files / "next.isf").texts, [capture_test.INFORMATION]
        )

    def test_an_output_that_is_a_folder_returns_false(self):
        self.output.mkdir()
        self.assertFalse(self.start())
        self.assertEqual(list(self.output.iterdir()), [])
        self.assert_starts_again()

    def test_an_output_that_another_holds_returns_false(self):
        self.output.write_bytes(b"another's")
        self.library.ask("hold", wine.windows_path(self.output), answer="held")
        self.assertFalse(self.start())
        self.assertEqual(self.output.read_bytes(), b"another's")
        self.library.ask("let go", answer="let go")
        self.assertTrue(self.start())
        self.stop()
        self.assertEqual(self.read_capture().texts, [capture_test.INFORMATION])

    def test_an_output_on_a_read_only_disk_returns_false(self):
        disk = self.folder()
        with mounted(disk, "size=1m"):
            output = disk / "capture.isf"
            output.write_bytes(b"an earlier capture")
            subprocess.run([*AS_ROOT, "mount", "-o", "remount,ro", str(disk)], check=True)
            self.assertFalse(self.start(output=wine.windows_path(output)))
            self.assertFalse(self.start(output=wine.windows_path(disk / "new.isf")))
            self.assertEqual(output.read_bytes(), b"an earlier capture")
        self.assert_starts_again()

    def test_a_configuration_that_is_a_folder_returns_false(self):
        folder = self.folder()
        self.assertFalse(self.start(config=wine.windows_path(folder)))
        self.assertEqual(self.output.stat().st_size, 0)
        self.assert_starts_again()

    def test_a_configuration_that_another_holds_returns_false(self):
        self.library.ask("hold", wine.windows_path(self.config), answer="held")
        self.assertFalse(self.start())
        self.assertEqual(self.output.stat().st_size, 0)
        self.library.ask("let go", answer="let go")
        self.assert_starts_again()
