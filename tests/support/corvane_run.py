"""Runs corvane, and tells what its commands are."""

import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import made_capture

PROGRAM = pathlib.Path(os.environ["CORVANE_PROGRAMS"]) / "corvane"
DEADLINE = 60.0
NOON = made_capture.item_time(1_715_947_200_000)  # 2024-05-17 12:00:00 UTC


def run(*arguments, **options):
    """-> the ended process, its streams as text"""
    return subprocess.run(
        [PROGRAM, *arguments],
        **{"capture_output": True, "text": True, "check": False, "timeout": DEADLINE, **options},
    )


def described():
    return json.loads(run("manual", "--json").stdout)


def commands_below(command):
    for below in command["commands"]:
        yield below
        yield from commands_below(below)


def capture_of(items, step=1):
    made = made_capture.MadeCapture()
    made.add_text("Corvane version 1.0", NOON)
    for number in range(1, items):
        made.add(made_capture.PACKET, NOON + number * step, b"\x7c" + bytes(3) + b"x" * 60)
    return made.closed()


class FrameTestCase(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, self.folder)
