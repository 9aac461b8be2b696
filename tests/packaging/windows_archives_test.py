"""What cpack makes of the build for Windows: a zip, and one of its debug symbols."""

import zipfile
import zlib

import build_tree
from support import pe


class WindowsArchives(build_tree.ScratchTestCase):
    @classmethod
    def prepare(cls):
        cls.packages = cls.scratch / "packages"
        build_tree.pack(cls.packages)
        cls.top = f"corvane-{build_tree.VERSION}-windows-x64"
        cls.unpacked = cls.scratch / cls.top
        # The symbols are unpacked over the rest, as their user does.
        for name in (f"{cls.top}.zip", f"{cls.top}-symbols.zip"):
            with zipfile.ZipFile(cls.packages / name) as archive:
                archive.extractall(cls.scratch)

    def archived(self, name):
        with zipfile.ZipFile(self.packages / name) as archive:
            self.assertIsNone(archive.testzip())
            return {entry for entry in archive.namelist() if not entry.endswith("/")}

    def test_there_is_one_of_the_product_and_one_of_its_symbols(self):
        names = {path.name for path in self.packages.iterdir() if path.is_file()}
        self.assertEqual(names, {f"{self.top}.zip", f"{self.top}-symbols.zip"})

    def test_the_product_has_every_file_in_its_place(self):
        files = build_tree.runtime_files() | build_tree.development_files()
        self.assertEqual(
            self.archived(f"{self.top}.zip"), {f"{self.top}/{name}" for name in files}
        )

    def test_the_symbols_lie_beside_what_they_are_of(self):
        self.assertEqual(
            self.archived(f"{self.top}-symbols.zip"),
            {f"{self.top}/bin/corvane.dll.debug", f"{self.top}/bin/corvane.exe.debug"},
        )

    def test_library_and_tool_are_stripped_and_name_their_symbols(self):
        for name in ("corvane.dll", "corvane.exe"):
            with self.subTest(name=name):
                image = self.unpacked / "bin" / name
                self.assertFalse(
                    {section for section in build_tree.sections(image)
                     if section.startswith(".debug")}
                )
                symbols = image.with_name(f"{name}.debug")
                self.assertIn(".debug_info", build_tree.sections(symbols))
                # A name with its NUL, zeros up to a multiple of four, and the file's CRC-32.
                link = self.scratch / f"{name}.link"
                build_tree.run(
                    build_tree.CACHE["CMAKE_OBJCOPY"],
                    f"--dump-section=.gnu_debuglink={link}", image, self.scratch / f"{name}.copy",
                )
                data = link.read_bytes()
                padded = (len(symbols.name) + 1 + 3) // 4 * 4
                self.assertEqual(data[:padded].rstrip(b"\0").decode("ascii"), symbols.name)
                self.assertEqual(
                    int.from_bytes(data[padded : padded + 4], "little"),
                    zlib.crc32(symbols.read_bytes()),
                )

    def test_the_stripped_library_is_what_was_built(self):
        built = pe.Image(build_tree.BUILD / "bin" / "corvane.dll")
        packed = pe.Image(self.unpacked / "bin" / "corvane.dll")
        self.assertEqual(packed.exports, (["CorvaneStart", "CorvaneStop"], 2))
        self.assertEqual(packed.imported_libraries, built.imported_libraries)
        self.assertEqual(packed.dll_characteristics, built.dll_characteristics)
        self.assertEqual(packed.version_resource, built.version_resource)
        self.assertTrue(packed.has_relocations)
        self.assertFalse(packed.characteristics & pe.RELOCATIONS_STRIPPED)

    def test_the_unpacked_tool_captures_with_the_library_beside_it(self):
        tool = self.unpacked / "bin" / "corvane.exe"
        capture = self.scratch / "capture.isf"
        build_tree.run_program(
            tool, "capture", "--device", "COM97", "--config",
            self.unpacked / "share" / "corvane" / "profiles" / "data-call.cfg",
            "--output", capture, "--duration", "1s", code=4,
        )
        # The library was there; the device was not, and nothing is left of the attempt.
        self.assertFalse(capture.exists())
