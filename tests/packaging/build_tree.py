"""The build tree that the tests install and pack, and projects of others that are built beside it."""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "e2e"))

from support import wine  # noqa: E402  (needs the path above)

SOURCES = wine.ROOT
BUILD = pathlib.Path(os.environ["CORVANE_BUILD"])
COMPILER = os.environ["CORVANE_COMPILER"]


def _cache_entries():
    entries = {}
    for line in (BUILD / "CMakeCache.txt").read_text().splitlines():
        name, typed, value = line.partition("=")
        if typed and not name.startswith(("#", "//")):
            entries[name.partition(":")[0]] = value
    return entries


CACHE = _cache_entries()
VERSION = CACHE["CMAKE_PROJECT_VERSION"]
FOR_WINDOWS = CACHE.get("CMAKE_TOOLCHAIN_FILE", "").endswith("mingw-w64.cmake")
PROGRAM_SUFFIX = ".exe" if FOR_WINDOWS else ""
# Beside the folder docs.
DOCUMENTS = ("LICENSE", "README.md", "CHANGELOG.md", "CONTRIBUTING.md")


def run(*command, code=0, **options):
    """Runs a command of this machine to its end. -> everything that it printed

    It has to end with the exit code `code`.
    """
    ended = subprocess.run(
        [str(part) for part in command],
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        errors="replace",
        check=False,
        **options,
    )
    if ended.returncode != code:
        raise AssertionError(f"{command} ended with {ended.returncode}:\n{ended.stdout}")
    return ended.stdout


def run_program(program, *arguments, code=0):
    """Runs a program of the build's system to its end. Paths are turned into that system's.

    -> its standard output
    """
    command = [program, *arguments]
    if FOR_WINDOWS:
        command = [wine.windows_path(part) if isinstance(part, pathlib.Path) else part
                   for part in command]
        command.insert(0, SOURCES / "scripts" / "wine.sh")
        command = ["sh", "-c", 'exec "$@" 2>>"$0"', BUILD / "packaging-programs.log", *command]
    return run(*command, code=code)


def cmake(*arguments, **options):
    return run(CACHE["CMAKE_COMMAND"], *arguments, **options)


def install(prefix, *arguments):
    cmake("--install", BUILD, "--prefix", prefix, *arguments)


def pack(folder):
    run(CACHE["CMAKE_CPACK_COMMAND"], "--config", BUILD / "CPackConfig.cmake", "-B", folder)


def configure(project, folder, *arguments, code=0):
    """Configures a project with the build's compilers, tool chain and generator. -> what CMake said"""
    names = ["CMAKE_MAKE_PROGRAM"]
    names += ["CMAKE_TOOLCHAIN_FILE"] if FOR_WINDOWS else ["CMAKE_CXX_COMPILER"]
    taken = [f"-D{name}={CACHE[name]}" for name in names]
    return cmake(
        "-S", project, "-B", folder, "-G", CACHE["CMAKE_GENERATOR"], *taken, *arguments, code=code
    )


def build(folder, *arguments):
    cmake("--build", folder, "--parallel", "2", *arguments)


def sections(image):
    """The names of the sections of a program or library."""
    lines = run(CACHE["CMAKE_OBJDUMP"], "-h", image).splitlines()
    return {line.split()[1] for line in lines if line[:4].strip().isdigit()}


def files_below(folder):
    """The files below a folder, as paths relative to it."""
    return {
        str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir()
    }


def runtime_files():
    """What the component runtime has to consist of."""
    programs = ["corvane.dll", "corvane.exe"] if FOR_WINDOWS else ["corvane", "corvane-modem-sim"]
    files = {f"bin/{name}" for name in programs}
    for folder, pattern, place in (
        ("profiles", "*.cfg", "share/corvane/profiles"),
        ("docs", "*.md", "share/doc/corvane/docs"),
        ("packaging/third-party", "*", "share/doc/corvane/third-party"),
    ):
        names = [path.name for path in (SOURCES / folder).glob(pattern)]
        assert names, folder
        files |= {f"{place}/{name}" for name in names}
    files |= {f"share/doc/corvane/{name}" for name in DOCUMENTS}
    if not FOR_WINDOWS:
        files.add("share/doc/corvane/copyright")
    return files | manual_files()


def manual_files():
    """The manual of the command line, and the completion of the system's shell."""
    program = json.loads(run_program(BUILD / "bin" / f"corvane{PROGRAM_SUFFIX}", "manual", "--json"))
    pages = [one["name"].replace(" ", "-") for one in (program, *program["commands"])]
    if FOR_WINDOWS:
        files = {f"share/doc/corvane/manual/{name}.txt" for name in pages}
        return files | {"share/corvane/corvane.ps1"}
    files = {f"share/man/man1/{name}.1" for name in pages}
    return files | {"share/bash-completion/completions/corvane"}


def development_files():
    """What the component development has to consist of."""
    build_type = CACHE["CMAKE_BUILD_TYPE"].lower()
    files = {"include/corvane.h", "lib/pkgconfig/corvane.pc"}
    files |= {
        f"lib/cmake/Corvane/{name}"
        for name in (
            "CorvaneConfig.cmake",
            "CorvaneConfigVersion.cmake",
            "CorvaneTargets.cmake",
            f"CorvaneTargets-{build_type}.cmake",
        )
    }
    examples = [path.name for path in (SOURCES / "examples").iterdir()]
    files |= {f"share/doc/corvane/examples/{name}" for name in examples}
    if FOR_WINDOWS:
        files |= {"lib/libcorvane.dll.a", "lib/corvane.def"}
    return files


class ScratchTestCase(unittest.TestCase):
    """Tests that share one scratch folder, which `prepare` fills."""

    @classmethod
    def setUpClass(cls):
        cls.scratch = pathlib.Path(tempfile.mkdtemp(prefix="corvane-packaging-"))
        cls.addClassCleanup(shutil.rmtree, cls.scratch)
        cls.prepare()

    @classmethod
    def prepare(cls):
        raise NotImplementedError

    def assert_host_works(self, host, folder):
        """A host runs with a configuration, and does not start without one."""
        folder.mkdir()
        capture = folder / "capture.isf"
        missing = folder / "missing.cfg"
        run_program(host, "COM97", SOURCES / "profiles" / "data-call.cfg", capture)
        self.assertTrue(capture.is_file())
        capture.unlink()
        run_program(host, "COM97", missing, capture, code=1)
        # Nothing was written: the capture file is made before the configuration is looked for.
        self.assertEqual(capture.read_bytes(), b"")
