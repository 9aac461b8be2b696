#!/usr/bin/env python3
"""Measures what corvane export and import cost: scripts/measure_export.py PROGRAM [ITEMS]

Makes a capture of a million items, a tenth of them signalling, and takes the processor time (user
and system, the least of three runs) of each export into /dev/null, of an import, and of `cat`, which
reads the same file and does nothing with it. The file was read before, so that no disk is measured.
Prints the seconds and how many times cat's they are."""

import os
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path[:0] = [str(ROOT / "tests/support"), str(ROOT / "tests/tools")]

from conversion_memory_test import FORMATS, ten_packets  # noqa: E402  (needs the path above)

RUNS = 3


def cost(*command):
    """-> the processor time of the command in seconds"""

    def once():
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            raise SystemExit(f"{command}: exit code {process.returncode}")
        return usage.ru_utime + usage.ru_stime

    return min(once() for _ in range(RUNS))


def main(program, items="1000000"):
    with tempfile.TemporaryDirectory(prefix="corvane-measure-") as folder:
        stream = pathlib.Path(folder) / "drive.hdlc"
        capture = pathlib.Path(folder) / "drive.isf"
        stream.write_bytes(ten_packets() * (int(items) // 10))
        import_cost = cost(program, "import", "--overwrite", stream, "-o", capture)
        reading = cost("cat", capture)
        print(f"{items} items, {capture.stat().st_size / 1e6:.0f} MB; cat {reading:.3f} s")
        for name in FORMATS:
            seconds = cost(program, "export", capture, "--format", name, "-w", "-")
            print(f"export {name:7}{seconds:6.2f} s, {seconds / reading:4.0f} times cat")
        print(f"import        {import_cost:6.2f} s, {import_cost / reading:4.0f} times cat")


if __name__ == "__main__":
    main(*sys.argv[1:])
