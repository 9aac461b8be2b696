"""What `corvane export` makes of a capture."""

import os
import pathlib
import subprocess
import tempfile

# Only a program that hangs ever takes this long.
DEADLINE = 60.0


def program():
    return pathlib.Path(os.environ["CORVANE_PROGRAMS"]) / "corvane"


def export(capture, *options):
    """-> what it wrote to standard output, its exit code, and the lines of its messages"""
    with tempfile.TemporaryDirectory(prefix="corvane-export-") as folder:
        path = pathlib.Path(folder) / "drive.isf"
        path.write_bytes(capture)
        ended = subprocess.run(
            [program(), "export", path, "-w", "-", *options],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            timeout=DEADLINE,
            check=False,
        )
    messages = ended.stderr.decode("utf-8").replace(str(path), "drive.isf")
    return ended.stdout, ended.returncode, messages.splitlines()


def good_export(capture, *options):
    data, code, messages = export(capture, *options)
    assert code == 0, messages
    return data
