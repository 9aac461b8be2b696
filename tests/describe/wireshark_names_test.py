"""The names in messages.tsv are the ones that tshark shows of those messages."""

import io
import pathlib
import re
import unittest

from wireshark import exported_pdu, pcapng, tshark

TABLE = pathlib.Path(__file__).with_name("messages.tsv")

# A line of tshark's tree with an outermost choice: "message: c1 (0)", behind bits if it has any.
CHOICE = re.compile(
    r"^(?:[.01 ]+ = )?(?:message|c\d|later|messageClassExtension\S*|[uU][lL]-[CD]CCH-MessageType\S*)"
    r": (\S+) \(\d+\)$"
)


class Row:
    def __init__(self, line):
        fields = line.split("\t")
        self.syntax, self.dissector, message, self.name, self.mark = fields[:5]
        self.message = bytes.fromhex(message)

    def __repr__(self):
        return f"{self.syntax} {self.name} {self.message.hex()}"


def rows():
    lines = TABLE.read_text(encoding="utf-8").splitlines()
    return [Row(line) for line in lines if line and not line.startswith("#")]


def capture(table):
    """A capture file with the rows' messages."""
    stream = io.BytesIO()
    writer = pcapng.Writer(stream)
    interface = writer.add_interface(exported_pdu.LINK_TYPE, "messages")
    for number, row in enumerate(table):
        # WCDMA's dissectors fill the Info column only where another column is filled already.
        frame = exported_pdu.write(row.dissector, row.message, protocol="-")
        writer.packet(interface, number, frame)
    return stream.getvalue()


def trees(path):
    """tshark's lines for each frame below the exported PDU's tags, without their indentation."""
    found = []
    for line in tshark.run(["-r", str(path), "-V"]).split("\n"):
        if line.startswith("Frame "):
            found.append([])
        elif line.strip() == "Length: 0" or line.lstrip().startswith("Exported PDU:"):
            found[-1].clear()
        else:
            found[-1].append(line.strip())
    return found


def name_in_info(info):
    """The message's name at the front of the Info column, without what is said of its content."""
    # Of SIB5bis, which has SIB5's content, Wireshark writes both names.
    once = re.sub(r"(?<=.)SysInfoType.*", "", info)
    return re.sub(r"\s*[\[(].*", "", once).split(",")[0].strip()


def name_in_tree(tree):
    """The innermost of the choices at the top; without any, the type that stands there."""
    # In front of the type, which is one word, may stand the protocol's name.
    top = 0 if " " not in tree[0] else 1
    name = tree[top]
    for line in tree[top + 1 :]:
        choice = CHOICE.match(line)
        if choice is None:
            break
        name = choice.group(1)
    return name


def letters_and_digits(text):
    return re.sub(r"[^a-z0-9]", "", text.lower())


class Names(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.rows = rows()
        data = capture(cls.rows)
        cls.frames = tshark.frames_of(data)
        with tshark.scratch_file(data) as path:
            cls.trees = trees(path)

    def test_tshark_shows_every_name(self):
        for row, frame, tree in zip(self.rows, self.frames, self.trees, strict=True):
            with self.subTest(row=row):
                shown = name_in_info(frame.info) or name_in_tree(tree)
                self.assertEqual(letters_and_digits(shown), letters_and_digits(row.name))

    def test_valid_messages_are_not_malformed(self):
        for row, frame in zip(self.rows, self.frames, strict=True):
            with self.subTest(row=row):
                found = frame.malformed or bool(frame.complaints)
                self.assertEqual(found, row.mark != "valid", frame.complaints)

    def test_every_dissector_took_its_messages(self):
        for row, frame in zip(self.rows, self.frames, strict=True):
            with self.subTest(row=row):
                self.assertGreater(len(frame.dissectors), 1, frame.dissectors)


if __name__ == "__main__":
    unittest.main()
