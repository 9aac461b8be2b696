"""What cmake --install leaves, and what a project of others can do with it."""

import os
import pathlib
import re

import build_tree

CONSUMER = pathlib.Path(__file__).resolve().parent / "consumer"


class Installation(build_tree.ScratchTestCase):
    @classmethod
    def prepare(cls):
        # Moved after it was installed: nothing in it may depend on where it lies.
        build_tree.install(cls.scratch / "first", "--strip")
        cls.prefix = cls.scratch / "moved"
        (cls.scratch / "first").rename(cls.prefix)

    def configure_consumer(self, name, *arguments, code=0):
        return build_tree.configure(
            CONSUMER,
            self.scratch / name,
            f"-DCMAKE_PREFIX_PATH={self.prefix}",
            *arguments,
            code=code,
        )

    def test_every_file_has_its_place(self):
        self.assertEqual(
            build_tree.files_below(self.prefix),
            build_tree.runtime_files() | build_tree.development_files(),
        )

    def test_every_link_of_a_document_leads_to_what_is_installed(self):
        links = 0
        for document in sorted((self.prefix / "share" / "doc").rglob("*.md")):
            for link in re.findall(r"\]\(([^)#\s]+)", document.read_text()):
                if "://" in link:
                    continue
                links += 1
                with self.subTest(document=document.name, link=link):
                    self.assertTrue((document.parent / link).exists())
        self.assertGreater(links, 20)

    def test_the_tools_run_from_there(self):
        for program in sorted((self.prefix / "bin").glob(f"corvane*{build_tree.PROGRAM_SUFFIX}")):
            if program.suffix == ".dll":
                continue
            with self.subTest(program=program.name):
                self.assertIn("corvane", build_tree.run_program(program, "--help"))
        tool = self.prefix / "bin" / f"corvane{build_tree.PROGRAM_SUFFIX}"
        self.assertIn(build_tree.VERSION, build_tree.run_program(tool, "--version"))

    def test_a_project_finds_it_by_find_package(self):
        wanted = "headers;tools;library" if build_tree.FOR_WINDOWS else "headers;tools"
        self.configure_consumer("consumer", f"-DWANTED={wanted}", "-DCMAKE_BUILD_TYPE=Release")
        folder = self.scratch / "consumer"
        lines = (folder / "found.txt").read_text().splitlines()
        found = dict(line.split(" ", 1) for line in lines)
        suffix = build_tree.PROGRAM_SUFFIX
        self.assertEqual(found.pop("profiles"), str(self.prefix / "share" / "corvane" / "profiles"))
        self.assertEqual(found.pop("cli"), str(self.prefix / "bin" / f"corvane{suffix}"))
        if not build_tree.FOR_WINDOWS:
            self.assertEqual(found.pop("modem-sim"), str(self.prefix / "bin" / "corvane-modem-sim"))
        self.assertEqual(found, {})
        build_tree.build(folder)
        self.assert_host_works(folder / f"host{suffix}", folder / "captures")

    def test_pkg_config_has_what_a_compiler_needs(self):
        environment = dict(os.environ, PKG_CONFIG_LIBDIR=str(self.prefix / "lib" / "pkgconfig"))

        def ask(*arguments):
            return build_tree.run("pkg-config", *arguments, "corvane", env=environment).split()

        self.assertEqual(ask("--modversion"), [build_tree.VERSION])
        profiles = pathlib.Path(ask("--variable=profilesdir")[0])
        self.assertTrue(profiles.samefile(self.prefix / "share" / "corvane" / "profiles"))
        folder = self.scratch / "pkg-config"
        folder.mkdir()
        host = folder / f"host{build_tree.PROGRAM_SUFFIX}"
        sources = [CONSUMER / "host.c"]
        if build_tree.FOR_WINDOWS:
            # Beside the host, where Windows looks for it.
            (folder / "corvane.dll").symlink_to(self.prefix / "bin" / "corvane.dll")
        else:
            sources.append(CONSUMER / "stand_in.cpp")
        build_tree.run(build_tree.COMPILER, *sources, "-o", host, *ask("--cflags", "--libs"))
        self.assert_host_works(host, folder / "captures")

    def test_the_installed_examples_are_a_project_of_their_own(self):
        project = self.prefix / "share" / "doc" / "corvane" / "examples"
        folder = self.scratch / "examples"
        found = f"-DCMAKE_PREFIX_PATH={self.prefix}"
        if not build_tree.FOR_WINDOWS:
            said = build_tree.configure(project, folder, found, code=1)
            self.assertIn('has no component "library"', " ".join(said.split()))
            return
        build_tree.configure(project, folder, found)
        build_tree.build(folder)
        (folder / "corvane.dll").symlink_to(self.prefix / "bin" / "corvane.dll")
        for host in ("host_c.exe", "host_cpp.exe"):
            # The end of their input ends the capture.
            self.assert_host_works(folder / host, folder / f"captures of {host}")

    def test_a_component_that_is_not_there_is_refused(self):
        missing = ["firmware"] if build_tree.FOR_WINDOWS else ["firmware", "library"]
        for component in missing:
            with self.subTest(component=component):
                said = self.configure_consumer(component, f"-DWANTED={component};headers", code=1)
                self.assertIn(f'has no component "{component}"', " ".join(said.split()))

    def test_a_project_for_another_system_passes_it_over(self):
        other = "Linux" if build_tree.FOR_WINDOWS else "Windows"
        project = self.scratch / "other"
        project.mkdir()
        (project / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\n"
            "project(Other LANGUAGES NONE)\n"
            "find_package(Corvane REQUIRED)\n"
        )
        said = build_tree.cmake(
            "-S", project, "-B", project / "build", f"-DCMAKE_SYSTEM_NAME={other}",
            f"-DCMAKE_PREFIX_PATH={self.prefix}", code=1,
        )
        system = "Windows" if build_tree.FOR_WINDOWS else "Linux"
        self.assertIn(f"{build_tree.VERSION} (for {system})", " ".join(said.split()))
