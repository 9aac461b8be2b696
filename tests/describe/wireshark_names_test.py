"""The names in messages.tsv are the ones that tshark shows of those messages."""

import io
import pathlib
import re
import unittest

from wireshark import exported_pdu, pcapng, tshark

TABLE = pathlib.Path(__file__).with_name("messages.tsv")

# Otherwise Wireshark tries what is ciphered as plain, and names some of it by chance.
CIPHERED_IS_CIPHERED = "nas-eps.null_decipher:FALSE"

# A line of tshark's tree with an outermost choice: "message: c1 (0)", behind bits if it has any.
CHOICE = re.compile(
    r"^(?:[.01 ]+ = )?(?:message|c\d|later|messageClassExtension\S*|[uU][lL]-[CD]CCH-MessageType\S*)"
    r": (\S+) \(\d+\)$"
)

# A line with the type of a NAS, layer 3 or RLC/MAC message, behind bits if it has any.
TYPE = re.compile(
    r"^(?:[.01 ]+ = )?(?:[^:]*message[ _]type[^:]*|NAS EPS session management messages)"
    r": (.+?)(?: \((?:0x)?[0-9a-f]+\))?$",
    re.IGNORECASE,
)

# The start of the Info column for SIP: "Request: INVITE sip:...", "Status: 200 OK ...".
SIP_START = re.compile(r"Request: ([A-Z]+) |Status: (\d{3} [^|(]+)")

IP_VERSIONS = {"ip": "IPv4", "ipv6": "IPv6"}


class Row:
    def __init__(self, line):
        fields = line.split("\t")
        self.syntax, self.dissector, message, self.name = fields[:4]
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
    for line in tshark.run(["-r", str(path), "-V", "-o", CIPHERED_IS_CIPHERED]).split("\n"):
        if line.startswith("Frame "):
            found.append([])
        elif line.startswith("    Exported PDU: "):
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


def type_in_tree(tree):
    """The type of a message; a service request of LTE has none, and stands in the Info column."""
    types = (TYPE.match(line) for line in tree)
    return next((found.group(1) for found in types if found), None)


def name_of_sip(info):
    method, status = SIP_START.search(info).groups()
    return method or status


def name_of_ip(dissectors):
    """The innermost version of IP and what it carries: "ip", "ipv6" or both are in front of it."""
    version = max(place for place, name in enumerate(dissectors) if name in IP_VERSIONS)
    carried = [name for name in dissectors[version + 1 :] if not name.startswith("ipv6.")]
    known = [name for name in carried[:1] if name != "data"]
    return " ".join([IP_VERSIONS[dissectors[version]], *known])


def shown_name(row, frame, tree):
    """The name of a message as tshark shows it; empty where it shows none."""
    if row.dissector == "data":
        return ""
    if row.dissector == "ip":
        return name_of_ip(frame.dissectors)
    if row.dissector == "sip":
        return name_of_sip(frame.info)
    if row.dissector.startswith("gsm_rlcmac"):
        return frame.info.partition(" CTRL: ")[2]
    if row.dissector.startswith(("nas", "gsm_a")):
        return type_in_tree(tree) or frame.info.replace("Ciphered message", "")
    return name_in_info(frame.info) or name_in_tree(tree)


def letters_and_digits(text):
    return re.sub(r"[^a-z0-9]", "", text.lower())


class Names(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.rows = rows()
        data = capture(cls.rows)
        cls.frames = tshark.frames_of(data, preferences=[CIPHERED_IS_CIPHERED])
        with tshark.scratch_file(data) as path:
            cls.trees = trees(path)

    def test_tshark_shows_every_name(self):
        for row, frame, tree in zip(self.rows, self.frames, self.trees, strict=True):
            with self.subTest(row=row):
                shown = shown_name(row, frame, tree)
                self.assertEqual(letters_and_digits(shown), letters_and_digits(row.name))

    def test_every_message_is_well_formed(self):
        for row, frame in zip(self.rows, self.frames, strict=True):
            with self.subTest(row=row):
                # A dissector that tshark does not know is not among those that took part.
                self.assertGreater(len(frame.dissectors), 1, frame.dissectors)
                self.assertEqual((frame.malformed, frame.complaints), (False, []))


if __name__ == "__main__":
    unittest.main()
