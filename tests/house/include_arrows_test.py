"""No include of src goes up a floor, no two rooms include each other; and the look at that sees bad
trees."""

import pathlib
import shutil
import tempfile
import unittest

import include_arrows

SOURCE = pathlib.Path(__file__).resolve().parents[2] / "src"


class TheHouseTest(unittest.TestCase):
    def test_every_include_of_the_sources_points_down(self):
        faults = include_arrows.faults(SOURCE)
        self.assertEqual(faults, [], "\n" + "\n".join(faults))

    def test_no_two_rooms_of_the_sources_include_each_other(self):
        self.assertEqual(include_arrows.mutual_rooms(SOURCE), [])

    def test_the_sources_of_every_room_that_is_there_are_read(self):
        read = {include_arrows.room_of(path) for path, _, _ in include_arrows.includes(SOURCE)
                if path.endswith(".cpp")}
        there = {room for room in include_arrows.MAY_INCLUDE if (SOURCE / room).is_dir()}
        self.assertLessEqual({"platform", "diag", "capture", "capture/isf", "control"}, there)
        self.assertEqual(there, read)

    def test_the_plan_itself_has_no_circle(self):
        def reach(room, path):
            self.assertNotIn(room, path)
            for other in include_arrows.MAY_INCLUDE[room]:
                if "." not in other:
                    reach(other, path + [room])

        for room in include_arrows.MAY_INCLUDE:
            reach(room, [])


class TreeTestCase(unittest.TestCase):
    def setUp(self):
        self.source = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, self.source)
        for header in ("platform/text.h", "diag/hdlc.h", "ota/bit_cursor.h", "ota/dispatcher.h",
                       "capture/isf/store.h", "capture/session.h", "io/serial/com_io.h",
                       "io/mbn/qmbe_io.h", "reader/capture_file.h", "describe/heads.h"):
            self.write(header)

    def write(self, path, *lines):
        file = self.source / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text("".join(line + "\n" for line in lines), encoding="utf-8")

    def faults_of(self, path, *lines):
        self.write(path, *lines)
        return include_arrows.faults(self.source)


class FaultsTest(TreeTestCase):
    def test_a_tree_whose_arrows_point_down_has_none(self):
        self.write("io/serial/a.cpp", '#include "capture/session.h"', "#include <vector>")
        self.write("io/a.cpp", '#include "io/serial/com_io.h"', '#include "io/mbn/qmbe_io.h"')
        self.write("convert/a.cpp", '#include "reader/capture_file.h"',
                   '#include "describe/heads.h"', '#include "capture/isf/store.h"')
        self.write("control/a.cpp", '#include "corvane.h"', '#include "platform/text.h"')
        self.assertEqual(include_arrows.faults(self.source), [])

    def test_an_arrow_that_points_up_is_said_with_file_and_line(self):
        self.assertEqual(
            self.faults_of("capture/a.cpp", "// Why.", "", '#include "io/serial/com_io.h"'),
            ['capture/a.cpp:3: "io/serial/com_io.h": capture may not include io/serial'])

    def test_a_header_counts_as_a_source_does(self):
        self.assertEqual(self.faults_of("ota/a.h", "  #  include \"capture/isf/store.h\""),
                         ['ota/a.h:1: "capture/isf/store.h": ota may not include capture/isf'])

    def test_the_file_room_may_not_include_the_session(self):
        self.assertEqual(self.faults_of("capture/isf/a.cpp", '#include "capture/session.h"'),
                         ['capture/isf/a.cpp:1: "capture/session.h": capture/isf may not include '
                          "capture"])

    def test_the_two_transports_may_not_include_each_other(self):
        self.assertEqual(self.faults_of("io/mbn/a.cpp", '#include "io/serial/com_io.h"'),
                         ['io/mbn/a.cpp:1: "io/serial/com_io.h": io/mbn may not include io/serial'])

    def test_the_reader_may_not_include_below_the_file_room(self):
        self.assertEqual(self.faults_of("reader/a.cpp", '#include "diag/hdlc.h"'),
                         ['reader/a.cpp:1: "diag/hdlc.h": reader may not include diag'])

    def test_one_header_of_a_room_may_be_allowed(self):
        self.assertEqual(self.faults_of("describe/a.cpp", '#include "ota/bit_cursor.h"'), [])
        self.assertEqual(self.faults_of("describe/a.cpp", '#include "ota/dispatcher.h"'),
                         ['describe/a.cpp:1: "ota/dispatcher.h": describe may not include ota'])

    def test_the_public_header_is_the_top_floors(self):
        self.assertEqual(self.faults_of("io/a.cpp", '#include "corvane.h"'),
                         ['io/a.cpp:1: "corvane.h": io may not include it'])

    def test_a_path_that_does_not_start_at_the_root_is_said(self):
        why = "the path does not start at the root of the sources"
        self.assertEqual(
            self.faults_of("diag/a.cpp", '#include "hdlc.h"', '#include "../diag/hdlc.h"',
                           '#include "diag/../diag/hdlc.h"', '#include "diag/missing.h"'),
            [f'diag/a.cpp:1: "hdlc.h": {why}', f'diag/a.cpp:2: "../diag/hdlc.h": {why}',
             f'diag/a.cpp:3: "diag/../diag/hdlc.h": {why}',
             f'diag/a.cpp:4: "diag/missing.h": {why}'])

    def test_a_folder_without_a_room_is_said_on_both_ends(self):
        self.write("attic/a.h", '#include "diag/hdlc.h"')
        self.assertEqual(self.faults_of("control/a.cpp", '#include "attic/a.h"'),
                         ['attic/a.h:1: "diag/hdlc.h": its folder is no room of the house',
                          'control/a.cpp:1: "attic/a.h": that folder is no room of the house'])

    def test_a_folder_inside_a_room_belongs_to_it(self):
        self.write("diag/tables/codes.h")
        self.assertEqual(self.faults_of("diag/a.cpp", '#include "diag/tables/codes.h"'), [])

    def test_what_a_comment_says_is_no_include(self):
        self.assertEqual(
            self.faults_of("diag/a.cpp", '// #include "io/serial/com_io.h"', "/*",
                           '#include "io/serial/com_io.h"', "*/", '#include "capture/session.h"'),
            ['diag/a.cpp:5: "capture/session.h": diag may not include capture'])


class MutualRoomsTest(TreeTestCase):
    def test_two_rooms_that_include_each_other_are_named_once(self):
        self.write("diag/a.h", '#include "filters/b.h"')
        self.write("filters/b.h", '#include "diag/hdlc.h"')
        self.write("ota/a.cpp", '#include "diag/hdlc.h"')
        self.assertEqual(include_arrows.mutual_rooms(self.source), [("diag", "filters")])


if __name__ == "__main__":
    unittest.main()
