"""scripts/mutate.py: what it changes in a text, and that it tells what tests notice from what they do not."""

import pathlib
import sys
import tempfile
import types
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "scripts"
sys.path.insert(0, str(SCRIPTS))

import mutants  # noqa: E402  (needs the path)
import mutate  # noqa: E402
import mutation_trials as trials  # noqa: E402


def changes(text):
    """-> every line that a line of `text` can become"""
    found = mutants.cSource("a.cpp", text).mutants()
    return [mutant.after.strip() for line in found for mutant in line]


class Operators(unittest.TestCase):
    def assert_changes(self, text, *expected):
        self.assertCountEqual(changes(text), expected)

    def test_each_operator_between_operands_becomes_another_one(self):
        for before, after in mutants.OTHER_OPERATOR.items():
            self.assert_changes(f"auto c = a {before} b;", f"auto c = a {after} b;")

    def test_templates_references_and_signs_are_no_operators(self):
        self.assert_changes("std::vector<std::map<a, b>> f(c& d, e&& g, h* i, j<k> l) noexcept;")
        self.assert_changes("auto c = -a;")

    def test_numbers_become_their_neighbours(self):
        self.assert_changes("auto c = 7u;", "auto c = 8u;", "auto c = 6u;")
        self.assert_changes("auto c = 0x0F;", "auto c = 0x10;", "auto c = 0x0E;")
        self.assert_changes("auto c = 0;", "auto c = 1;")
        self.assert_changes("auto c = 1.5;")

    def test_words_signs_and_steps_change(self):
        self.assert_changes("bool c = true;", "bool c = false;")
        self.assert_changes("bool c = !a;", "bool c = a;")
        self.assert_changes("auto c = ++a;", "auto c = --a;")

    def test_conditions_are_negated(self):
        self.assert_changes("if (a.b(c)) {", "if (!(a.b(c))) {")
        self.assert_changes("if (auto a = b(); a) {")

    def test_statements_are_left_out(self):
        self.assert_changes("{\n  a(b);\n}", ";")
        self.assert_changes("{\n  a.b[c]->d += e;\n}", "a.b[c]->d -= e;", ";")
        self.assert_changes("{\n  std::ignore = a<b>(c);\n}", ";")
        self.assert_changes("{\n  continue;\n}", ";")

    def test_declarations_stay(self):
        self.assert_changes("{\n  a b(c);\n  a<b> c = d;\n  const a& b = c;\n  using a::b;\n}")

    def test_results_become_empty_ones(self):
        self.assert_changes("{\n  return a;\n}", "return {};")
        self.assert_changes("{\n  return nullptr;\n}")

    def test_comments_texts_directives_and_assertions_stay(self):
        self.assert_changes("// a < 1\n/* b == 2\n c */\n#if 3 > 4 && \\\n  5\n#endif")
        self.assert_changes("""a("1 < 2", '3', R"x(4 "5)" == 6)x");""")
        self.assert_changes("static_assert(sizeof(a) == 4 &&\n              b < 2);\nstatic_assert(a == 4);")
        self.assert_changes('auto a = b + "c";')


SOURCE = """int add(int a, int b);
int add(int a, int b) {
  int spare = 3;
  spare = a;
  return a + b;
}
"""
TEST = "int add(int, int);\nint main() { return add(2, 5) == 7 ? 0 : 1; }\n"
ENDLESS = "int add(int, int);\nint main() { while (add(2, 5) != 7) {} }\n"


class Verdicts(unittest.TestCase):
    """A library of one function, and a test of it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="corvane-mutate-")
        self.addCleanup(folder.cleanup)
        work = pathlib.Path(folder.name)
        self.root = work / "tree"
        for name, value in (("WORK", work), ("TREE", self.root)):
            before = getattr(trials, name)
            self.addCleanup(setattr, trials, name, before)
            setattr(trials, name, value)
        (self.root / "bin").mkdir(parents=True)
        (self.root / "bin/add_test").touch()
        (self.root / "src").mkdir()
        (self.root / "src/add.cpp").write_text(SOURCE)

    def verdicts(self, test, *changed, patience=10.0):
        """-> what becomes of these lines of the source when the test looks at them"""
        (self.root / "test.cpp").write_text(test)
        preset = trials.Preset.__new__(trials.Preset)
        preset.name, preset.folder = "native", self.root
        preset.compile = {
            "src/add.cpp": (["g++", "-O2", "-o", "add.o", "-c", "src/add.cpp"], "add.o"),
            "test.cpp": (["g++", "-o", "test.o", "-c", "test.cpp"], "test.o"),
        }
        preset.links = {"add_test": ": && g++ test.o -o bin/add_test add.o && :"}
        preset.parts = {"add_test": {"test.o", "add.o"}}
        entry = {"name": "add_test", "command": [f"{self.root}/bin/add_test"]}
        preset.tests = {"add_test": trials.Test(preset, entry)}
        worker = trials.Worker("0")
        for file, made in (("test.cpp", "test.o"), ("src/add.cpp", "add.o")):
            self.assertTrue(worker.compile(preset, file, self.root / file, self.root / made))
        room = types.SimpleNamespace(tests=("add_test",))
        baselines = types.SimpleNamespace(seconds_of=lambda test: 0.0)
        self.addCleanup(setattr, trials, "PATIENCE", trials.PATIENCE)
        trials.PATIENCE = patience
        found = {}
        for line in mutants.cSource("src/add.cpp", SOURCE).mutants():
            for mutant in line:
                if mutant.after.strip() in changed:
                    found[mutant.after.strip()] = worker.try_mutant(
                        mutant, room, preset, baselines, everywhere=False
                    )
        return found

    def test_what_the_test_looks_at_is_killed_and_the_rest_survives(self):
        found = self.verdicts(TEST, "return a - b;", "int spare = 4;")
        self.assertEqual(found["return a - b;"], ("killed", "add_test: exit code 1"))
        self.assertEqual(found["int spare = 4;"], ("survived", "1 tests"))

    def test_a_test_that_does_not_end_has_noticed(self):
        found = self.verdicts(ENDLESS, "return {};", patience=0.2)
        self.assertEqual(found["return {};"], ("killed", "add_test: took too long"))


class Choice(unittest.TestCase):
    TEXT = "int a = 1;\nint b = 2;\nint c = 3;\nint d = 4;\n"

    def chosen(self, text, seed=1):
        return mutants.chosen([mutants.cSource("a.cpp", text)], seed)

    def test_a_seed_chooses_the_same_again_and_another_one_others(self):
        self.assertEqual(self.chosen(self.TEXT), self.chosen(self.TEXT))
        self.assertNotEqual(self.chosen(self.TEXT), self.chosen(self.TEXT, seed=2))

    def test_another_line_in_front_leaves_the_choice_as_it_was(self):
        before = [(mutant.before, mutant.after) for mutant in self.chosen(self.TEXT)]
        after = [(mutant.before, mutant.after) for mutant in self.chosen("\n\n" + self.TEXT)]
        self.assertEqual(before, after)

    def test_each_room_has_its_least_and_the_rest_goes_by_size(self):
        self.assertEqual(mutate.shares({"a": 100, "b": 300}, 90), {"a": 35, "b": 55})

    def test_invalid_ones_are_replaced_and_equivalent_ones_count(self):
        candidates = self.chosen(self.TEXT)
        room = mutate.RoomRun(mutate.ROOMS[0], 2, candidates, {candidates[1].names[0]: "why"})
        first = room.next()
        self.assertEqual((first, room.next()), (candidates[0], None))
        room.running = 0
        room.results[first] = "invalid"
        self.assertEqual(room.next(), candidates[2])
        self.assertEqual(room.count("equivalent"), 1)


class Equivalents(unittest.TestCase):
    TEXT = "# comment\n\na.cpp\n- int a = 1;\n+ int a = 2;\nNothing reads it,\nanywhere.\n"

    def test_a_list_is_read(self):
        expected = {("a.cpp", "", "int a = 1;", "int a = 2;"): "Nothing reads it, anywhere."}
        self.assertEqual(mutants.read_equivalents(self.TEXT), expected)

    def test_the_line_above_tells_lines_of_one_text_apart(self):
        listed = mutants.read_equivalents("a.cpp\n  case 2:\n- break;\n+ ;\nThe end.\n")
        source = mutants.cSource("a.cpp", "case 1:\n  break;\ncase 2:\n\n  break;\n")
        found = [mutant for line in source.mutants() for mutant in line if mutant.after == "  ;"]
        self.assertEqual([mutant.is_in(listed) for mutant in found], [False, True])
        self.assertEqual(mutants.stale(listed, lambda file: source.text), [])

    def test_an_entry_without_a_reason_or_twice_is_refused(self):
        for text in ("a.cpp\n- a\n+ b\n", f"{self.TEXT}\n{self.TEXT}"):
            with self.assertRaises(mutants.MalformedList):
                mutants.read_equivalents(text)

    def test_entries_that_name_no_change_are_stale(self):
        listed = mutants.read_equivalents(self.TEXT)
        self.assertEqual(mutants.stale(listed, lambda file: "  int a = 1;\n"), [])
        for text in ("int a = 3;\n", None):
            self.assertEqual(mutants.stale(listed, lambda file, text=text: text), list(listed))

    def test_the_list_of_this_project_names_what_is_there(self):
        root = SCRIPTS.parent
        listed = mutants.read_equivalents((SCRIPTS / "mutants_equivalent.txt").read_text("utf-8"))
        self.assertEqual(mutants.stale(listed, lambda file: mutate.read_if_there(root / file)), [])


if __name__ == "__main__":
    unittest.main()
