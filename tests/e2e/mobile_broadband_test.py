"""Captures through the Mobile Broadband API: corvane.dll against the stand-in for its service."""

import pathlib
import shutil
import signal
import subprocess
import tempfile
import time

from support import diag, environment, isf, mobile_broadband, recording, wine

ID = "{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}"
DEVICE = f"QMBE:{ID}"
INFORMATION = "Corvane version 1.0"
CONNECTED = f"Port {ID} connected"
DISCONNECTED = f"Port {ID} disconnected"

# The session opens when a test says so, which keeps the library's lines and the host's apart.
PRESENT = f"interface {ID}\nopen-completion withheld\n"
# A modem that answers: the event-reporting request by its short reply, the others by themselves.
EVENT_REPLY = "reply 0x60 600000\n"
ANSWERING = PRESENT + EVENT_REPLY + "at command * reply\n"

LOG = bytes.fromhex("10001000100001100102030405060708") + b"the log's own bytes"
UNASKED = "00"  # a version reply, whoever asked for it


def setUpModule():
    mobile_broadband.register(environment.prefix(), environment.programs)


def tearDownModule():
    mobile_broadband.unregister(environment.prefix(), environment.programs)


class MobileBroadbandTestCase(recording.RecordingTestCase):
    def setUp(self):
        super().setUp()
        self.files = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, self.files)
        self.config = self.files / "capture.cfg"
        self.config.write_text("")
        self.output = self.files / "capture.isf"
        self.library = None
        self.service = None

    def serve(self, scenario):
        """Starts a host with the library, and the service behind it."""
        prefix = environment.prefix()
        self.service = mobile_broadband.Service(prefix, self.files, scenario)
        self.library = wine.HostProcess(
            prefix,
            environment.programs / "capture_host.exe",
            wine.windows_path(environment.programs / "corvane.dll"),
            cwd=self.files,
        )
        self.addCleanup(self.library.kill)

    def start(self, device=DEVICE):
        """Calls CorvaneStart. -> its result"""
        self.capture_begins()
        fields = (device, wine.windows_path(self.config), wine.windows_path(self.output))
        return self.library.ask("start", *fields, answer="start (true|false)")[1] == "true"

    def begin(self, device=DEVICE):
        """Starts a capture and opens the session."""
        self.assertTrue(self.start(device))
        self.open()

    def open(self):
        self.do("opened 0")

    def arrive(self):
        """The interface comes back, and its session opens."""
        self.do(f"arrive {ID}")
        self.open()

    def stop(self):
        """Calls CorvaneStop; afterwards the service has everything back. -> the capture file"""
        self.library.ask("stop", answer="stopped")
        self.assertEqual(self.service.trouble(), [])
        return self.read_capture()

    def do(self, step):
        """Has the service do a step; returns when the library has dealt with it."""
        self.library.ask("call", "mbn_stand_in.dll", "StandInDo", step, answer="called 1")

    def requests(self):
        """The requests that the service has taken so far."""
        return [diag.unframe(command[:-1]) for command in self.service.commands()]

    def wait_requests(self, count):
        wine.wait_until(lambda: len(self.requests()) >= count, f"{count} requests")

    def printed(self):
        """What the library has printed."""
        answers = ("ready", "start ", "stopped", "called ", "unloaded")
        return [line for line in self.library.lines if not line.startswith(answers)]


class Capture(MobileBroadbandTestCase):
    def test_a_whole_session_is_in_the_file_item_by_item(self):
        self.config.write_text(
            "<LogCodes>412F</LogCodes><EventIDs>0,9</EventIDs><MessageLevels>5,0</MessageLevels>"
        )
        self.serve(ANSWERING)
        self.begin()
        self.wait_requests(15)
        self.service.wait_for("callback OnEventNotification", len(self.requests()))
        self.do(f"packets {LOG.hex()}")
        requests = self.requests()
        capture = self.stop()

        self.assertEqual(requests[:13], diag.START_UP_REQUESTS)
        self.assertEqual(requests[13], bytes.fromhex("820000000A000102"))
        self.assertEqual((requests[-1][0], len(requests[-1])), (0x73, 528))
        expected = [(isf.INFORMATION, INFORMATION), (isf.INFORMATION, CONNECTED)]
        for request in requests:
            is_subsystem = request[0] == 0x4B
            expected.append((isf.SUBSYSTEM_REQUEST if is_subsystem else isf.REQUEST, request))
            expected.append(
                (isf.SUBSYSTEM if is_subsystem else isf.PACKET, diag.default_reply(request))
            )
        expected.append((isf.LOG, LOG))
        expected.append((isf.INFORMATION, DISCONNECTED))
        self.assertEqual(
            [
                (item.type, item.text if item.type == isf.INFORMATION else item.packet)
                for item in capture.items
            ],
            expected,
        )
        self.assertEqual(self.printed(), [CONNECTED, DISCONNECTED])

    def test_each_request_is_one_command_of_its_frame(self):
        self.serve(ANSWERING)
        self.begin()
        self.wait_requests(13)
        self.stop()
        self.assertEqual(
            self.service.commands(), [diag.frame(request) for request in diag.START_UP_REQUESTS]
        )

    def test_an_interface_id_in_other_letter_case_is_the_same(self):
        self.serve(ANSWERING)
        self.begin(f"QMBE:{ID.lower()}")
        self.wait_requests(13)
        self.assertIn(f"Port {ID.lower()} connected", self.stop().texts)

    def test_a_session_that_never_opens_leaves_a_valid_file(self):
        self.serve(PRESENT)
        self.assertTrue(self.start())
        self.assertEqual(self.stop().texts, [INFORMATION])
        self.assertEqual(self.printed(), [])

    def test_a_missing_interface_fails_the_start_with_a_valid_file(self):
        self.serve("interface {00000000-0000-0000-0000-000000000001}\n")
        self.assertFalse(self.start())
        self.assertEqual(self.service.trouble(), [])
        self.assertEqual(self.read_capture().texts, [INFORMATION])

    def test_a_closed_service_fails_the_start_with_a_valid_file(self):
        self.serve(PRESENT + "fail OpenCommandSession always 0x8000000C\n")
        self.assertFalse(self.start())
        self.assertEqual(len(self.service.lines("call OpenCommandSession")), 10)
        self.assertEqual(self.service.trouble(), [])
        self.assertEqual(self.read_capture().texts, [INFORMATION])

    def test_a_modem_that_never_confirms_the_end_costs_no_index(self):
        self.serve(ANSWERING + "close-completion withheld\n")
        self.begin()
        self.wait_requests(13)
        self.service.wait_for("callback OnEventNotification", 13)
        # The stop waits the ten seconds of the confirmation that does not come. Only a whole file
        # can be read back.
        asked = time.monotonic()
        capture = self.stop()
        self.assertGreaterEqual(time.monotonic() - asked, 9.5)
        self.assertEqual(self.service.lines("call CloseCommandSession"), [" -> 0x00000000"])
        self.assertEqual(self.service.lines("callback OnCloseCommandSessionComplete"), [])
        self.assertEqual(capture.texts, [INFORMATION, CONNECTED, DISCONNECTED])
        self.assertEqual(
            capture.packets(isf.REQUEST, isf.SUBSYSTEM_REQUEST), diag.START_UP_REQUESTS
        )
        self.assertEqual(self.printed(), [CONNECTED, DISCONNECTED])

    def test_an_interface_that_arrives_later_is_captured_from(self):
        self.serve(ANSWERING + "fail GetInterfaces always 0x80070015\n")
        self.assertTrue(self.start())
        self.arrive()
        self.wait_requests(13)
        self.assertEqual(self.stop().texts, [INFORMATION, CONNECTED, DISCONNECTED])

    def test_notifications_of_several_threads_are_stored_in_order(self):
        self.serve("threads 3\n" + ANSWERING)
        self.begin()
        self.wait_requests(13)
        logs = [LOG + bytes([number]) for number in range(9)]
        for log in logs:
            self.do(f"packets {log.hex()}")
        threads = {
            line.split()[-3] for line in self.service.lines("callback OnEventNotification")
        }
        self.assertEqual(threads, {"1", "2", "3"})
        self.assertEqual(self.stop().packets(isf.LOG), logs)

    def test_it_can_be_repeated_and_the_library_unloaded(self):
        self.serve(ANSWERING)
        for number in range(3):
            self.begin()
            self.wait_requests(13 * (number + 1))
            self.assertEqual(self.stop().texts, [INFORMATION, CONNECTED, DISCONNECTED])
        self.library.ask("unload", answer="unloaded")
        self.assertEqual(self.library.finish(), 0)
        self.assertEqual(set(self.service.lines("unload ")), {"0 0"})


class Pacing(MobileBroadbandTestCase):
    def test_each_request_is_sent_after_the_reply_to_the_one_before(self):
        self.serve(ANSWERING)
        self.begin()
        self.wait_requests(13)
        self.service.wait_for("callback OnEventNotification", 13)
        exchanged = recording.items_of(self.stop())
        self.assertEqual(
            exchanged,
            recording.exchange(
                diag.START_UP_REQUESTS, map(diag.default_reply, diag.START_UP_REQUESTS)
            ),
        )

    def test_a_modem_that_does_not_answer_gets_one_request(self):
        self.serve(PRESENT)
        self.begin()
        self.wait_requests(1)
        self.do(f"packets {LOG.hex()} {LOG.hex()}")
        self.do("packets 60010203")
        self.assertEqual(self.requests(), diag.START_UP_REQUESTS[:1])
        self.stop()

    def test_behind_an_unanswered_request_only_a_reconnect_sends(self):
        self.serve(ANSWERING + "at command 5 zeros 0\n")
        self.begin()
        self.wait_requests(6)
        self.do(f"packets {LOG.hex()}")
        self.assertEqual(self.requests(), diag.START_UP_REQUESTS[:6])

        # Then everything is sent from number 0, up to the one that stays unanswered again.
        self.do(f"remove {ID}")
        self.arrive()
        self.wait_requests(12)
        self.assertEqual(self.requests(), 2 * diag.START_UP_REQUESTS[:6])
        self.stop()

    def test_two_replies_to_one_request_stop_the_sending(self):
        self.serve(ANSWERING + "at command 3 reply-twice\n")
        self.begin()
        self.wait_requests(4)
        self.service.wait_for("callback OnEventNotification", 4)
        self.do(f"packets {LOG.hex()}")
        self.do("packets 600000")
        # Another reply takes the wrapped counter further away from 0.
        self.do(f"packets {UNASKED}")
        self.assertEqual(self.requests(), diag.START_UP_REQUESTS[:4])

        # Only a reconnection sets it back, and then everything is sent from number 0. The fourth
        # request is answered twice again.
        self.do(f"remove {ID}")
        self.arrive()
        self.wait_requests(8)
        self.service.wait_for("callback OnEventNotification", 11)
        self.assertEqual(self.requests(), 2 * diag.START_UP_REQUESTS[:4])
        self.stop()

    def test_replies_that_overtake_requests_do_not_stop_the_set_up(self):
        # Each reply is counted before its request: 0 - 1 + 1. The sender then sends the next one,
        # without any further packet. One of them is the short event reply.
        self.serve(PRESENT + EVENT_REPLY + "at command * reply-overtaking\n")
        self.begin()
        self.assertEqual(self.requests(), diag.START_UP_REQUESTS)
        capture = self.stop()
        # In the file each request stands before its reply all the same.
        self.assertEqual(
            recording.items_of(capture),
            recording.exchange(
                diag.START_UP_REQUESTS, map(diag.default_reply, diag.START_UP_REQUESTS)
            ),
        )

    def test_a_reply_that_overtakes_its_request_frees_the_next_one(self):
        self.serve(PRESENT + EVENT_REPLY + "at command 0 reply-overtaking\nat command * reply\n")
        self.begin()
        self.wait_requests(13)
        capture = self.stop()
        self.assertEqual(self.requests(), diag.START_UP_REQUESTS)
        self.assertEqual(
            recording.items_of(capture)[:3],
            [(isf.REQUEST, b"\x1d"), (isf.PACKET, b"\x1d"), (isf.REQUEST, b"\x00")],
        )

    def test_a_short_event_reply_that_overtakes_answers_once(self):
        # The second one finds the request answered, and leaves the counter alone.
        self.serve(PRESENT + "at command 0 packets-overtaking 600000 600000\n")
        self.begin()
        self.assertEqual(self.requests(), diag.START_UP_REQUESTS[:2])
        # One request is in flight now, and the short reply answers it.
        self.do("packets 600000")
        self.assertEqual(self.requests(), diag.START_UP_REQUESTS[:3])
        self.stop()

    def test_an_unasked_reply_at_zero_wraps_the_counter(self):
        self.serve(PRESENT + f"at command 0 packets-overtaking {UNASKED} {UNASKED}\n")
        self.begin()
        self.do(f"packets {LOG.hex()}")
        self.assertEqual(self.requests(), diag.START_UP_REQUESTS[:1])
        self.stop()

    def test_simultaneous_notifications_send_each_request_once(self):
        # With each reply come packets that are none, all on four threads at once.
        self.serve(
            "threads 4 at-once\n" + ANSWERING + 3 * f"at command * packets {LOG.hex()}\n"
        )
        connections = 10
        self.begin()
        for number in range(1, connections + 1):
            self.wait_requests(13 * number)
            self.service.wait_for("callback OnEventNotification", 4 * 13 * number)
            if number < connections:
                self.do(f"remove {ID}")
                self.arrive()
        capture = self.stop()
        self.assertEqual(self.requests(), connections * diag.START_UP_REQUESTS)
        self.assertEqual(
            capture.packets(isf.REQUEST, isf.SUBSYSTEM_REQUEST),
            connections * diag.START_UP_REQUESTS,
        )
        self.assertEqual(capture.packets(isf.LOG), connections * 3 * 13 * [LOG])

    def test_overtaking_replies_on_several_threads_send_each_once(self):
        self.serve(
            "threads 4 at-once\n"
            + PRESENT
            + EVENT_REPLY
            + 2 * f"at command * packets {LOG.hex()}\n"
            + "at command * reply-overtaking\n"
        )
        self.begin()
        self.wait_requests(13)
        self.service.wait_for("callback OnEventNotification", 3 * 13)
        self.stop()
        self.assertEqual(self.requests(), diag.START_UP_REQUESTS)


class Notifications(MobileBroadbandTestCase):
    def connect(self, scenario=ANSWERING):
        """Starts a capture whose start-up requests are all answered."""
        self.serve(scenario)
        self.begin()
        self.wait_requests(13)
        self.service.wait_for("callback OnEventNotification", 13)

    def test_two_frames_in_one_notification_are_two_items(self):
        self.connect()
        second = LOG + b"2"
        self.do(f"packets {LOG.hex()} {second.hex()}")
        self.assertEqual(self.stop().packets(isf.LOG), [LOG, second])

    def test_a_frame_cut_in_two_notifications_is_lost(self):
        self.connect()
        frame = diag.frame(LOG)
        self.do(f"bytes {frame[:20].hex()}")
        self.do(f"bytes {frame[20:].hex()}")
        self.do(f"packets {(LOG + b'2').hex()}")
        self.assertEqual(self.stop().packets(isf.LOG), [LOG + b"2"])
        # The first half is dropped in silence; the second one is a frame that fails its check.
        self.assertEqual(self.printed(), [CONNECTED, "bad CRC", DISCONNECTED])

    def test_an_incomplete_frame_at_the_end_of_a_block_is_dropped(self):
        self.connect()
        frame = diag.frame(LOG)
        self.do(f"bytes {(frame + frame[:20]).hex()}")
        self.do(f"bytes {frame.hex()}")
        self.assertEqual(self.stop().packets(isf.LOG), [LOG, LOG])
        self.assertEqual(self.printed(), [CONNECTED, DISCONNECTED])

    def test_a_reply_cut_in_two_is_no_reply(self):
        self.serve(ANSWERING + "at command 6 reply-cut 4\n")
        self.begin()
        self.wait_requests(7)
        self.service.wait_for("callback OnEventNotification", 8)
        self.assertEqual(self.requests(), diag.START_UP_REQUESTS[:7])
        self.stop()

    def test_a_notification_that_is_no_data_leaves_no_trace(self):
        self.connect()
        for step in ("zeros 0", "zeros 3", "nothing", "rectangle", "words 4", "zeros 16641"):
            self.do(step)
        self.do(f"stranger {LOG.hex()}")
        capture = self.stop()
        self.assertEqual(len(recording.items_of(capture)), 26)
        self.assertEqual(self.printed(), [CONNECTED, DISCONNECTED])

    def test_a_notification_with_too_many_bytes_answers_no_request(self):
        self.serve(PRESENT)
        self.begin()
        self.do("zeros 16641")
        self.assertEqual(self.requests(), diag.START_UP_REQUESTS[:1])
        self.assertEqual(
            recording.items_of(self.stop()), [recording.request_item(diag.START_UP_REQUESTS[0])]
        )

    def test_a_packet_that_the_store_refuses_is_reported(self):
        self.connect()
        # A frame of nothing but the CRC of nothing: an empty packet, which is a bad item.
        self.do("bytes 7E00007E")
        self.do(f"packets {LOG.hex()}")
        self.assertEqual(self.stop().packets(isf.LOG), [LOG])
        self.assertEqual(self.printed(), [CONNECTED, "error 160 writing item", DISCONNECTED])


class RemovalAndArrival(MobileBroadbandTestCase):
    def test_in_mid_capture_everything_is_sent_again_from_number_0(self):
        self.config.write_text("<EventIDs>0,9</EventIDs>")
        requests = diag.START_UP_REQUESTS + [bytes.fromhex("820000000A000102")]
        self.serve(ANSWERING)
        self.begin()
        self.wait_requests(14)
        self.service.wait_for("callback OnEventNotification", 14)
        self.do(f"remove {ID}")
        self.assertEqual(self.printed(), [CONNECTED, DISCONNECTED])
        self.arrive()
        self.wait_requests(28)
        self.service.wait_for("callback OnEventNotification", 28)
        self.do(f"packets {LOG.hex()}")
        capture = self.stop()
        self.assertEqual(self.requests(), 2 * requests)
        self.assertEqual(
            capture.texts, [INFORMATION, CONNECTED, DISCONNECTED, CONNECTED, DISCONNECTED]
        )
        self.assertEqual(capture.packets(isf.REQUEST, isf.SUBSYSTEM_REQUEST), 2 * requests)
        self.assertEqual(capture.packets(isf.LOG), [LOG])

    def test_a_removal_with_requests_left_drops_them(self):
        self.serve(PRESENT + EVENT_REPLY + "at command 4 zeros 0\nat command * reply\n")
        self.begin()
        self.wait_requests(5)
        self.do(f"remove {ID}")
        self.arrive()
        self.wait_requests(10)
        self.assertEqual(self.requests(), 2 * diag.START_UP_REQUESTS[:5])
        self.stop()

    def test_stopped_without_the_interface_the_file_is_complete(self):
        self.serve(ANSWERING)
        self.begin()
        self.wait_requests(13)
        self.do(f"remove {ID}")
        self.assertEqual(self.stop().texts, [INFORMATION, CONNECTED, DISCONNECTED])
        self.assertEqual(self.service.lines("call CloseCommandSession"), [])

    def test_another_interface_that_comes_and_goes_changes_nothing(self):
        self.serve(ANSWERING)
        self.begin()
        self.wait_requests(13)
        other = "{00000000-0000-0000-0000-000000000001}"
        self.do(f"announce {other} 1")
        self.do(f"announce {other} 0")
        self.assertEqual(self.stop().texts, [INFORMATION, CONNECTED, DISCONNECTED])


class CommandLine(MobileBroadbandTestCase):
    def test_capture_takes_the_device_by_its_interface_id(self):
        prefix = environment.prefix()
        scenario = ANSWERING + "open-completion queued\n"
        self.service = mobile_broadband.Service(prefix, self.files, scenario)
        process = prefix.start(
            environment.programs / "corvane.exe",
            "capture",
            "--device",
            DEVICE,
            "--config",
            wine.windows_path(self.config),
            "--output",
            wine.windows_path(self.output),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
        )
        self.addCleanup(process.kill)
        self.service.wait_for("callback OnEventNotification", 13)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(wine.DEADLINE), 0)
        self.assertEqual(self.service.trouble(), [])
        capture = self.read_capture()
        self.assertEqual(capture.texts, [INFORMATION, CONNECTED, DISCONNECTED])
        self.assertEqual(
            capture.packets(isf.REQUEST, isf.SUBSYSTEM_REQUEST), diag.START_UP_REQUESTS
        )
