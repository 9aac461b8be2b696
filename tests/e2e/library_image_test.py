"""What corvane.dll and corvane.exe are to Windows, read from their images."""

import os
import unittest

from support import environment, pe, wine

# What every Windows since 7 has.
SYSTEM_LIBRARIES = {
    "advapi32.dll",
    "kernel32.dll",
    "msvcrt.dll",
    "ole32.dll",
    "oleaut32.dll",
    "setupapi.dll",
}


PROGRAM_LIBRARIES = SYSTEM_LIBRARIES | {"ntdll.dll", "shell32.dll"}


class EveryImage:
    """What holds for both."""

    name = None  # of the file

    def setUp(self):
        self.image = pe.Image(environment.programs / self.name)

    def test_it_may_lie_anywhere_and_its_data_is_never_executed(self):
        for flag in (pe.DYNAMIC_BASE, pe.HIGH_ENTROPY_VA, pe.NX_COMPAT):
            self.assertTrue(self.image.dll_characteristics & flag, f"{flag:#06x}")

    def test_it_has_what_it_takes_to_be_moved(self):
        self.assertFalse(self.image.characteristics & pe.RELOCATIONS_STRIPPED)
        relocations = self.image.relocations
        kinds = {kind for kind, _ in relocations}
        self.assertEqual(kinds - {pe.RELOCATION_NONE}, {pe.RELOCATION_ADDRESS_64})
        # The images are full of tables of functions: a handful could not be all.
        self.assertGreater(len(relocations), 1000)

    def test_no_section_is_both_written_and_executed(self):
        both = pe.SECTION_WRITABLE | pe.SECTION_EXECUTABLE
        executed = 0
        for place, characteristics in self.image.section_characteristics:
            self.assertNotEqual(characteristics & both, both, place)
            executed += bool(characteristics & pe.SECTION_EXECUTABLE)
        self.assertGreater(executed, 0)

    def test_its_stack_is_guarded(self):
        # In the names that debuggers see. A linker takes it from its library only for who calls it.
        self.assertTrue(self.image.holds("__stack_chk_fail"))

    def test_it_does_not_tell_where_and_when_it_was_built(self):
        self.assertEqual(self.image.timestamp, 0)
        for folder in {wine.ROOT, environment.programs.parent}:
            self.assertFalse(self.image.holds(os.fspath(folder)), folder)


class ProgramImage(EveryImage, unittest.TestCase):
    name = "corvane.exe"

    def test_it_is_a_program_for_windows_x64(self):
        self.assertEqual(self.image.machine, pe.MACHINE_X64)
        self.assertFalse(self.image.characteristics & pe.IMAGE_IS_DLL)

    def test_it_imports_only_system_libraries(self):
        self.assertEqual(sorted(self.image.imported_libraries), sorted(PROGRAM_LIBRARIES))

    def test_copies_are_guarded(self):
        self.assertTrue(self.image.holds("__memcpy_chk"))


class LibraryImage(EveryImage, unittest.TestCase):
    name = "corvane.dll"

    def test_it_is_a_library_for_windows_x64(self):
        self.assertEqual(self.image.machine, pe.MACHINE_X64)
        self.assertTrue(self.image.characteristics & pe.IMAGE_IS_DLL)
        self.assertEqual(self.image.library_name, "corvane.dll")

    def test_it_exports_exactly_two_undecorated_names(self):
        self.assertEqual(self.image.exports, (["CorvaneStart", "CorvaneStop"], 2))

    def test_its_table_of_exports_has_no_time(self):
        self.assertEqual(self.image.export_timestamp, 0)

    def test_it_imports_only_system_libraries(self):
        self.assertEqual(sorted(self.image.imported_libraries), sorted(SYSTEM_LIBRARIES))

    def test_it_imports_of_setupapi_only_what_the_watcher_needs(self):
        self.assertEqual(
            set(self.image.imported_functions("setupapi.dll")),
            {
                "SetupDiDestroyDeviceInfoList",
                "SetupDiEnumDeviceInterfaces",
                "SetupDiGetClassDevsW",
                "SetupDiGetDeviceInterfaceDetailA",
            },
        )

    def test_its_version_resource_says_1_0_0(self):
        self.assertEqual(self.image.version, ((1, 0, 0, 0), (1, 0, 0, 0)))
        self.assertEqual(self.image.version_string("FileVersion"), "1.0.0")
        self.assertEqual(self.image.version_string("ProductVersion"), "1.0.0")
        self.assertEqual(self.image.version_string("ProductName"), "Corvane")
        self.assertEqual(self.image.version_string("OriginalFilename"), "corvane.dll")

    def test_it_has_an_import_library(self):
        library = environment.programs.parent / "lib" / "libcorvane.dll.a"
        self.assertTrue(library.read_bytes().startswith(b"!<arch>\n"))
