#!/usr/bin/env python3
"""Changes the sources in one place after another and looks whether the tests notice.

scripts/mutate.py [--seed N] [--count N] [--jobs N] [--believe-kills] [--list] [ROOM]...

A mutant is one line with one token changed: another operator, a number beside it, a condition negated, a
statement left out, another result (scripts/mutants.py). A seed chooses them, at least 25 of each room
and the rest by size. Each is compiled alone and linked in front of what it replaces, and the test
programs of its room are run with it until one fails; when none does, so are all others that have the
code in them. What takes far longer than usual is noticed too. A mutant that does not compile is none, and
the seed's next one takes its place.

Everything happens on a copy of the tracked files, in build/mutate. What was found goes into
build/mutate/log.jsonl at once: a run on the same files goes on where the last one was interrupted, and
with --believe-kills what was killed once is not tried again, whatever has changed around its line.
--list names the chosen mutants and runs nothing.

scripts/mutants_equivalent.txt has the mutants that do the same as the original, with the reason. They
are not run. Each survivor is printed, then a table. The exit code is 1 when under 98 % of the others of
a room were killed, or when the list names what is not there."""

import argparse
import collections
import contextlib
import dataclasses
import hashlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import threading
import time

import mutants
import mutation_trials as trials

ROOT = pathlib.Path(__file__).resolve().parent.parent
EQUIVALENTS = ROOT / "scripts" / "mutants_equivalent.txt"
LEAST = 25  # mutants a room
SCORE = 0.98
HEADER_USERS = 8  # a header that more files include would take too long


@dataclasses.dataclass(frozen=True)
class sRoom:
    name: str
    folders: tuple
    tests: tuple  # which are run first
    windows: bool = False  # whether the files that Windows alone has are among them


ROOMS = (
    sRoom("diag", ("src/diag",), ("diag_test",)),
    sRoom("filters", ("src/filters",), ("filters_test", "configuration_test")),
    sRoom(
        "ota",
        ("src/ota",),
        ("ota_test", "ota_out_of_memory_test", "ota_store_test", "ota_random_test"),
    ),
    sRoom(
        "capture",
        ("src/capture",),
        (
            *("event_report_test", "isf_layout_test", "capture_session_test", "isf_store_test"),
            *("session_threads_test", "failing_capture_test"),
        ),
    ),
    sRoom("reader", ("src/reader",), ("reader_test", "reader_corpus_test", "store_round_trip_test")),
    sRoom("analysis", ("src/analysis",), ("analysis_test",)),
    sRoom("rewrite", ("src/rewrite",), ("rewrite_test",)),
    sRoom("describe", ("src/describe",), ("describe_test",)),
    sRoom("convert", ("src/convert",), ("convert_test",)),
    sRoom("platform", ("src/platform",), ("platform_test",)),
    sRoom("control", ("src/control",), ("configuration_test",)),
    sRoom(
        "io",
        ("src/io",),
        (
            *("call_gate_test", "io_test", "com_io_test", "device_selection_test"),
            *("qmbe_io_test", "mbn_api_test", "control_test"),
        ),
        windows=True,
    ),
    sRoom(
        "tools",
        ("tools/common", "tools/corvane", "tools/modem_sim"),
        (
            *("capture_file_commands_test", "capture_command_test", "modem_sim_test"),
            *("corvane_program_test", "modem_sim_process_test"),
        ),
    ),
)


# --- The copy of the sources


def tracked_files():
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, stdout=subprocess.PIPE, check=True)
    names = listed.stdout.decode().split("\0")
    return [name for name in names if name and (ROOT / name).is_file()]


def copy_tree():
    """Brings the copy up to date; what has not changed keeps its time. -> a hash of what is tested"""
    state = hashlib.sha256()
    names = tracked_files()
    for name in names:
        data = (ROOT / name).read_bytes()
        if not name.startswith(("docs/", "scripts/", "README", "CHANGELOG", "CONTRIBUTING", ".ci/")):
            state.update(f"{name}\0{len(data)}\0".encode() + data)
        copy = trials.TREE / name
        if not copy.exists() or copy.read_bytes() != data:
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.unlink(missing_ok=True)
            shutil.copy2(ROOT / name, copy)
            os.utime(copy)
    known = set(names)
    for path in sorted(trials.TREE.rglob("*")):
        name = path.relative_to(trials.TREE).as_posix()
        if not name.startswith("build/") and path.is_file() and name not in known:
            path.unlink()
    return state.hexdigest()[:16]


# --- All of them


class RoomRun:
    """The mutants of one room, in the seed's order, and what became of them."""

    def __init__(self, room, wanted, candidates, equivalents):
        self.room = room
        self.wanted = wanted
        self.candidates = iter(candidates)
        self.equivalents = equivalents
        self.running = 0
        self.results = {}  # mutant -> result

    def count(self, result):
        return sum(1 for one in self.results.values() if one == result)

    def counted(self):
        return len(self.results) - self.count("invalid")

    def next(self):
        """-> another mutant to run, or None for now"""
        while self.counted() + self.running < self.wanted:
            mutant = next(self.candidates, None)
            if mutant is None:
                self.wanted = 0
            elif mutant.is_in(self.equivalents):
                self.results[mutant] = "equivalent"
            else:
                self.running += 1
                return mutant
        return None

    def score(self):
        killed, survived = self.count("killed"), self.count("survived")
        return killed / (killed + survived) if killed + survived else 1.0


class Log:
    """What was found, from this run and from earlier ones."""

    def __init__(self, state, believe_kills):
        self._state = state
        self._believe_kills = believe_kills
        self._path = trials.WORK / "log.jsonl"
        self._lock = threading.Lock()
        self._known = {}
        if self._path.exists():
            with open(self._path, encoding="utf-8") as file:
                for line in file:
                    with contextlib.suppress(json.JSONDecodeError):  # the last line of an interrupted run
                        entry = json.loads(line)
                        self._known[entry["id"]] = entry

    def known(self, mutant, everywhere):
        """-> (result, by), or None"""
        entry = self._known.get(mutant.identity)
        if entry is None:
            return None
        if everywhere and entry["result"] == "unnoticed":
            return None
        stays = self._believe_kills and entry["result"] in ("killed", "invalid")
        return (entry["result"], entry["by"]) if stays or entry["state"] == self._state else None

    def add(self, room, mutant, result, by, seconds):
        entry = {
            "state": self._state,
            "id": mutant.identity,
            "room": room.name,
            "result": result,
            "by": by,
            "seconds": round(seconds, 1),
            "place": f"{mutant.file}:{mutant.line}",
            "before": mutant.before.strip(),
            "after": mutant.after.strip(),
        }
        with self._lock, open(self._path, "a", encoding="utf-8") as file:
            file.write(json.dumps(entry) + "\n")


class Run:
    """The workers, which take mutants of all rooms until there are enough."""

    def __init__(self, rooms, presets, log, baselines):
        self._rooms = rooms
        self._presets = presets
        self._log = log
        self._baselines = baselines
        self._changed = threading.Condition()
        self.trouble = None
        # Those that the tests of their room have not noticed. All other tests are run with these.
        self._unnoticed = []
        self._busy = []  # rooms, as often as one of their mutants is being tried

    def _take(self, number):
        """-> a room, a mutant of it and whether all tests are to look for it; None at the end"""
        with self._changed:
            while self.trouble is None:
                # Under Wine one at a time.
                free = [room for room in self._rooms if not (room.room.windows and room in self._busy)]
                # Survivors show early: every other worker has those first that went unnoticed.
                ways = (self._another, self._one_unnoticed)
                for way in ways if number % 2 == 0 else reversed(ways):
                    if taken := way(free):
                        self._busy.append(taken[0])
                        return taken
                if not self._busy:
                    return None
                self._changed.wait()
            return None

    @staticmethod
    def _another(free):
        for room in free:
            if mutant := room.next():
                return room, mutant, False
        return None

    def _one_unnoticed(self, free):
        for room, mutant in self._unnoticed:
            if room in free:
                self._unnoticed.remove((room, mutant))
                return room, mutant, True
        return None

    def _preset_of(self, mutant):
        native = self._presets["native"]
        if mutant.file in native.compile or native.users(mutant.file):
            return native
        return self._presets["mingw"]

    def work(self, number):
        try:
            worker = trials.Worker(number)
            while taken := self._take(number):
                room, mutant, everywhere = taken
                found = self._log.known(mutant, everywhere)
                if found is None:
                    begin = time.monotonic()
                    preset = self._preset_of(mutant)
                    found = worker.try_mutant(mutant, room.room, preset, self._baselines, everywhere)
                    if found[0] == "survived" and not everywhere:
                        found = "unnoticed", found[1]
                    self._log.add(room.room, mutant, *found, time.monotonic() - begin)
                self._finish(room, mutant, *found)
        except BaseException as trouble:
            with self._changed:
                self.trouble = trouble
                self._changed.notify_all()

    def _finish(self, room, mutant, result, by):
        with self._changed:
            self._busy.remove(room)
            if result == "unnoticed":
                self._unnoticed.append((room, mutant))
            else:
                room.running -= 1
                room.results[mutant] = result
            if result == "survived":
                print(f"\n{mutant.file}:{mutant.line} ({by})")
                print(f"- {mutant.before.strip()}\n+ {mutant.after.strip()}", flush=True)
            self._changed.notify_all()


def sources_of(room, presets):
    """-> the files of a room that a mutant can be in"""
    found = []
    for folder in room.folders:
        for path in sorted((trials.TREE / folder).rglob("*")):
            file = path.relative_to(trials.TREE).as_posix()
            if path.suffix == ".cpp":
                known = any(file in preset.compile for preset in presets.values())
                if known and (room.windows or file in presets["native"].compile):
                    found.append(file)
            elif path.suffix == ".h" and "/uplot/" not in file:
                users = presets["native"].users(file)
                if not users and room.windows:
                    users = presets["mingw"].users(file)
                if 0 < len(users) <= HEADER_USERS:
                    found.append(file)
    return [mutants.cSource(file, (trials.TREE / file).read_text(encoding="utf-8")) for file in found]


def shares(sizes, count):
    """-> how many mutants of each room"""
    rest = max(0, count - LEAST * len(sizes))
    total = sum(sizes.values())
    return {name: LEAST + -(-rest * size // total) for name, size in sizes.items()}


def print_table(rooms):
    print(f"\n{'room':<10} {'mutants':>8} {'killed':>8} {'equivalent':>11} {'survived':>9} {'invalid':>8} {'score':>8}")
    names = ("killed", "equivalent", "survived", "invalid")
    total = collections.Counter()
    for room in rooms:
        counts = {name: room.count(name) for name in names}
        total.update(counts, mutants=room.counted())
        figures = f"{counts['killed']:>8} {counts['equivalent']:>11} {counts['survived']:>9} {counts['invalid']:>8}"
        print(f"{room.room.name:<10} {room.counted():>8} {figures} {100 * room.score():>6.1f} %")
    score = total["killed"] / max(1, total["killed"] + total["survived"])
    figures = f"{total['killed']:>8} {total['equivalent']:>11} {total['survived']:>9} {total['invalid']:>8}"
    print(f"{'all':<10} {total['mutants']:>8} {figures} {100 * score:>6.1f} %")


def size_of(room):
    """-> how many lines of a room can be changed, headers apart"""
    files = [path for folder in room.folders for path in sorted((trials.TREE / folder).rglob("*.cpp"))]
    if not room.windows:
        files = [path for path in files if not path.stem.endswith("_windows")]
    texts = [mutants.cSource("", path.read_text(encoding="utf-8")) for path in files]
    return sum(1 for text in texts for _ in text.mutants())


def make_rooms(options, presets, equivalents):
    wanted = shares({room: size_of(room) for room in ROOMS}, options.count)
    return [
        RoomRun(room, wanted[room], mutants.chosen(sources_of(room, presets), options.seed), equivalents)
        for room in chosen_rooms(options)
    ]


def chosen_rooms(options):
    return [room for room in ROOMS if not options.rooms or room.name in options.rooms]


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--seed", type=int, default=1)
    arguments.add_argument("--count", type=int, default=440)
    arguments.add_argument("--jobs", type=int, default=2)
    arguments.add_argument("--believe-kills", action="store_true")
    arguments.add_argument("--list", action="store_true")
    names = [room.name for room in ROOMS]
    arguments.add_argument("rooms", nargs="*", metavar="ROOM", help=", ".join(names))
    options = arguments.parse_args()
    for name in options.rooms:
        if name not in names:
            arguments.error(f"no room {name}: {', '.join(names)}")

    equivalents = mutants.read_equivalents(EQUIVALENTS.read_text(encoding="utf-8"))
    # The tests expect that nothing is ignored, as it is behind nohup.
    for number in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM):
        signal.signal(number, trials.end_at_once)
    trials.WORK.mkdir(parents=True, exist_ok=True)
    state = copy_tree()
    windows = any(room.windows for room in chosen_rooms(options))
    presets = {name: trials.Preset(name) for name in trials.TARGETS if windows or name == "native"}
    rooms = make_rooms(options, presets, equivalents)
    if options.list:
        for room in rooms:
            while mutant := room.next():
                print(f"{mutant.file}:{mutant.line}\n- {mutant.before.strip()}\n+ {mutant.after.strip()}")
        return 0
    os.environ["CCACHE_DISABLE"] = "1"
    run = Run(rooms, presets, Log(state, options.believe_kills), trials.Baselines())
    threads = [threading.Thread(target=run.work, args=(number,)) for number in range(options.jobs)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if run.trouble is not None:
        raise run.trouble
    print_table(rooms)
    failed = [room.room.name for room in rooms if room.score() < SCORE]
    if failed:
        print(f"FAILED: under {100 * SCORE:.0f} % in {', '.join(failed)}")
    old = mutants.stale(equivalents, lambda file: read_if_there(trials.TREE / file))
    for file, above, before, after in old:
        print(f"FAILED: {EQUIVALENTS.name} names what is not there: {file}\n  {above}\n- {before}\n+ {after}")
    return 1 if failed or old else 0


def read_if_there(path):
    return path.read_text(encoding="utf-8") if path.is_file() else None


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (trials.Trouble, mutants.MalformedList) as trouble:
        sys.exit(f"FAILED: {trouble}")
