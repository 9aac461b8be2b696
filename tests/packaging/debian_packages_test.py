"""What cpack makes of the build for Linux: a Debian package, and one of its debug symbols."""

import pathlib
import re

import build_tree


class DebianPackages(build_tree.ScratchTestCase):
    @classmethod
    def prepare(cls):
        cls.packages = cls.scratch / "packages"
        build_tree.pack(cls.packages)
        cls.architecture = build_tree.run("dpkg", "--print-architecture").strip()
        cls.package = cls.packages / f"corvane_{build_tree.VERSION}_{cls.architecture}.deb"
        cls.symbols = cls.packages / f"corvane-dbgsym_{build_tree.VERSION}_{cls.architecture}.ddeb"
        cls.unpacked = cls.scratch / "unpacked"
        for package in (cls.package, cls.symbols):
            build_tree.run("dpkg-deb", "-x", package, cls.unpacked)
        cls.programs = [cls.unpacked / "usr" / "bin" / name
                        for name in ("corvane", "corvane-modem-sim")]

    def field(self, package, name):
        return build_tree.run("dpkg-deb", "-f", package, name).strip()

    def contents(self, package):
        """-> {path: (mode, owner)} of the files in a package"""
        lines = [line.split(maxsplit=5)
                 for line in build_tree.run("dpkg-deb", "-c", package).splitlines()]
        return {entry[5]: (entry[0], entry[1]) for entry in lines if entry[0][0] != "d"}

    def test_there_is_one_of_the_tools_and_one_of_their_symbols(self):
        names = {path.name for path in self.packages.iterdir() if path.is_file()}
        self.assertEqual(names, {self.package.name, self.symbols.name})

    def test_the_package_has_every_file_in_its_place(self):
        contents = self.contents(self.package)
        self.assertEqual(set(contents), {f"./usr/{name}" for name in build_tree.runtime_files()})
        for path, (mode, owner) in contents.items():
            expected = "-rwxr-xr-x" if path.startswith("./usr/bin/") else "-rw-r--r--"
            self.assertEqual((mode, owner), (expected, "root/root"), path)

    def test_it_says_what_it_is(self):
        self.assertEqual(self.field(self.package, "Package"), "corvane")
        self.assertEqual(self.field(self.package, "Version"), build_tree.VERSION)
        self.assertEqual(self.field(self.package, "Architecture"), self.architecture)
        self.assertEqual(self.field(self.package, "Maintainer"), "The Corvane authors")
        description = self.field(self.package, "Description").splitlines()
        self.assertEqual(description[0], "Recorder of the DIAG traffic of cellular modems")
        self.assertGreater(len(description), 1)

    def test_it_depends_on_what_its_programs_are_linked_with(self):
        depends = self.field(self.package, "Depends").split(", ")
        owners = set()
        for program in self.programs:
            needed = re.findall(r"NEEDED\s+(\S+)", build_tree.run("objdump", "-p", program))
            self.assertIn("libc.so.6", needed)
            for library in needed:
                for line in build_tree.run("dpkg", "-S", f"*-linux-gnu/{library}").splitlines():
                    owners.add(line.partition(":")[0])
        self.assertEqual({name.partition(" ")[0] for name in depends}, owners)
        for name in depends:
            # With the oldest version that has every function that the programs use.
            self.assertRegex(name, r"^\S+ \(>= [0-9.]+\)$")

    def test_its_programs_are_stripped_and_run(self):
        for program in self.programs:
            with self.subTest(program=program.name):
                names = build_tree.sections(program)
                self.assertIn(".text", names)
                self.assertFalse(names & {".debug_info", ".symtab"})
                self.assertIn("corvane", build_tree.run(program, "--help"))

    def test_the_symbols_are_found_by_the_programs_build_ids(self):
        self.assertEqual(self.field(self.symbols, "Depends"), f"corvane (= {build_tree.VERSION})")
        for program in self.programs:
            identity = re.search(
                r"Build ID: ([0-9a-f]+)", build_tree.run("readelf", "-n", program)
            ).group(1)
            symbols = pathlib.Path("usr", "lib", "debug", ".build-id", identity[:2])
            symbols = self.unpacked / symbols / f"{identity[2:]}.debug"
            self.assertIn(".debug_info", build_tree.sections(symbols))

    def test_the_licence_is_where_debian_looks_for_it(self):
        text = (self.unpacked / "usr" / "share" / "doc" / "corvane" / "copyright").read_text()
        self.assertIn("The Corvane authors", text)
        licence = (build_tree.SOURCES / "LICENSE").read_text().split("\n\n", 2)[2]
        self.assertIn(" ".join(licence.split()), " ".join(text.replace("\n .\n", "\n").split()))
