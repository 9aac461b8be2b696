#!/usr/bin/env python3
"""Looks whether the library's work has become more: scripts/instruction_counts.py [--update] PROGRAM

PROGRAM is build/bench/bin/counted_work. Counts with valgrind how many instructions its pieces of work
take, and compares them with bench/instruction_counts.json. The counts of one program are the same in each
run: its input is, and what glibc chooses by the processor is pinned.

The exit code is 1 when one is more than 5 % above the recorded count, or none is recorded. --update records the counts instead:
do that with the change that makes them other ones, and say there why."""

import argparse
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

RECORD = pathlib.Path(__file__).resolve().parents[1] / "bench" / "instruction_counts.json"
WORKS = ("CountedUnframe", "CountedAddItem", "CountedOtaBlock")
MOST_MORE = 5  # per cent
# memcpy and its like as every x86-64 has them, and every symbol bound before the work begins.
PINNED = {
    "GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX512F,-AVX512VL,-AVX512BW,-AVX2,-AVX,-ERMS,-FSRM,-BMI2"
    ":glibc.cpu.x86_non_temporal_threshold=0x100000:glibc.malloc.tcache_count=7",
    "LD_BIND_NOW": "1",
    "LC_ALL": "C",
    "PATH": os.defpath,
}


def count(program, work):
    """-> the instructions that one piece of work takes"""
    with tempfile.TemporaryDirectory(prefix="corvane-counts-") as folder:
        profile = f"{folder}/profile"
        run = subprocess.run(
            [
                "valgrind",
                "--tool=callgrind",
                f"--callgrind-out-file={profile}",
                f"--toggle-collect=corvane::bench::{work}(*",
                program,
                work,
                f"{folder}/file",
            ],
            env=PINNED,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            check=False,
        )
        if run.returncode != 0:
            raise SystemExit(f"{work}: exit code {run.returncode}\n{run.stderr.decode()}")
        summary = re.search(r"^summary: (\d+)", pathlib.Path(profile).read_text("utf-8"), re.MULTILINE)
        counted = int(summary[1]) if summary else 0
        if counted == 0:
            raise SystemExit(f"{work}: nothing was counted")
        return counted


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--update", action="store_true")
    parser.add_argument("--record", type=pathlib.Path, default=RECORD, help=argparse.SUPPRESS)
    parser.add_argument("program", metavar="PROGRAM")
    wanted = parser.parse_args()
    counts = {work: count(wanted.program, work) for work in WORKS}
    if wanted.update:
        wanted.record.write_text(json.dumps(counts, indent=2) + "\n", encoding="utf-8")
        return 0
    recorded = json.loads(wanted.record.read_text(encoding="utf-8"))
    missing = [work for work in WORKS if work not in recorded]
    if missing:
        raise SystemExit(f"{wanted.record.name} has no count of {', '.join(missing)}")
    excess = False
    for work, counted in counts.items():
        ratio = counted / recorded[work]
        print(f"{work}: {counted:,} instructions, {ratio:.3f} of the recorded {recorded[work]:,}")
        excess = excess or counted * 100 > recorded[work] * (100 + MOST_MORE)
    if excess:
        print(f"More than {MOST_MORE} % above what {wanted.record.name} has", file=sys.stderr)
    return int(excess)


if __name__ == "__main__":
    sys.exit(main())
