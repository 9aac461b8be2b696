"""corvane.exe as a Windows program: names in any letters, long paths, standard input, its texts."""

import pathlib
import shutil
import subprocess
import tempfile
import unittest

import made_capture
from support import diag, environment, isf, wine

DEADLINE = 120.0

NOON = made_capture.item_time(1_715_947_200_000)  # 2024-05-17 12:00:00 UTC
# Cyrillic and CJK letters, and one beyond the first 65,536.
FOLDER = "Поездка"
NAME = "驱动 Ä \U0001f4f6"
# More than the 259 characters to which Windows bounds paths of programs that do not ask for more.
LONG = "/".join(["l" * 150, "m" * 150])


class ProgramTestCase(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, self.root)
        made = made_capture.MadeCapture()
        made.add_text("Corvane version 1.0", NOON)
        self.capture = made.closed()

    def place(self, folder):
        """A folder below the test's own, with a capture in it. -> folder, capture"""
        path = self.root / folder
        path.mkdir(parents=True)
        capture = path / f"{NAME}.isf"
        capture.write_bytes(self.capture)
        return path, capture

    def run_corvane(self, *arguments, data=b""):
        """-> exit code, standard output, messages; paths are given as Windows has them"""
        ended = subprocess.run(
            [
                *(wine.ROOT / "scripts" / "wine.sh", environment.programs / "corvane.exe"),
                *(
                    wine.windows_path(argument) if isinstance(argument, pathlib.Path) else argument
                    for argument in arguments
                ),
            ],
            env=environment.prefix().environment,
            input=data,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            timeout=DEADLINE,
            check=False,
        )
        texts = (text.decode("utf-8").replace("\r", "") for text in (ended.stdout, ended.stderr))
        return ended.returncode, *texts


class LibraryPlace(ProgramTestCase):
    def test_the_library_is_taken_from_beside_the_program_alone(self):
        # Copies of it where Windows looks for a library that is named without a path.
        program = self.folder("program") / "corvane.exe"
        shutil.copy(environment.programs / "corvane.exe", program)
        current, listed = self.folder("current"), self.folder("listed")
        for folder in (current, listed):
            shutil.copy(environment.programs / "corvane.dll", folder)
        arguments = (
            "capture", "--device", "COM97", "--output", wine.windows_path(self.root / "drive.isf"),
            "--config", wine.windows_path(wine.ROOT / "profiles" / "data-call.cfg"),
            "--duration", "1s",
        )

        def capture():
            ended = subprocess.run(
                [wine.ROOT / "scripts" / "wine.sh", program, *arguments],
                env=dict(environment.prefix().environment, WINEPATH=wine.windows_path(listed)),
                cwd=current,
                stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE,
                stderr=subprocess.PIPE,
                timeout=DEADLINE,
                check=False,
            )
            return ended.returncode, ended.stderr.decode("utf-8")

        code, errors = capture()
        self.assertEqual(code, 1, errors)
        self.assertIn("corvane.dll, which belongs beside this program, cannot be loaded", errors)
        self.assertFalse((self.root / "drive.isf").exists())
        # With the library in its place the same call gets as far as the device, which is not there.
        shutil.copy(environment.programs / "corvane.dll", program.parent)
        code, errors = capture()
        self.assertEqual(code, 4, errors)
        self.assertNotIn("corvane.dll", errors)

    def folder(self, name):
        path = self.root / name
        path.mkdir()
        return path


class FileNames(ProgramTestCase):
    def test_captures_are_read_and_named_as_they_are_called(self):
        for folder in (FOLDER, LONG):
            _, capture = self.place(folder)
            code, printed, errors = self.run_corvane("info", capture)
            self.assertEqual((code, errors), (0, ""))
            self.assertIn(f"File:         {wine.windows_path(capture)}\n", printed)
            code, printed, errors = self.run_corvane("list", capture)
            self.assertEqual((code, errors), (0, ""))
            self.assertIn("Corvane version 1.0", printed)

    def test_exports_get_their_names_and_replace_when_asked_to(self):
        for folder in (FOLDER, LONG):
            path, capture = self.place(folder)
            output = path / f"{NAME}.csv"
            for arguments, wanted in (([], 0), ([], 1), (["--overwrite"], 0)):
                code, _, errors = self.run_corvane(
                    "export", capture, "--format", "csv", "-o", output, *arguments
                )
                self.assertEqual(code, wanted, errors)
            self.assertIn("Corvane version 1.0", output.read_text(encoding="utf-8"))
            self.assertEqual(len(list(path.iterdir())), 2)

    def test_an_export_over_its_own_capture_is_refused(self):
        _, capture = self.place(FOLDER)
        code, _, errors = self.run_corvane("export", capture, "--overwrite", "-o", capture)
        self.assertNotEqual(code, 0)
        self.assertIn("the export would overwrite the capture", errors)
        self.assertEqual(capture.read_bytes(), self.capture)

    def test_an_imported_stream_is_called_by_its_name(self):
        path, _ = self.place(FOLDER)
        stream = path / f"{NAME}.hdlc"
        stream.write_bytes(diag.frame(b"\x7d\x5d\x00"))
        capture = path / "импорт.isf"
        code, _, errors = self.run_corvane("import", stream, "-o", capture)
        self.assertEqual((code, errors), (0, ""))
        self.assertEqual(isf.read(capture).items[0].text, f"Imported from {NAME}.hdlc")
        merged = path / "слияние.isf"
        code, _, errors = self.run_corvane("merge", capture, "-o", merged)
        self.assertEqual((code, errors), (0, ""))
        self.assertEqual(isf.read(merged).items[0].text, "Merged from импорт.isf")

    def test_a_file_that_is_missing_is_named(self):
        missing = self.root / f"{NAME}.isf"
        code, printed, errors = self.run_corvane("list", missing)
        self.assertEqual((code, printed), (1, ""))
        self.assertIn(wine.windows_path(missing), errors)


class StandardInput(ProgramTestCase):
    def test_a_capture_is_read_with_all_its_bytes(self):
        made = made_capture.MadeCapture()
        # Line ends and the byte that ends a text file on Windows among them.
        made.add(made_capture.PACKET, NOON, b"\x7c\x0f" + bytes(range(256)) + b"\r\n\x1a\r\n")
        code, printed, errors = self.run_corvane("list", "-", data=made.closed())
        self.assertEqual((code, errors), (0, ""))
        self.assertEqual(len(printed.splitlines()), 1)
        self.assertIn("  263  ", printed)

    def test_a_capture_made_of_it_is_the_same(self):
        made = made_capture.MadeCapture()
        made.add(made_capture.PACKET, NOON, b"\x7c\x0f" + bytes(range(256)) + b"\r\n\x1a\r\n")
        path, _ = self.place(FOLDER)
        for command in ("cut", "recover"):
            output = path / f"{command}.isf"
            code, _, errors = self.run_corvane(command, "-", "-o", output, data=made.closed())
            self.assertEqual((code, errors), (0, ""))
            self.assertEqual(output.read_bytes(), made.closed())


class Texts(ProgramTestCase):
    """The same words and exit codes as on other systems."""

    def native(self, *arguments):
        ended = subprocess.run(
            [wine.ROOT / "build" / "native" / "bin" / "corvane", *arguments],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            check=False,
            timeout=DEADLINE,
        )
        return ended.returncode, ended.stdout, ended.stderr

    def test_they_are_those_of_the_program_for_linux(self):
        for arguments in (
            ["manual", "--json"],
            ["capture", "--help"],
            ["lst"],
            ["export", "x", "-w", "-", "--format", "jsnl"],
            ["capture", "--devise", "COM7"],
        ):
            self.assertEqual(self.run_corvane(*arguments), self.native(*arguments))


if __name__ == "__main__":
    unittest.main()
