"""What corvane.dll is to Windows, read from its image."""

import unittest

from support import environment, pe

# What every Windows since 7 has.
SYSTEM_LIBRARIES = {
    "advapi32.dll",
    "kernel32.dll",
    "msvcrt.dll",
    "ole32.dll",
    "oleaut32.dll",
    "setupapi.dll",
}


class LibraryImage(unittest.TestCase):
    def setUp(self):
        self.image = pe.Image(environment.programs / "corvane.dll")

    def test_it_is_a_library_for_windows_x64(self):
        self.assertEqual(self.image.machine, pe.MACHINE_X64)
        self.assertTrue(self.image.characteristics & pe.IMAGE_IS_DLL)
        self.assertEqual(self.image.library_name, "corvane.dll")

    def test_it_exports_exactly_two_undecorated_names(self):
        self.assertEqual(self.image.exports, (["CorvaneStart", "CorvaneStop"], 2))

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

    def test_it_may_lie_anywhere_and_its_data_is_never_executed(self):
        for flag in (pe.DYNAMIC_BASE, pe.HIGH_ENTROPY_VA, pe.NX_COMPAT):
            self.assertTrue(self.image.dll_characteristics & flag, f"{flag:#06x}")
        self.assertFalse(self.image.characteristics & pe.RELOCATIONS_STRIPPED)
        self.assertTrue(self.image.has_relocations)

    def test_its_version_resource_says_1_0_0(self):
        self.assertEqual(self.image.version, ((1, 0, 0, 0), (1, 0, 0, 0)))
        self.assertEqual(self.image.version_string("FileVersion"), "1.0.0")
        self.assertEqual(self.image.version_string("ProductVersion"), "1.0.0")
        self.assertEqual(self.image.version_string("ProductName"), "Corvane")
        self.assertEqual(self.image.version_string("OriginalFilename"), "corvane.dll")

    def test_it_has_an_import_library(self):
        library = environment.programs.parent / "lib" / "libcorvane.dll.a"
        self.assertTrue(library.read_bytes().startswith(b"!<arch>\n"))
