"""Corvane as a part of another project."""

import json
import pathlib

import build_tree

HERE = pathlib.Path(__file__).resolve().parent


class Subproject(build_tree.ScratchTestCase):
    @classmethod
    def prepare(cls):
        cls.build = cls.scratch / "build"
        cls.said = build_tree.configure(
            HERE / "subproject",
            cls.build,
            f"-DCORVANE_SOURCES={build_tree.SOURCES}",
            "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON",
            # Compiling all of the library again would show nothing about being a part.
            f"-DCMAKE_CXX_COMPILER_LAUNCHER={HERE / 'subproject' / 'reuse_object.sh'};"
            f"{build_tree.BUILD}",
        )

    def test_it_adds_neither_tools_nor_tests_nor_installation(self):
        targets = build_tree.cmake("--build", self.build, "--target", "help")
        self.assertIn("corvane_core", targets)
        for unwanted in ("corvane_cli", "corvane-modem-sim", "gtest", "_test", "package"):
            self.assertNotIn(unwanted, targets)
        self.assertNotIn("header-libraries", [path.name for path in self.build.rglob("*")])
        prefix = self.scratch / "installed"
        build_tree.cmake("--install", self.build, "--prefix", prefix)
        self.assertFalse(prefix.exists())

    def test_its_compile_options_stay_its_own(self):
        commands = json.loads((self.build / "compile_commands.json").read_text())
        [host] = [command for command in commands if command["file"].endswith("host.c")]
        self.assertIn(f"-I{build_tree.SOURCES / 'include'}", host["command"])
        for unwanted in ("-Wall", "-Werror", "/src ", "_WIN32_WINNT"):
            self.assertNotIn(unwanted, host["command"])
        for command in commands:
            self.assertNotIn("-Werror", command["command"])

    def test_a_host_of_the_other_project_works(self):
        build_tree.build(self.build, "--target", "host")
        suffix = build_tree.PROGRAM_SUFFIX
        host = self.build / f"host{suffix}"
        if build_tree.FOR_WINDOWS:
            # Made in here, and not the one of the build tree beside.
            library = self.build / "corvane" / "bin" / "corvane.dll"
            (self.build / "corvane.dll").symlink_to(library)
            self.assertNotEqual(library.stat().st_size, 0)
        self.assert_host_works(host, self.scratch / "captures")
