"""Measures the library's own work beside its limits, with the programs in build/bench/bin."""

import json
import subprocess
import tempfile

REPETITIONS = 9


class Times(dict):
    """Benchmark -> its shortest time. One that a program does not have ends the measurement."""

    def __missing__(self, name):
        raise SystemExit(f"there is no benchmark {name}")


def best_times(program):
    """-> the shortest time of each of the program's benchmarks. Those of one program take turns, and what
    else runs on the machine only ever adds to a time."""
    run = subprocess.run(
        [
            f"build/bench/bin/{program}",
            f"--benchmark_repetitions={REPETITIONS}",
            "--benchmark_enable_random_interleaving=true",
            "--benchmark_min_time=0.05",
            "--benchmark_format=json",
        ],
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
        check=True,
    )
    best = Times()
    for result in json.loads(run.stdout)["benchmarks"]:
        if result.get("error_occurred"):
            raise SystemExit(f"{result['name']}: {result['error_message']}")
        if result["run_type"] == "iteration":
            name = result["run_name"]
            best[name] = min(best.get(name, float("inf")), result["cpu_time"])
    return best


def row(what, limit, ratio, goal="", note=""):
    print(json.dumps({"what": what, "limit": limit, "ratio": ratio, "goal": goal, "note": note}), flush=True)


def framing():
    times = best_times("framing_bench")
    measured = (
        ("UnframePacket", "Unframe", "CheckLoop", "at least 0.92"),
        ("CRC alone, as the library has it", "LibraryCrc", "CrcLoop", ""),
        ("FramePacket", "Frame", "CrcLoop", "at least 0.95"),
        ("receive path without store", "Receive", "CheckLoop", "at least 0.85"),
    )
    for what, name, limit, goal in measured:
        for load in ("stream", "1 byte", "8 bytes", "16640 bytes", "all escaped"):
            # Only the stream, which has the goals, is measured in every way.
            if load == "stream" or f"{name}/{load}" in times:
                ratio = times[f"{limit}/{load}"] / times[f"{name}/{load}"]
                row(f"{what}, {load}", "CRC loop, its speed", ratio, goal if load == "stream" else "")


def store():
    times = best_times("store_bench")
    for load in ("200 bytes", "1 byte", "8 bytes", "16640 bytes"):
        goal = "at most 1.3" if load == "200 bytes" else ""
        ratio = times[f"AddItem/{load}"] / times[f"BareWrites/{load}"]
        row(f"AddItem, {load}", "three pwrites, their time", ratio, goal)
    ratio = times["ReceiveAndStore/stream"] / times["CheckAndBareWrites/stream"]
    row("receive path with store, stream", "three pwrites and the CRC loop, their time", ratio, "at most 1.4")


def reassembly():
    times = best_times("ota_bench")
    ratio = times["TwoSegmentBlock"] / times["CopyTheBits"]
    row("OTA, a block of two segments", "copying its bits 64 at a time", ratio, "at most 3")


def allocations():
    with tempfile.TemporaryDirectory(prefix="corvane-bench-") as folder:
        program = ["build/bench/bin/allocations", f"{folder}/capture.isf"]
        counted = float(subprocess.run(program, stdout=subprocess.PIPE, check=True).stdout)
    note = "an object and its bytes, for the frame and for the packet"
    row("allocations per received packet", "counted", counted, "", note)


if __name__ == "__main__":
    framing()
    store()
    reassembly()
    allocations()
