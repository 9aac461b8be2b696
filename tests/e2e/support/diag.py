"""DIAG framing as the modem sees it, and a minimal modem for one COM port."""

import threading

FLAG = 0x7E
ESCAPE = 0x7D

# The requests that open every connection, in this order.
START_UP_REQUESTS = [
    bytes.fromhex(text)
    for text in (
        "1D 00 7C 1C 0C 63 4B0F0000 4B090000 4B080000 4B080100 4B040000 4B040F00 6001".split()
    )
]


def crc16_x25(data):
    """CRC-16/X.25, bit by bit."""
    crc = 0xFFFF
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = (crc >> 1) ^ (0x8408 if crc & 1 else 0)
    return crc ^ 0xFFFF


assert crc16_x25(b"123456789") == 0x906E


def frame(packet):
    """The frame that carries `packet`."""
    framed = bytearray()
    for byte in packet + crc16_x25(packet).to_bytes(2, "little"):
        if byte in (FLAG, ESCAPE):
            framed += bytes([ESCAPE, byte ^ 0x20])
        else:
            framed.append(byte)
    framed.append(FLAG)
    return bytes(framed)


def unframe(body):
    """The packet in `body`, a frame without its closing flag; fails on a wrong CRC."""
    unstuffed = bytearray()
    pending = iter(body)
    for byte in pending:
        unstuffed.append(next(pending) ^ 0x20 if byte == ESCAPE else byte)
    packet, crc = bytes(unstuffed[:-2]), int.from_bytes(unstuffed[-2:], "little")
    if crc != crc16_x25(packet):
        raise AssertionError(f"frame with a wrong CRC: {bytes(body).hex()}")
    return packet


def default_reply(request):
    """What the minimal modem answers: the event-reporting request as a modem does, others as they
    came."""
    return bytes.fromhex("600000") if request[:1] == b"\x60" else request


class MinimalModem:
    """Answers every request that arrives at one end of a com_ports.Line, on a thread of its own.

    `requests` is what has arrived so far, in order; `replies` what was sent for it.
    """

    def __init__(self, line, reply=default_reply):
        self.requests = []
        self.replies = []
        self.trouble = None  # an exception that ended it
        self._line = line
        self._reply = reply
        self._stopping = threading.Event()
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def _run(self):
        try:
            self._answer()
        except Exception as trouble:  # pylint: disable=broad-except
            self.trouble = trouble

    def _answer(self):
        received = b""
        while not self._stopping.is_set():
            received += self._line.receive(0.02)
            while FLAG in received:
                body, _, received = received.partition(bytes([FLAG]))
                request = unframe(body)
                self.requests.append(request)
                reply = self._reply(request)
                if reply is not None:
                    # Counted first: whoever sees the reply's effect finds it here.
                    self.replies.append(reply)
                    self._line.send(frame(reply))

    def stop(self):
        """Stops answering; fails when it had to stop before."""
        self._stopping.set()
        self._thread.join()
        if self.trouble is not None:
            raise self.trouble
