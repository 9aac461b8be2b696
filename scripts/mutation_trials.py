"""What scripts/mutate.py builds and runs: a build of the copied sources, its tests, and one mutant at a
time, compiled alone and linked in front of what it replaces."""

import collections
import contextlib
import functools
import hashlib
import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import tempfile
import threading
import time

WORK = pathlib.Path(__file__).resolve().parent.parent / "build" / "mutate"
TREE = WORK / "tree"
PATIENCE = 20.0  # seconds, and 8 times what the tests take without a change
LONGEST = 150.0  # seconds, of tests whose usual time was not measured
TRIES = 3
TOO_LONG = "took too long"
# These take longest.
LAST = ("rewrite_test", "reader_test", "modem_sim_process_test", "killed_capture_test", "live_capture_test")
SLOW_OPTION = re.compile(r"-O\d$|-g\d?$|-gz$|-Werror$|-Winvalid-pch$|-D_FORTIFY")
# A test that never ends must not take all of the machine with it.
LIMITS = ("prlimit", f"--as={6 << 30}", f"--fsize={16 << 30}", "--core=0")
# What of each preset is built.
TARGETS = {
    "native": ("all",),
    "mingw": (
        *("com_io_test", "device_selection_test", "qmbe_io_test", "mbn_api_test", "control_test"),
        *("mbn_stand_in", "registry_agent"),
    ),
}
# These build, or measure the machine, or look at texts only.
NOT_OF_CODE = re.compile(r"(install|packages|archives|subproject|program_image|document|conversion_memory)_test")


class Trouble(Exception):
    """The tests cannot be run as they should."""


running = set()  # groups of processes
temporary_folders = set()


def end_at_once(number, _frame):
    """What is half done must not look like a result."""
    for group in list(running):
        with contextlib.suppress(ProcessLookupError):
            os.killpg(group, signal.SIGKILL)
    for folder in temporary_folders:
        shutil.rmtree(folder, ignore_errors=True)
    os._exit(128 + number)


def run_group(command, seconds, output, **options):
    """Runs a command and ends all that it has left behind. -> exit code, or None when it had to be ended"""
    process = subprocess.Popen(
        command,
        stdin=subprocess.DEVNULL,
        stdout=output,
        stderr=subprocess.STDOUT,
        start_new_session=True,
        **options,
    )
    running.add(process.pid)
    try:
        code = process.wait(seconds)
    except subprocess.TimeoutExpired:
        code = None
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, signal.SIGKILL)
    running.discard(process.pid)
    process.wait()
    return code


def run_limited(command, seconds, **options):
    """-> exit code, or None when it had to be ended, and what it has printed"""
    with tempfile.TemporaryFile(dir=WORK) as output:
        code = run_group(command, seconds, output, **options)
        size = output.seek(0, os.SEEK_END)
        output.seek(max(0, size - (1 << 20)))
        return code, output.read().decode(errors="replace")


def run_step(command, log, cwd):
    with open(log, "ab") as output:
        code = run_group(command, None, output, cwd=cwd)
    if code != 0:
        raise Trouble(f"{shlex.join(command)} failed; see {log}")


class Preset:
    """One build of the copy: how its files are compiled, and what they become a part of."""

    def __init__(self, name):
        self.name = name
        self.folder = TREE / "build" / name
        log = WORK / f"{name}.log"
        log.write_bytes(b"")
        options = ["-DCMAKE_UNITY_BUILD=OFF", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON"]
        if name == "native":
            options.append("-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld")
        run_step(["cmake", "--preset", name, *options], log, TREE)
        run_step(["ninja", "-C", str(self.folder), "-j2", *TARGETS[name]], log, TREE)
        self._read_compile_commands()
        self._read_links()
        self._read_tests()
        self._users = None

    def _read_compile_commands(self):
        self.compile = {}  # file -> (words, object)
        text = (self.folder / "compile_commands.json").read_text(encoding="utf-8")
        for entry in json.loads(text):
            file = os.path.relpath(entry["file"], TREE)
            words = shlex.split(entry["command"])
            if file.endswith(".cpp"):
                self.compile[file] = words, words[words.index("-o") + 1]

    def _read_links(self):
        commands = subprocess.run(
            ["ninja", "-C", self.folder, "-t", "commands", *TARGETS[self.name]],
            stdout=subprocess.PIPE,
            text=True,
            check=True,
        ).stdout
        archives = {}
        self.links = {}  # program -> command
        for line in commands.splitlines():
            if archive := re.search(r" qcT? (lib/\S+\.a) (.*?) && ", line):
                archives[archive[1]] = archive[2].split()
            elif program := re.search(r" -o bin/(\S+) ", line):
                self.links[program[1]] = line
        self.parts = {}  # program -> objects
        for program, line in self.links.items():
            words = line.split()
            self.parts[program] = {word for word in words if word.endswith((".o", ".obj"))}
            for word in words:
                self.parts[program].update(archives.get(word, ()))

    def _read_tests(self):
        shown = subprocess.run(
            ["ctest", "--show-only=json-v1"], cwd=self.folder, stdout=subprocess.PIPE, check=True
        )
        self.tests = {}
        for entry in json.loads(shown.stdout)["tests"]:
            if "command" in entry and not NOT_OF_CODE.search(entry["name"]):
                test = Test(self, entry)
                if test.program in self.links or test.uses_programs:
                    self.tests[test.name] = test

    def users(self, header):
        """-> the files that are compiled with this header, the tests' among them"""
        if self._users is None:
            self._users = collections.defaultdict(set)
            listed = subprocess.run(
                ["ninja", "-C", self.folder, "-t", "deps"], stdout=subprocess.PIPE, text=True, check=True
            ).stdout
            files = {made: file for file, (_, made) in self.compile.items()}
            made = None
            for line in listed.splitlines():
                if line and not line.startswith(" "):
                    made = files.get(line.split(":")[0], "")
                elif made and line.strip():
                    path = os.path.relpath(self.folder / line.strip(), TREE)
                    self._users[path].add(made)
        return sorted(self._users[header])


class Test:
    """One test of CTest."""

    def __init__(self, preset, entry):
        self.preset = preset
        self.name = entry["name"]
        self._command = entry["command"]
        properties = {one["name"]: one["value"] for one in entry.get("properties", ())}
        self._environment = dict(one.split("=", 1) for one in properties.get("ENVIRONMENT", ()))
        self.program = next(
            (os.path.basename(word) for word in self._command if word.startswith(f"{preset.folder}/bin/")), ""
        )
        self.uses_programs = any(key.startswith("CORVANE_PROGRAM") for key in self._environment)

    def has(self, objects):
        """Whether one of these objects is in what it runs."""
        programs = [self.program] if self.program else []
        if self.uses_programs:
            programs += ["corvane", "corvane-modem-sim", "kill_host"]
        programs += self.started_programs
        return any(objects & self.preset.parts.get(program, set()) for program in programs)

    @functools.cached_property
    def started_programs(self):
        """-> the programs whose paths are compiled into it"""
        found = set()
        for words, made in self.preset.compile.values():
            if made in self.preset.parts.get(self.program, ()):
                for word in words:
                    found.update(re.findall(re.escape(f"{self.preset.folder}/bin/") + r"([\w.-]+)", word))
        return sorted(found)

    def command(self, bin_folder, results):
        words = [word.replace(f"{self.preset.folder}/bin", str(bin_folder)) for word in self._command]
        if self.program in self.preset.links:
            words = [word for word in words if not word.startswith("--gtest_output")]
            return [*words, "--gtest_fail_fast", "--gtest_brief=1"]
        return [word.replace(f"{self.preset.folder}/test-results", str(results)) for word in words]

    def environment(self, bin_folder):
        return {
            key: value.replace(f"{self.preset.folder}/bin", str(bin_folder))
            for key, value in self._environment.items()
        }


# --- One mutant at a time


class Worker:
    """Compiles, links and runs in a folder of its own."""

    def __init__(self, name):
        self.folder = WORK / f"worker-{name}"
        shutil.rmtree(self.folder, ignore_errors=True)
        for folder in ("sources", "results", "objects"):
            (self.folder / folder).mkdir(parents=True)
        self.bin = None
        self._linked = set()
        self._own_objects = {}

    def compile(self, preset, file, source, made):
        """Compiles it without debug information and optimisation. -> whether the compiler takes it"""
        command, skip = [], False
        for word in preset.compile[file][0]:
            if skip or os.path.basename(word) == "ccache":
                skip = False
            elif word in ("-o", "-c", "-MT", "-MF"):
                skip = True
            elif not SLOW_OPTION.match(word):
                command.append(word)
        folders = [f"-I{self.folder}/sources/{name}" for name in ("src", "tools")]
        command[1:1] = [*folders, "-O0", "-w"]
        code, _ = run_limited([*command, "-o", str(made), "-c", str(source)], 300, cwd=preset.folder)
        return code == 0

    def prepare(self, preset):
        """The programs without a change."""
        # As far from the root of the tree as they were: programs find what comes with them from where they are.
        self.bin = preset.folder.with_name(f"{preset.name}-{self.folder.name}") / "bin"
        shutil.rmtree(self.bin, ignore_errors=True)
        self.bin.mkdir(parents=True)
        for path in (preset.folder / "bin").iterdir():
            os.link(path, self.bin / path.name)
        self._linked.clear()

    def link(self, preset, program, objects):
        """Links a program with `objects` (path of the original -> path of what replaces it)."""
        replaced = {old: new for old, new in objects.items() if old in preset.parts[program]}
        own = self._objects_of_its_own(preset, program)
        if program in self._linked or (not replaced and not own):
            return
        self._linked.add(program)
        path = self.bin / program
        path.unlink()
        words = preset.links[program]
        in_front = []
        for old, new in {**own, **replaced}.items():
            if f" {old} " in words:
                words = words.replace(f" {old} ", f" {new} ")
            else:
                in_front.append(str(new))
        first = re.search(r" \S+\.(?:o|obj|def) ", words)
        at = first.start() if first else words.index(" -o ")
        words = f"{words[:at]} {' '.join(in_front)}{words[at:]}".replace(f" -o bin/{program} ", f" -o {path} ")
        code, said = run_limited(["sh", "-c", words], 300, cwd=preset.folder)
        if code != 0:
            raise Trouble(f"{program} was not linked:\n{said[-2000:]}")

    def _objects_of_its_own(self, preset, program):
        """Those with the path of a program compiled in, with this folder's."""
        key = preset.name, program
        if key not in self._own_objects:
            found = {}
            folder = f"{preset.folder}/bin/"
            for file, (words, made) in preset.compile.items():
                if made in preset.parts[program] and any(folder in word for word in words):
                    own = self.folder / "objects" / made.replace("/", "_")
                    command = [word.replace(folder, f"{self.bin}/") for word in words]
                    command[command.index("-o") + 1] = str(own)
                    code, said = run_limited(command, 300, cwd=preset.folder)
                    if code != 0:
                        raise Trouble(f"{file} was not compiled:\n{said[-2000:]}")
                    found[made] = own
            self._own_objects[key] = found
        return self._own_objects[key]

    def run(self, test, objects, seconds):
        """Runs a test with these objects. -> None, or what was noticed"""
        preset = test.preset
        programs = set(test.started_programs)
        programs.update([test.program] if test.program in preset.links else [])
        if test.uses_programs:
            programs.update(name for name in preset.links if not name.endswith("_test"))
        for program in programs:
            if program in preset.links:
                self.link(preset, program, objects)
        # A test of a line's width counts on short names.
        temporary = tempfile.mkdtemp(prefix="c")
        temporary_folders.add(temporary)
        environment = {**os.environ, "TMPDIR": temporary, **test.environment(self.bin)}
        command = test.command(self.bin, self.folder / "results")
        if preset.name == "native" and test.program:
            command = [*LIMITS, *command]
        code, said = run_limited(command, seconds, cwd=self.folder, env=environment)
        shutil.rmtree(temporary, ignore_errors=True)
        temporary_folders.discard(temporary)
        if code is None:
            return TOO_LONG
        if code != 0 or (preset.name == "mingw" and "Unhandled exception:" in said):
            failed = re.search(r"^\[  FAILED  \] (\S+)|^(?:FAIL|ERROR): (\S+)", said, re.MULTILINE)
            return next(filter(None, failed.groups())) if failed else f"exit code {code}"
        return None

    def try_mutant(self, mutant, room, preset, baselines, everywhere):
        """Has the tests of its room look for a mutant; `everywhere` has all others look that have the code
        in them. -> the result, and what has noticed"""
        text = (TREE / mutant.file).read_text(encoding="utf-8")
        source = self.folder / "sources" / mutant.file
        shutil.rmtree(self.folder / "sources")
        source.parent.mkdir(parents=True)
        source.write_text(mutant.apply(text), encoding="utf-8")
        objects = {}
        files = [mutant.file] if mutant.file in preset.compile else preset.users(mutant.file)
        for number, file in enumerate(files):
            made = self.folder / f"mutant-{number}.o"
            what = source if file == mutant.file else TREE / file
            if not self.compile(preset, file, what, made):
                return "invalid", "the compiler"
            objects[preset.compile[file][1]] = made
        tests = [test for test in preset.tests.values() if test.has(set(objects))]
        if everywhere:
            tests = [test for test in tests if test.name not in room.tests]
            tests.sort(key=lambda test: (test.name in LAST, test.program == "", test.name))
        else:
            tests = [test for name in room.tests for test in tests if test.name == name]
        self.prepare(preset)
        for test in tests:
            notices = self._notices_for_sure if everywhere else self._notices
            if noticed := notices(test, objects, baselines):
                return "killed", f"{test.name}: {noticed}"
        return "survived", f"{len(tests)} tests"

    def _notices(self, test, objects, baselines):
        """-> what a test of the mutant's own room has noticed, or None"""
        usual = baselines.seconds_of(test)
        if usual is None:
            raise Trouble(f"{test.name} fails without a change")
        return self.run(test, objects, PATIENCE + 8 * usual)

    def _notices_for_sure(self, test, objects, baselines):
        """The same of another test. Most of them wait for programs, and a busy machine can make such a test
        fail: once is not enough."""
        for _ in range(TRIES):
            noticed = self.run(test, objects, LONGEST)
            if noticed is None:
                return None
            if noticed == TOO_LONG:
                break
        return noticed if baselines.seconds_of(test) is not None else None


class Baselines:
    """How long the tests take without a change."""

    def __init__(self):
        self._seconds = {}
        self._lock = threading.Lock()
        self._worker = Worker("unchanged")

    def seconds_of(self, test):
        """Runs the test, once. None when it does not pass."""
        if test in self._seconds:
            return self._seconds[test]
        with self._lock:
            if test in self._seconds:
                return self._seconds[test]
            self._worker.prepare(test.preset)
            for _ in range(TRIES):
                begin = time.monotonic()
                failed = self._worker.run(test, {}, 600)
                if failed is None:
                    return self._seconds.setdefault(test, time.monotonic() - begin)
        print(f"{test.name} is left out: without a change, {failed}", flush=True)
        return self._seconds.setdefault(test, None)
