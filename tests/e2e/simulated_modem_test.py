"""corvane.dll against the simulated modem: what was exchanged is what is in the file."""

import collections
import os
import subprocess

from support import diag, environment, isf, recording, simulator, wine
from support.recording import DEVICE_TYPES, REQUEST_TYPES
from wireshark import exported_pdu, pcapng

LOG_CODES = [0x1004, 0x1388, 0x4125, 0x5001, 0x713A, 0xB0C0]
EVENT_IDS = [0, 9, 256, 257, 1999]
MESSAGE_LEVELS = {5000: [2, 3, 4], 18: [2]}
CONFIGURATION = """
logs <LogCodes>1004,0x1388,4125,0x5001,713A,B0C0</LogCodes>
events <EventIDs>0,9,256,257,1999</EventIDs>
messages <MessageLevels>5000/2,5000/3,5000/4,18/2</MessageLevels>
"""

SYNTHETIC_CHANNELS = (254, 255)


def mask(bits, size):
    """`size` bytes with these bits set, bit 0 the lowest of the first byte."""
    return sum(1 << bit for bit in bits).to_bytes(size, "little")


def expected_requests():
    """Every request of a connection with CONFIGURATION, in the order on the wire."""
    requests = list(diag.START_UP_REQUESTS)
    last = max(EVENT_IDS)
    count = (last + 1).to_bytes(2, "little")
    requests.append(b"\x82\0\0\0" + count + mask(EVENT_IDS, last // 8 + 1))
    for ssid in sorted(MESSAGE_LEVELS):
        field = ssid.to_bytes(2, "little")
        requests.append(b"\x7d\x04" + field * 2 + b"\0\0" + mask(MESSAGE_LEVELS[ssid], 4))
    for equipment in sorted({code >> 12 for code in LOG_CODES}):
        items = [code & 0xFFF for code in LOG_CODES if code >> 12 == equipment]
        head = b"".join(number.to_bytes(4, "little") for number in (0x73, 3, equipment, 4096))
        requests.append(head + mask(items, 512))
    return requests


def expected_packets(sent):
    """-> (what the file should hold of the lines `sent`, in order; the reply lines' places in it)"""
    packets, replies = [], []
    for line in sent:
        if line["crc"] != "good":
            continue
        if line["kind"] == "reply":
            replies.append(len(packets))
        # An event report stands in the file as its single events.
        packets += line.get("events", [line["hex"]])
        if "embedded" in line:
            packets.append(line["embedded"])
    return [bytes.fromhex(packet) for packet in packets], replies


class SimulatedModemTestCase(recording.RecordingTestCase, environment.WineTestCase):
    def setUp(self):
        super().setUp()
        self.port = self.ports.add("COM7")
        self.files = self.folder()
        self.config = self.files / "capture.cfg"
        self.config.write_text(CONFIGURATION)
        self.output = self.files / "capture.isf"
        self.library = self.host(
            "capture_host.exe", wine.windows_path(environment.programs / "corvane.dll")
        )

    def simulate(self, *arguments):
        self.port.link.unlink(missing_ok=True)
        modem = simulator.Simulator(self.port.link, *arguments)
        self.addCleanup(modem.close)
        return modem

    def start(self):
        self.capture_begins()
        paths = (wine.windows_path(path) for path in (self.config, self.output))
        self.library.ask("start", "COM7", *paths, answer="start true")
        self.port.set_present(True)

    def stop(self):
        self.library.ask("stop", answer="stopped")

    def wait_stored(self, modem):
        """Waits until the last good packet that was sent is in the file."""
        packets, _ = expected_packets(modem.packets("tx"))
        self.assertTrue(packets)
        wine.wait_until(lambda: self.ends_with(packets[-1]), "the last packet in the file")

    def ends_with(self, packet):
        # The last item is the last packet, or a request that it has released; both are short of this.
        with open(self.output, "rb") as file:
            file.seek(max(0, self.output.stat().st_size - 40_000))
            return packet in file.read()

    def assert_exchanged(self, modem, requests, items):
        """The items are what `modem` sent, and `requests` each after the reply to the one before."""
        packets, replies = expected_packets(modem.packets("tx"))
        received = [bytes.fromhex(line["hex"]) for line in modem.packets("rx")]
        self.assertEqual(received, requests)
        stored_requests, stored_packets, released = [], [], []
        for item in items:
            if item.type in REQUEST_TYPES:
                released.append(sum(1 for place in replies if place < len(stored_packets)))
                stored_requests.append((item.type, item.packet))
            elif item.type in DEVICE_TYPES:
                stored_packets.append((item.type, item.packet))
            else:
                self.assertEqual(item.type, isf.INFORMATION)
        self.assertEqual(stored_requests, [recording.request_item(one) for one in requests])
        self.assertEqual(len(stored_packets), len(packets))
        for number, (stored, sent) in enumerate(zip(stored_packets, packets)):
            self.assertEqual(stored, recording.device_item(sent), f"packet {number}")
        # The n-th request waits for n replies, and its own reply waits for it.
        self.assertEqual(released, list(range(len(requests))))


class CaptureOfASimulatedModem(SimulatedModemTestCase):
    def capture(self, *arguments):
        """Captures until the stream has ended. -> the simulator"""
        modem = self.simulate(*arguments)
        self.start()
        modem.wait_event("stream-end")
        self.wait_stored(modem)
        self.stop()
        self.assertEqual(modem.close(), 0)
        return modem

    def test_the_file_holds_what_was_exchanged_byte_for_byte(self):
        for seed in (1, 2, 3):
            with self.subTest(seed=seed):
                modem = self.capture("--seed", str(seed), "--rate", "max", "--count", "1500")
                capture = self.read_capture()
                self.assert_exchanged(modem, expected_requests(), capture.items)
                kinds = collections.Counter(line["kind"] for line in modem.packets("tx"))
                self.assertTrue(kinds["log"] and kinds["event"] and kinds["message"], kinds)
                self.assertEqual(capture.packets(isf.INFORMATION)[1][4:12], "Port".encode("utf-16-le"))
                self.port.set_present(False)
        self.assertEqual(self.library.count("bad CRC"), 0)

    def test_what_has_a_bad_crc_is_left_out_and_printed_once(self):
        for seed in (4, 5):
            with self.subTest(seed=seed):
                before = self.library.count("bad CRC")
                modem = self.capture(
                    *f"--seed {seed} --rate max --count 1500 --bad-crc 3%,10 --noise 2%,20".split(),
                    *"--open-noise 2%,30 --split 5% --merge 10% --chunk 1-700 --gap 0ms".split(),
                )
                self.assert_exchanged(modem, expected_requests(), self.read_capture().items)
                bad = sum(1 for line in modem.packets("tx") if line["crc"] != "good")
                self.assertGreater(bad, 50)
                wine.wait_until(
                    lambda: self.library.count("bad CRC") >= before + bad, f"{bad} bad CRC lines"
                )
                self.assertEqual(self.library.count("bad CRC"), before + bad)
                self.port.set_present(False)

    def test_a_long_capture_goes_over_several_blocks(self):
        modem = self.capture(
            *"--seed 6 --rate max --count 17000 --sizes small=97,medium=2,large=1".split()
        )
        capture = self.read_capture()
        self.assertGreaterEqual(len(capture.blocks), 3)
        self.assert_exchanged(modem, expected_requests(), capture.items)

    def test_nothing_that_was_not_switched_on_is_sent(self):
        self.config.write_text("")
        modem = self.simulate("--rate", "max", "--count", "10")
        self.start()
        wine.wait_until(lambda: len(modem.packets("tx")) == 13, "13 replies")
        self.wait_stored(modem)
        self.stop()
        self.assert_exchanged(modem, diag.START_UP_REQUESTS, self.read_capture().items)

    def test_late_replies_hold_the_requests_back_and_lose_nothing(self):
        modem = self.capture(
            *"--seed 7 --rate 2000 --count 300 --late 0x73=150ms --late 4=100ms".split()
        )
        self.assert_exchanged(modem, expected_requests(), self.read_capture().items)

    def test_a_withheld_reply_stops_the_requests_and_nothing_else(self):
        modem = self.simulate("--withhold", "13")
        self.start()
        modem.wait_event("withheld")
        log = bytes.fromhex("10001000100001500102030405060708") + b"the log's own bytes"
        modem.command(f"send {log.hex()}")
        wine.wait_until(lambda: self.ends_with(log), "the log in the file")
        self.stop()
        modem.close()
        capture = self.read_capture()
        self.assertEqual(capture.packets(*REQUEST_TYPES), expected_requests()[:14])
        self.assertEqual(recording.items_of(capture)[-1], recording.device_item(log))

    def test_reconnected_nothing_is_lost_and_all_is_sent_again(self):
        modem = self.simulate(*"--seed 8 --rate max --count 400 --paused".split())
        self.start()
        wine.wait_until(lambda: len(modem.packets("rx")) == len(expected_requests()), "requests")
        modem.command("resume")
        modem.wait_event("stream-end")
        self.wait_stored(modem)
        self.port.set_present(False)
        self.library.wait_for("Port COM7 disconnected")
        first = len(modem.packets("tx"))
        modem.command("unplug")
        modem.wait_event("unplugged")
        modem.command("plug")
        modem.wait_event("plugged", count=2)
        self.port.set_present(True)
        wine.wait_until(
            lambda: len(modem.packets("rx")) == 2 * len(expected_requests()), "requests again"
        )
        wine.wait_until(
            lambda: len(modem.packets("tx")) == first + len(expected_requests()), "replies again"
        )
        self.wait_stored(modem)
        self.stop()
        capture = self.read_capture()
        texts = [text for text in capture.texts if text.startswith("Port")]
        self.assertEqual(texts, ["Port COM7 connected", "Port COM7 disconnected"] * 2)
        stored = recording.items_of(capture)
        self.assertEqual(
            [item for item in stored if item[0] in REQUEST_TYPES],
            [recording.request_item(request) for request in expected_requests() * 2],
        )
        self.assertEqual(
            [item for item in stored if item[0] in DEVICE_TYPES],
            [recording.device_item(sent) for sent in expected_packets(modem.packets("tx"))[0]],
        )

    def test_a_library_that_is_killed_leaves_every_item_in_the_file(self):
        modem = self.simulate(*"--seed 9 --rate max --count 500".split())
        self.start()
        modem.wait_event("stream-end")
        self.wait_stored(modem)
        self.library.ask("die", answer="dying")
        self.library.wait_ended()
        data = self.output.read_bytes()
        with self.assertRaises(isf.DamagedFile):
            isf.parse(data)
        items = isf.parse_unclosed(data).items
        self.assert_recorded(items)
        self.assert_exchanged(modem, expected_requests(), items)


class RebuildingTestCase(SimulatedModemTestCase):
    def assert_rebuilt(self, modem, items):
        """Each packet that completed blocks is followed by them; nothing else was rebuilt."""
        expected = []  # (packet, whether it was rebuilt)
        for line in modem.packets("tx"):
            if line["crc"] != "good":
                continue
            expected.append((bytes.fromhex(line.get("wrapped", line["hex"])), False))
            expected += [(bytes.fromhex(block), True) for block in line.get("blocks", [])]
        stored = [(place, item) for place, item in enumerate(items) if item.type in DEVICE_TYPES]
        self.assertEqual(len(stored), len(expected))
        completing, previous = None, None
        for number, ((place, item), (packet, rebuilt)) in enumerate(zip(stored, expected)):
            before, previous = previous, place
            if not rebuilt:
                stored_item = (item.type, item.packet)
                self.assertEqual(stored_item, recording.device_item(packet), f"packet {number}")
                completing = item
                continue
            # Right behind: no request and no text stands in between.
            self.assertEqual(place, before + 1, f"packet {number}")
            self.assertEqual(item.type, isf.SIGNALLING_LOG)
            self.assertEqual(item.packet[:8] + item.packet[16:], packet[:8] + packet[16:], number)
            self.assert_stamped(item, completing)
        return [packet for packet, rebuilt in expected if rebuilt]

    def assert_stamped(self, item, completing):
        """The rebuilt packet's time lies within the millisecond of the item that completed it."""
        stamp = int.from_bytes(item.packet[8:16], "little")
        # 1.25 ms units since 1980-01-06, each with 49,152 parts; 11,960,438,400 s lie between that
        # day and 1601.
        units, parts = stamp >> 16, stamp & 0xFFFF
        self.assertLess(parts, 49152)
        nanoseconds = units * 1_250_000 + parts * 1_250_000 // 49152
        milliseconds = nanoseconds / 1_000_000 + 11_960_438_400_000
        self.assertLess(abs(milliseconds - completing.time - 0.5), 0.51)


# Payload choices of system information: those whose message begins with a segment, and of these
# the one with the first segment of a block.
LED_BY_A_SEGMENT = (1, 2, 3, 4, 5, 6, 10)
FIRST_SEGMENT = 1


def leading_key(line):
    """Channel, bearer and SIB type of the segment that the message begins with."""
    message = bytes.fromhex(line["hex"])[20:]
    lead = 15 if line["sib"]["channel"] == 4 else 6
    sib_type = int.from_bytes(message[:3], "big") >> 24 - lead - 5 & 31
    return line["sib"]["channel"], line["sib"]["bearer"], sib_type


class RebuiltSystemInformation(RebuildingTestCase):
    CONFIGURATION = "<LogCodes>412F</LogCodes>"

    def assert_of_all_kinds(self, rebuilt):
        """The rebuilt packets are of both channels, several bearers and several SIB types."""
        self.assertGreater(len(rebuilt), 100)
        self.assertEqual({packet[16] for packet in rebuilt}, set(SYNTHETIC_CHANNELS))
        self.assertGreater(len({packet[17] for packet in rebuilt}), 1)
        self.assertGreater(len({packet[20] for packet in rebuilt}), 8)

    def assert_interleaved(self, sent):
        """Blocks were in transit at the same time that differ in channel, bearer and SIB type.

        Of such a pair, a segment of each stood between two segments of one block of the other.
        """
        between, pairs = {}, set()  # a block's key -> the keys seen since its latest segment
        for line in sent:
            if line["crc"] != "good" or line.get("sib", {}).get("choice") not in LED_BY_A_SEGMENT:
                continue
            key = leading_key(line)
            if line["sib"]["choice"] != FIRST_SEGMENT:
                pairs |= {(key, other) for other in between.get(key, ())}
            between[key] = set()
            for other, keys in between.items():
                keys |= {key} - {other}
        mutual = [(one, other) for one, other in pairs if (other, one) in pairs]
        for field, name in enumerate(("channel", "bearer", "SIB type")):
            self.assertTrue(any(one[field] != other[field] for one, other in mutual), name)

    def test_rebuilt_blocks_stand_behind_what_completed_them(self):
        self.config.write_text(self.CONFIGURATION)
        for seed, loss in ((1, "0%"), (2, "5%"), (3, "20%")):
            with self.subTest(seed=seed):
                modem = self.simulate(
                    *f"--scenario sib --seed {seed} --sib-loss {loss} --rate max".split(),
                    *"--count 1500 --bad-crc 1%".split(),
                )
                self.start()
                modem.wait_event("stream-end")
                self.wait_stored(modem)
                self.stop()
                modem.close()
                rebuilt = self.assert_rebuilt(modem, self.read_capture().items)
                self.assert_of_all_kinds(rebuilt)
                self.assert_interleaved(modem.packets("tx"))
                choices = {line["sib"]["choice"] for line in modem.packets("tx") if "sib" in line}
                self.assertEqual(choices, set(range(1, 11)))
                self.port.set_present(False)


class RecordedSignalling(RebuildingTestCase):
    PROFILE = wine.ROOT / "profiles" / "signalling.cfg"

    def export(self):
        """-> the Wireshark file that corvane.exe makes of the capture"""
        ended = subprocess.run(
            [
                wine.ROOT / "scripts" / "wine.sh",
                environment.programs / "corvane.exe",
                *("export", wine.windows_path(self.output), "-w", "-"),
            ],
            env=environment.prefix().environment,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            timeout=wine.DEADLINE,
            check=True,
        )
        return pcapng.read(ended.stdout)

    def test_every_message_goes_from_modem_to_wireshark_file(self):
        self.config.write_bytes(self.PROFILE.read_bytes())
        modem = self.simulate(
            *"--scenario signalling --start-at now --mix log=1 --rate max --count 1500".split()
        )
        self.start()
        modem.wait_event("stream-end")
        self.wait_stored(modem)
        self.stop()
        modem.close()
        rebuilt = self.assert_rebuilt(modem, self.read_capture().items)
        self.assertGreater(len(rebuilt), 1)
        told = [
            line[key]
            for line in modem.packets("tx")
            for key in ("message", "completes")
            if key in line
        ]
        found = [exported_pdu.read(packet.data) for packet in self.export().packets]
        self.assertEqual(
            [(pdu.dissector, pdu.direction, pdu.message.hex()) for pdu in found],
            [(one["dissector"], 0 if one["uplink"] else 1, one["hex"]) for one in told],
        )
