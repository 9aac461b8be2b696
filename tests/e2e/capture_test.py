"""corvane.dll in a host process: its two functions, and captures over a COM port."""

import os

from support import diag, environment, isf, recording, wine

INFORMATION = "Corvane version 1.0"


class CaptureTestCase(recording.RecordingTestCase, environment.WineTestCase):
    def setUp(self):
        super().setUp()
        self.port = self.ports.add("COM7")
        self.files = self.folder()
        self.config = self.files / "capture.cfg"
        self.config.write_text("")
        self.output = self.files / "capture.isf"
        self.library = self.host(
            "capture_host.exe",
            wine.windows_path(environment.programs / "corvane.dll"),
            cwd=self.files,
        )

    def start(self, device="COM7", config=None, output=None):
        """Calls CorvaneStart. -> its result"""
        self.capture_begins()
        fields = (
            device,
            wine.windows_path(self.config) if config is None else config,
            wine.windows_path(self.output) if output is None else output,
        )
        return self.library.ask("start", *fields, answer="start (true|false)")[1] == "true"

    def stop(self):
        """Calls CorvaneStop while no port is open."""
        self.library.ask("stop", answer="stopped")

    def wait_connected(self):
        self.library.wait_for("Port COM7 connected")

    def stop_while_connected(self, modem=None):
        """Calls CorvaneStop while the port is open.

        Wine does not end the read that is in progress, so the modem hangs up once the port has been
        closed.
        """
        self.library.send("stop")
        self.library.wait_for("Port COM7 disconnected")
        if modem is not None:
            modem.stop()
        self.port.line.hang_up()
        self.library.wait_for("stopped")

    def unplug(self, modem):
        """Takes the port away, waits until that was noticed, and ends the modem's side."""
        self.port.set_present(False)
        self.library.wait_for("Port COM7 disconnected")
        modem.stop()
        self.port.line.hang_up()

    def path_of_length(self, length, name):
        """A path relative to the host's folder, of `length` characters, that names `name` there."""
        padding = length - len(name)
        return ".\\" * (padding // 2) + "\\" * (padding % 2) + name


class StartAndStop(CaptureTestCase):
    def test_started_and_stopped_without_device_leaves_a_valid_file(self):
        self.assertTrue(self.start())
        self.stop()
        capture = self.read_capture()
        self.assertEqual(len(capture.blocks), 1)
        self.assertEqual(capture.texts, [INFORMATION])
        self.assertEqual(len(capture.items), 1)
        # Header, block, one record with a 1-byte time field, one index entry, trailer.
        record = 1 + 4 + 2 * (len(INFORMATION) + 1)
        self.assertEqual(capture.size, 4 + 57360 + record + 16 + 16)

    def test_a_null_output_path_writes_corvane_isf_in_the_folder(self):
        self.assertTrue(self.start(output="(null)"))
        self.stop()
        self.assertEqual(self.read_capture(self.files / "Corvane.isf").texts, [INFORMATION])

    def test_a_null_device_name_returns_false_and_creates_nothing(self):
        self.assertFalse(self.start(device="(null)"))
        self.assertFalse(self.output.exists())

    def test_a_null_configuration_path_creates_nothing(self):
        self.assertFalse(self.start(config="(null)"))
        self.assertFalse(self.output.exists())

    def test_a_missing_configuration_leaves_an_empty_file(self):
        missing = wine.windows_path(self.files / "missing.cfg")
        self.assertFalse(self.start(config=missing))
        self.assertEqual(self.output.stat().st_size, 0)

    def test_a_missing_configuration_truncates_an_existing_file(self):
        self.output.write_bytes(b"an earlier capture")
        self.assertFalse(self.start(config=wine.windows_path(self.files / "missing.cfg")))
        self.assertEqual(self.output.stat().st_size, 0)

    def test_an_output_that_cannot_be_created_returns_false(self):
        nowhere = wine.windows_path(self.files / "missing" / "capture.isf")
        self.assertFalse(self.start(output=nowhere))
        self.assertEqual(sorted(self.files.iterdir()), [self.config])

    def test_a_device_that_cannot_be_opened_leaves_a_valid_file(self):
        self.assertFalse(self.start(device="QMBE:{00000000-0000-0000-0000-000000000000}"))
        self.assertEqual(self.read_capture().texts, [INFORMATION])

    def test_after_a_failed_start_another_one_succeeds(self):
        self.assertFalse(self.start(config=wine.windows_path(self.files / "missing.cfg")))
        self.assertTrue(self.start())
        self.stop()
        self.assertEqual(self.read_capture().texts, [INFORMATION])

    def test_stop_without_a_capture_returns_at_once(self):
        self.stop()
        self.stop()
        self.assertTrue(self.start())
        self.stop()
        self.stop()
        self.read_capture()

    def test_start_and_stop_can_be_repeated_in_one_process(self):
        for number in range(3):
            output = self.files / f"{number}.isf"
            self.assertTrue(self.start(output=wine.windows_path(output)))
            self.stop()
            self.assertEqual(self.read_capture(output).texts, [INFORMATION])

    def test_a_repeated_capture_leaves_no_files_or_threads_open(self):
        def open_things():
            process = f"/proc/{self.library.pid}"
            return len(os.listdir(f"{process}/fd")), len(os.listdir(f"{process}/task"))

        self.assertTrue(self.start())
        self.stop()
        before = open_things()
        for _ in range(3):
            self.assertTrue(self.start())
            self.stop()
        wine.wait_until(
            lambda: all(now <= then for now, then in zip(open_things(), before)),
            "threads and files given back",
        )

    def test_a_c_program_linked_with_the_import_library_captures(self):
        host = environment.prefix().start(
            environment.programs / "c_host.exe", "COM7", self.config.name, "c.isf", cwd=self.files
        )
        self.assertEqual(host.wait(wine.DEADLINE), 0)
        self.assertEqual(self.read_capture(self.files / "c.isf").texts, [INFORMATION])

    def test_the_library_can_be_unloaded_after_a_capture(self):
        self.assertTrue(self.start())
        self.stop()
        self.library.ask("unload", answer="unloaded")
        self.assertEqual(self.library.finish(), 0)

    def test_a_device_name_of_63_characters_is_accepted(self):
        self.assertTrue(self.start(device="COM" + "7" * 60))
        self.stop()

    def test_paths_of_259_characters_are_accepted(self):
        config = self.path_of_length(259, self.config.name)
        output = self.path_of_length(259, "long.isf")
        self.assertEqual((len(config), len(output)), (259, 259))
        self.assertTrue(self.start(config=config, output=output))
        self.stop()
        self.assertEqual(self.read_capture(self.files / "long.isf").texts, [INFORMATION])

    def child(self, device="COM7", config=None, output="child.isf"):
        """Starts and stops a capture in a process of its own. -> that process's exit status"""
        config = self.config.name if config is None else config
        return self.library.ask("child", device, config, output, answer="exit (.*)")[1]

    def test_a_host_process_that_starts_and_stops_ends_normally(self):
        self.assertEqual(self.child(), "00000000")
        self.assertEqual(self.child(config="missing.cfg"), "00000001")

    def test_a_device_name_of_64_characters_ends_the_process(self):
        self.assertEqual(self.child(device="COM" + "7" * 61), "C0000417")
        self.assertFalse((self.files / "child.isf").exists())

    def test_a_config_path_of_260_characters_ends_the_process(self):
        config = self.path_of_length(260, self.config.name)
        self.assertEqual(self.child(config=config), "C0000417")
        self.assertFalse((self.files / "child.isf").exists())

    def test_an_output_path_of_260_characters_ends_the_process(self):
        output = self.path_of_length(260, "child.isf")
        self.assertEqual(self.child(output=output), "C0000417")
        self.assertFalse((self.files / "child.isf").exists())


class CaptureOverASerialPort(CaptureTestCase):
    def wait_requests(self, modem, count):
        wine.wait_until(lambda: len(modem.requests) >= count, f"{count} requests")

    def test_stopped_while_connected_it_leaves_a_complete_file(self):
        modem = diag.MinimalModem(self.port.plug())
        self.assertTrue(self.start())
        self.wait_connected()
        self.wait_requests(modem, 13)
        self.stop_while_connected(modem)
        self.assertEqual(modem.requests, diag.START_UP_REQUESTS)
        capture = self.read_capture()
        self.assertEqual(
            capture.texts, [INFORMATION, "Port COM7 connected", "Port COM7 disconnected"]
        )
        self.assertEqual(
            capture.packets(isf.REQUEST, isf.SUBSYSTEM_REQUEST), diag.START_UP_REQUESTS
        )

    def test_each_request_is_sent_after_the_reply_to_the_one_before(self):
        modem = diag.MinimalModem(self.port.plug())
        self.assertTrue(self.start())
        self.wait_connected()
        self.wait_requests(modem, 13)
        self.unplug(modem)
        self.stop()
        exchanged = recording.items_of(self.read_capture())
        pairs = recording.exchange(modem.requests, modem.replies)
        # The last reply may have been cut off by the unplugging.
        self.assertEqual(exchanged, pairs[: len(exchanged)])
        self.assertGreaterEqual(len(exchanged), 2 * 13 - 1)

    def test_a_modem_that_does_not_answer_gets_one_request(self):
        modem = diag.MinimalModem(self.port.plug(), reply=lambda request: None)
        self.assertTrue(self.start())
        self.wait_connected()
        self.wait_requests(modem, 1)
        log = bytes.fromhex("10001000100001100102030405060708") + b"the log's own bytes"
        self.port.line.send(diag.frame(log))
        wine.wait_until(lambda: log in self.output.read_bytes(), "the log in the file")
        self.unplug(modem)
        self.stop()
        self.assertEqual(modem.requests, diag.START_UP_REQUESTS[:1])
        self.assertEqual(self.read_capture().packets(isf.LOG), [log])

    def test_a_bad_frame_is_printed_once_and_left_out(self):
        modem = diag.MinimalModem(self.port.plug())
        self.assertTrue(self.start())
        self.wait_connected()
        self.wait_requests(modem, 13)
        logs = [bytes.fromhex("10001000100001100102030405060708") + bytes([n]) for n in range(3)]
        bad = bytearray(diag.frame(logs[1]))
        bad[-2] ^= 1
        self.port.line.send(diag.frame(logs[0]) + bytes(bad) + diag.frame(logs[2]))
        wine.wait_until(lambda: logs[2] in self.output.read_bytes(), "the last log in the file")
        self.stop_while_connected(modem)
        self.assertEqual(self.read_capture().packets(isf.LOG), [logs[0], logs[2]])
        self.assertEqual(self.library.count("bad CRC"), 1)

    def test_a_second_connection_repeats_all_requests_from_number_0(self):
        self.config.write_text("<LogCodes>412F</LogCodes><EventIDs>0,9</EventIDs>")
        event_mask = bytes.fromhex("820000000A000102")
        self.assertTrue(self.start())
        per_connection = []
        for _ in range(2):
            modem = diag.MinimalModem(self.port.plug())
            self.wait_connected()
            self.wait_requests(modem, 15)
            self.unplug(modem)
            per_connection.append(modem.requests)
        self.stop()
        first, second = per_connection
        self.assertEqual(first, second)
        self.assertEqual(first[:13], diag.START_UP_REQUESTS)
        self.assertEqual(first[13], event_mask)
        self.assertEqual((first[14][:1], len(first[14])), (b"\x73", 528))

        capture = self.read_capture()
        connection = ["Port COM7 connected", "Port COM7 disconnected"]
        self.assertEqual(capture.texts, [INFORMATION] + 2 * connection)
        self.assertEqual(
            capture.packets(isf.REQUEST, isf.SUBSYSTEM_REQUEST), first + second
        )

    def test_stopped_without_the_port_it_leaves_a_complete_file(self):
        modem = diag.MinimalModem(self.port.plug())
        self.assertTrue(self.start())
        self.wait_connected()
        self.wait_requests(modem, 1)
        self.unplug(modem)
        self.stop()
        self.assertEqual(
            self.read_capture().texts,
            [INFORMATION, "Port COM7 connected", "Port COM7 disconnected"],
        )

    def test_the_growing_file_can_be_read_by_others(self):
        modem = diag.MinimalModem(self.port.plug())
        self.assertTrue(self.start())
        self.wait_connected()
        self.wait_requests(modem, 13)
        data = self.output.read_bytes()
        for request in diag.START_UP_REQUESTS:
            self.assertIn(request, data)
        self.stop_while_connected(modem)

    def test_a_port_that_connects_is_printed_with_its_name(self):
        modem = diag.MinimalModem(self.port.plug())
        self.assertTrue(self.start())
        self.wait_connected()
        self.stop_while_connected(modem)
        printed = [line for line in self.library.lines if line.startswith("Port ")]
        self.assertEqual(printed, ["Port COM7 connected", "Port COM7 disconnected"])


class CaptureThatReconnects(CaptureTestCase):
    """Wine does not end a blocked read: a reader outlives its connection until its line says more.

    So the reader of a line that stays open and silent is still there when the next line connects.
    """

    def connect(self):
        """Plugs the port in. -> its modem, which has answered every request"""
        modem = diag.MinimalModem(self.port.plug())
        self.answer_all(modem)
        return modem

    def answer_all(self, modem):
        self.wait_connected()
        wine.wait_until(lambda: len(modem.replies) >= 13, "13 requests")

    def reconnect_on_new_line(self, modem):
        """Reconnects on a new line while the old one stays open and silent.

        -> the old line, and the new one's modem
        """
        modem.stop()
        self.port.set_present(False)
        self.library.wait_for("Port COM7 disconnected")
        old_line = self.port.plug_on_new_line()
        self.addCleanup(old_line.hang_up)
        modem = diag.MinimalModem(self.port.line)
        self.answer_all(modem)
        return old_line, modem

    def threads(self):
        return len(os.listdir(f"/proc/{self.library.pid}/task"))

    def wait_for_threads(self, count):
        wine.wait_until(lambda: self.threads() == count, f"{count} threads")

    def test_stop_waits_for_the_reader_of_an_open_and_silent_line(self):
        without_capture = self.threads()
        self.assertTrue(self.start())
        old_line, modem = self.reconnect_on_new_line(self.connect())
        self.library.send("stop")
        self.library.wait_for("Port COM7 disconnected")
        modem.stop()
        self.port.line.hang_up()
        # The session's thread and the reader of the old line.
        self.wait_for_threads(without_capture + 2)
        with self.assertRaises(AssertionError):
            self.library.wait_for("stopped", deadline=1.0)
        old_line.send(b"\x7E")
        self.library.wait_for("stopped")
        self.wait_for_threads(without_capture)
        self.library.ask("unload", answer="unloaded")
        self.assertEqual(self.library.finish(), 0)
        connection = ["Port COM7 connected", "Port COM7 disconnected"]
        self.assertEqual(self.read_capture().texts, [INFORMATION] + 2 * connection)

    def check_that_the_end_of_the_old_reader_leaves_the_new_line_alone(self, end_old_reader):
        self.assertTrue(self.start())
        modem = self.connect()
        connected = self.threads()
        old_line, modem = self.reconnect_on_new_line(modem)
        self.wait_for_threads(connected + 1)
        end_old_reader(old_line)
        self.wait_for_threads(connected)
        log = bytes.fromhex("10001000100001100102030405060708")
        logs = [log + bytes([number]) for number in range(200)]
        for packet in logs:
            self.port.line.send(diag.frame(packet))
        wine.wait_until(lambda: logs[-1] in self.output.read_bytes(), "the last log in the file")
        self.stop_while_connected(modem)
        self.assertEqual(self.read_capture().packets(isf.LOG), logs)
        printed = [line for line in self.library.lines if line.startswith("Port ")]
        self.assertEqual(printed, ["Port COM7 connected", "Port COM7 disconnected"] * 2)

    def test_a_byte_on_the_old_line_ends_only_its_reader(self):
        self.check_that_the_end_of_the_old_reader_leaves_the_new_line_alone(
            lambda old_line: old_line.send(b"\x7E")
        )

    def test_a_hang_up_of_the_old_line_ends_only_its_reader(self):
        self.check_that_the_end_of_the_old_reader_leaves_the_new_line_alone(
            lambda old_line: old_line.hang_up()
        )

    def test_ten_reconnections_leave_no_thread_behind(self):
        self.assertTrue(self.start())
        connected = None
        for _ in range(11):
            modem = self.connect()
            connected = connected or self.threads()
            self.wait_for_threads(connected)
            self.unplug(modem)
        self.stop()
