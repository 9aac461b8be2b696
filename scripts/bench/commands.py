"""Measures the commands on a large capture: scripts/bench/commands.py [ITEMS]

Ten million items unless said otherwise. Makes a capture of so many (2 GB for ten million, in the folder
for temporary files, which needs four times that) with build/bench/bin/large_capture, and runs each command of
build/native/bin/corvane on it. The file was read before, so that no disk is measured; times are those of
the processor, of which others on the machine take none. The exit code is 1 when a command fails, or takes
64 MB of memory or more."""

import os
import subprocess
import sys
import tempfile
import time

from library import row

CORVANE = "build/native/bin/corvane"
MAKER = "build/bench/bin/large_capture"
MOST_MEMORY = 64_000_000  # bytes
REPETITIONS = 3  # of what has a goal; what is only stated runs once
STARTS = 100
BLOCK_SIZE = 57_360
NEXT_BLOCK = 57_344  # where a block names the one behind it


def cost(command):
    """-> seconds of the processor, bytes of memory"""
    # What the system says of a process's memory counts that of the process which started it, up to the start:
    # a small program does that. Its own time is that of `true`, less than a millisecond.
    with tempfile.NamedTemporaryFile("r", encoding="ascii") as kilobytes:
        timed = ["/usr/bin/time", "--quiet", "-f", "%M", "-o", kilobytes.name, *command]
        process = subprocess.Popen(timed, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        errors = process.stderr.read()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            raise SystemExit(f"{command}: exit code {process.returncode}: {errors.decode()}")
        return usage.ru_utime + usage.ru_stime, int(kilobytes.read()) * 1024


def read_directories(capture):
    """-> seconds of the processor that reading the directories takes, and nothing else"""
    block = bytearray(BLOCK_SIZE)
    file = os.open(capture, os.O_RDONLY)
    begin = time.process_time()
    offset = 4
    while offset != 0 and os.preadv(file, [block], offset) == BLOCK_SIZE:
        offset = int.from_bytes(block[NEXT_BLOCK : NEXT_BLOCK + 8], "little")
    seconds = time.process_time() - begin
    os.close(file)
    return seconds


def measure(what, limit, goal, beside, command):
    """Runs the command and what it is measured beside by turns, and prints the ratio of the least times.
    -> whether the command took no more memory than it may"""
    least, least_beside, memory = float("inf"), float("inf"), 0
    for _ in range(REPETITIONS if goal else 1):
        least_beside = min(least_beside, beside())
        seconds, taken = cost(command)
        least, memory = min(least, seconds), max(memory, taken)
    row(what, limit, least / least_beside, goal, f"{memory / 1e6:.0f} MB")
    return memory < MOST_MEMORY


def start():
    """Prints how much longer corvane takes to start than a program that does nothing."""

    def once(command):
        begin = time.perf_counter()
        subprocess.run(command, stdout=subprocess.DEVNULL, check=True)
        return time.perf_counter() - begin

    least = {"true": float("inf"), CORVANE: float("inf")}
    for _ in range(STARTS):
        least["true"] = min(least["true"], once(["true"]))
        least[CORVANE] = min(least[CORVANE], once([CORVANE, "--version"]))
    milliseconds = (least[CORVANE] - least["true"]) * 1000
    row("start of corvane --version", "true, milliseconds more", milliseconds, "at most 5")


def commands(capture, made):
    """-> name, goal, arguments of each command that is measured beside cat"""
    yield "verify", "at most 3", ["verify", capture]
    yield "stats", "at most 3", ["stats", capture]
    yield "list --count", "at most 3", ["list", "--count", capture]
    yield "list --count --log-code", "", ["list", "--count", "--log-code", "0xB0C0", capture]
    yield "export to pcapng", "at most 10", ["export", capture, "--format", "pcapng", "-w", "-"]
    yield "export to gsmtap", "at most 10", ["export", capture, "--format", "gsmtap", "-w", "-"]
    for name in ("hdlc", "jsonl", "csv"):
        yield f"export to {name}", "", ["export", capture, "--format", name, "-w", "-"]
    yield "export to pcapng, a file", "", ["export", capture, "--overwrite", "-o", f"{made}.pcapng"]
    yield "list", "", ["list", capture]
    yield "list --json", "", ["list", "--json", capture]
    yield "list --tail 10", "", ["list", "--tail", "10", capture]
    yield "info --deep", "", ["info", "--deep", capture]
    yield "report", "", ["report", capture, "--overwrite", "-o", made]
    yield "cut", "", ["cut", capture, "--type", "event", "--overwrite", "-o", made]
    yield "recover", "", ["recover", capture, "--overwrite", "-o", made]
    yield "merge", "", ["merge", capture, "--overwrite", "-o", made]


def main(items="10000000"):
    start()
    excess = []
    with tempfile.TemporaryDirectory(prefix="corvane-bench-") as scratch:
        capture, made = f"{scratch}/drive.isf", f"{scratch}/made"
        subprocess.run([MAKER, capture, items], check=True)

        def cat():
            return cost(["cat", capture])[0]

        def directories():
            return read_directories(capture)

        def take(what, limit, goal, beside, arguments):
            if not measure(what, limit, goal, beside, [CORVANE, *arguments]):
                excess.append(what)

        cat()
        take("info", "its directories with pread", "at most 2.5", directories, ["info", capture])
        for name, goal, arguments in commands(capture, made):
            take(name, "cat", goal, cat, arguments)
        os.remove(f"{made}.pcapng")
        stream = f"{scratch}/stream.hdlc"
        subprocess.run([CORVANE, "export", capture, "--format", "hdlc", "-o", stream], check=True)
        take("import", "cat", "", cat, ["import", stream, "--overwrite", "-o", made])
    if excess:
        raise SystemExit(f"{MOST_MEMORY / 1e6:.0f} MB of memory or more: {', '.join(excess)}")


if __name__ == "__main__":
    main(*sys.argv[1:])
