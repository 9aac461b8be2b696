"""What the tools for Linux are to their system, read from their images."""

import os
import unittest

import build_tree
import elf

# glibc's functions that look whether what they write has room.
CHECKED = {"__memcpy_chk", "__memmove_chk", "__memset_chk", "__read_chk", "__snprintf_chk"}


class EveryProgram:
    name = None  # of the file

    def setUp(self):
        self.image = elf.Image(build_tree.BUILD / "bin" / self.name)

    def test_it_may_lie_anywhere(self):
        self.assertTrue(self.image.is_position_independent_program)

    def test_its_tables_of_addresses_are_read_only(self):
        self.assertTrue(self.image.has_tables_made_read_only)
        self.assertTrue(self.image.binds_at_start)

    def test_nothing_is_both_written_and_executed(self):
        both = elf.WRITABLE | elf.EXECUTABLE
        self.assertTrue(self.image.load_flags)
        # Without the entry for the stack the system would make it executable.
        self.assertEqual(len(self.image.stack_flags), 1)
        for flags in self.image.load_flags + self.image.stack_flags:
            self.assertNotEqual(flags & both, both)

    def test_its_stack_is_guarded(self):
        self.assertIn("__stack_chk_fail", self.image.dynamic_symbols)

    def test_its_copies_are_guarded(self):
        self.assertTrue(CHECKED & self.image.dynamic_symbols)

    def test_it_does_not_tell_where_it_was_built(self):
        for folder in (build_tree.SOURCES, build_tree.BUILD):
            self.assertFalse(self.image.holds(os.fspath(folder)), folder)


class CommandLine(EveryProgram, unittest.TestCase):
    name = "corvane"


class ModemSimulator(EveryProgram, unittest.TestCase):
    name = "corvane-modem-sim"
