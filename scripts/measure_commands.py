#!/usr/bin/env python3
"""Measures what reading a large capture costs: scripts/measure_commands.py FOLDER MAKER [ITEMS]

FOLDER has the programs (build/native/bin), MAKER is build/bench/bin/large_capture, ITEMS ten million
unless said otherwise. Makes a capture of so many items (2 GB for ten million, in the folder for
temporary files, which needs twice that), and runs each command on it. Prints the time, the processor
time and the most memory of each, and how many times they are those of `cat`, which reads the same file
and does nothing with it. The file was read before, so that no disk is measured.

The exit code is 1 when a command fails, or takes more than 64 MB of memory."""

import os
import pathlib
import subprocess
import sys
import tempfile
import time

MOST_MEMORY = 64_000_000  # bytes


def cost(command, output=subprocess.DEVNULL):
    """-> seconds, seconds of the processors, bytes of memory"""
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=output, stderr=subprocess.PIPE)
    errors = process.stderr.read()
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise SystemExit(f"{command}: exit code {process.returncode}: {errors.decode()}")
    seconds = time.monotonic() - begin
    return seconds, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024


def commands(corvane, capture, made):
    """-> name, arguments of each measured command"""
    yield "info", [corvane, "info", capture]
    yield "info --deep", [corvane, "info", "--deep", capture]
    yield "verify", [corvane, "verify", capture]
    yield "stats", [corvane, "stats", capture]
    yield "list --count", [corvane, "list", "--count", capture]
    yield "list --count, a log", [corvane, "list", "--count", "--log-code", "0xB0C0", capture]
    yield "list", [corvane, "list", capture]
    yield "list --json", [corvane, "list", "--json", capture]
    yield "list --tail 10", [corvane, "list", "--tail", "10", capture]
    for name in ("pcapng", "gsmtap", "hdlc", "jsonl", "csv"):
        yield f"export {name}", [corvane, "export", capture, "--format", name, "-w", "-"]
    stream = f"{made}.hdlc"
    subprocess.run([corvane, "export", capture, "--format", "hdlc", "-o", stream], check=True)
    yield "import", [corvane, "import", stream, "--overwrite", "-o", made]
    yield "report", [corvane, "report", capture, "--overwrite", "-o", made]
    yield "cut", [corvane, "cut", capture, "--type", "event", "--overwrite", "-o", made]
    yield "recover", [corvane, "recover", capture, "--overwrite", "-o", made]
    yield "merge", [corvane, "merge", capture, "--overwrite", "-o", made]


def main(folder, maker, items="10000000"):
    corvane = str(pathlib.Path(folder) / "corvane")
    excess = []
    with tempfile.TemporaryDirectory(prefix="corvane-measure-") as scratch:
        capture, made = f"{scratch}/drive.isf", f"{scratch}/made"
        subprocess.run([maker, capture, items], check=True)
        cost(["cat", capture])
        least, least_processor, _ = min(cost(["cat", capture]) for _ in range(3))
        size = os.path.getsize(capture)
        print(f"{items} items, {size / 1e6:.0f} MB; cat: {least:.2f} s, processor {least_processor:.2f} s")
        for name, command in commands(corvane, capture, made):
            seconds, processor, memory = cost(command)
            print(
                f"{name:20}{seconds:8.2f} s ={seconds / least:5.1f} cat, processor {processor:8.2f} s"
                f" ={processor / least_processor:5.1f} cat, {memory / 1e6:5.0f} MB",
                flush=True,
            )
            if memory > MOST_MEMORY:
                excess.append(name)
    if excess:
        raise SystemExit(f"more than {MOST_MEMORY / 1e6:.0f} MB: {', '.join(excess)}")


if __name__ == "__main__":
    main(*sys.argv[1:])
