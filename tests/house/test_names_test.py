"""A test's name fits a line of a result: under 60 characters."""

import pathlib
import re
import unittest

TESTS = pathlib.Path(__file__).resolve().parents[1]
NAMES = {
    ".cpp": re.compile(r"^TEST(?:_F|_P)?\(\s*\w+,\s*(\w+)\)", re.MULTILINE),
    ".py": re.compile(r"^ +def (test_\w+)\(", re.MULTILINE),
}
LONGEST = 59


def names():
    """Each test's name, with its file's."""
    for file in sorted(TESTS.rglob("*")):
        if pattern := NAMES.get(file.suffix):
            for name in pattern.findall(file.read_text(encoding="utf-8")):
                yield file.name, name


class Names(unittest.TestCase):
    def test_every_name_is_short_enough(self):
        self.assertEqual([found for found in names() if len(found[1]) > LONGEST], [])

    def test_the_names_of_both_languages_are_seen(self):
        found = set(names())
        self.assertIn(("test_names_test.py", "test_every_name_is_short_enough"), found)
        self.assertIn(("crc16_test.cpp", "NoBytesGiveZero"), found)
