"""The serial transport against a real registry and real COM ports."""

import termios

from support import environment, wine


class SerialPort(environment.WineTestCase):
    def setUp(self):
        super().setUp()
        self.port = self.ports.add("COM7")
        self.transport = self.host("com_io_host.exe")

    def open(self, name="COM7"):
        """Opens the transport. -> the host's tick count just before"""
        return int(self.transport.ask("open", name, answer=r"open true (\d+)")[1])

    def wait_connected(self):
        return int(self.transport.wait_for(r"connected (\d+)")[1])

    def wait_disconnected(self):
        return int(self.transport.wait_for(r"disconnected (\d+)")[1])

    def handler_calls(self):
        return [line.split()[0] for line in self.transport.lines if "connected" in line]

    def close_transport(self):
        self.transport.ask("close", answer="closed")

    def test_a_present_port_is_opened_after_a_second_not_at_once(self):
        self.port.plug()
        opened = self.open()
        self.assertGreaterEqual(self.wait_connected() - opened, 1000)
        self.transport.ask("isopen", answer="isopen true")

    def test_a_port_that_comes_later_is_opened(self):
        self.open()
        self.transport.ask("isopen", answer="isopen false")
        self.port.plug()
        self.wait_connected()

    def test_the_port_is_found_among_decoys(self):
        others = [self.ports.add(name) for name in ("COM17", "COM8", "com7x", "COM")]
        nameless = self.ports.add()
        odd_links = [
            self.ports.add("COM7", symbolic_link=link)
            for link in ("", r"\\?\USB", r"\\?\USB#VID_C0DA&PID_0001", "###")
        ]
        for other in others:
            other.plug()
        for absent_of_line in [nameless, *odd_links]:
            absent_of_line.set_present(True)
        self.port.plug()
        self.open()
        self.wait_connected()

        self.transport.ask("write", "1D1C3B7E", answer="write true")
        self.assertEqual(self.port.line.receive(wine.DEADLINE), bytes.fromhex("1D1C3B7E"))
        for other in others:
            self.assertTrue(
                other.line.input_flags() & termios.IXON, f"{other.name} was not opened"
            )

    def test_unplugged_and_plugged_in_it_is_reported_once_each(self):
        self.port.plug()
        self.open()
        for _ in range(2):
            self.wait_connected()
            self.port.set_present(False)
            self.wait_disconnected()
            self.transport.ask("isopen", answer="isopen false")
            self.port.line.hang_up()
            self.port.plug()
        self.wait_connected()
        self.assertEqual(self.handler_calls(), ["connected", "disconnected"] * 2 + ["connected"])

    def test_the_line_has_eight_bits_and_no_flow_control(self):
        line = self.port.plug()
        self.assertTrue(line.input_flags() & termios.IXON)
        self.assertTrue(line.input_flags() & termios.IXOFF)
        self.open()
        self.wait_connected()
        self.assertEqual(line.control_flags() & termios.CSIZE, termios.CS8)
        self.assertFalse(line.input_flags() & (termios.IXON | termios.IXOFF))

    def test_open_twice_says_so_and_returns_false(self):
        self.open()
        self.transport.ask("open", "COM7", answer=r"open false \d+")
        self.assertEqual(self.transport.count("WatchPortThread already started"), 1)
        self.port.plug()
        self.wait_connected()

    def test_close_while_connected_reports_one_disconnection(self):
        self.port.plug()
        self.open()
        self.wait_connected()
        self.close_transport()
        self.close_transport()
        self.assertEqual(self.handler_calls(), ["connected", "disconnected"])
        self.transport.ask("isopen", answer="isopen false")

    def test_close_while_the_port_is_absent_reports_nothing(self):
        self.open()
        self.close_transport()
        self.close_transport()
        self.assertEqual(self.handler_calls(), [])

    def test_closed_it_can_be_opened_for_another_port(self):
        other = self.ports.add("COM8")
        self.open()
        self.close_transport()
        other.plug()
        self.open("COM8")
        self.wait_connected()

    def test_a_failed_write_closes_the_port_and_opens_the_next(self):
        self.port.plug()
        self.open()
        self.wait_connected()
        self.port.line.hang_up()
        self.transport.ask("write", "1D1C3B7E", answer="write false")
        self.assertEqual(self.handler_calls(), ["connected", "disconnected"])
        self.port.relink()
        self.wait_connected()

    def test_a_short_write_closes_the_port_and_is_reported(self):
        self.port.plug()
        self.open()
        self.wait_connected()
        self.port.line.fill_towards_modem()
        self.transport.ask("write", "7E", answer="write false")
        self.assertEqual(self.handler_calls()[:2], ["connected", "disconnected"])

    def test_writes_reach_the_modem_unchanged(self):
        self.port.plug()
        self.open()
        self.wait_connected()
        every_byte = bytes(range(256))
        self.transport.ask("write", every_byte.hex(), answer="write true")
        received = b""
        while len(received) < len(every_byte):
            piece = self.port.line.receive(wine.DEADLINE)
            self.assertTrue(piece)
            received += piece
        self.assertEqual(received, every_byte)

    def test_the_present_ports_can_be_listed(self):
        self.ports.add("COM8").set_present(True)
        self.ports.add("COM9")
        self.ports.add().set_present(True)
        # Found by a link of its own: what the decoys with odd links stand on.
        own_link = r"\\?\USB#VID_C0DA&PID_0001#0005#other"
        self.ports.add("COM10", symbolic_link=own_link).set_present(True)
        self.port.plug()
        self.transport.ask("list", answer="listed")
        listed = sorted(line for line in self.transport.lines if line.startswith("port\t"))
        self.assertEqual(
            listed,
            [
                "port\tCOM10\tDIAG port 0005",
                "port\tCOM7\tDIAG port 0001",
                "port\tCOM8\tDIAG port 0002",
            ],
        )
