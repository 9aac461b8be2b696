"""COM ports backed by pseudo-terminals, and the registry entries by which they are found."""

import os
import pty
import select
import termios
import time
import tty

from support import wine

INTERFACE_CLASS = "{86e0d1e0-8089-11d0-9ce4-08003e301f73}"
_ENUM = r"System\CurrentControlSet\Enum\USB"
_INTERFACES = rf"System\CurrentControlSet\Control\DeviceClasses\{INTERFACE_CLASS}"
# Hardware ID of every device of these tests; clean-up takes all of it.
_HARDWARE = "VID_C0DA&PID_0001"


class Line:
    """One pseudo-terminal: the modem's end (`master`) and the end that a COM port links to."""

    def __init__(self):
        self.master, self.slave = pty.openpty()
        tty.setraw(self.slave)
        self.path = os.ttyname(self.slave)
        # Until a program sets the line, it has what a plugged-in port would have to switch off.
        attributes = termios.tcgetattr(self.slave)
        attributes[0] |= termios.IXON | termios.IXOFF
        termios.tcsetattr(self.slave, termios.TCSANOW, attributes)
        os.set_blocking(self.master, False)

    def input_flags(self):
        return termios.tcgetattr(self.slave)[0]

    def control_flags(self):
        return termios.tcgetattr(self.slave)[2]

    def send(self, data):
        """Writes all of `data` to the port."""
        while data:
            _, writable, _ = select.select([], [self.master], [], wine.DEADLINE)
            if not writable:
                raise AssertionError("the port takes no more data")
            data = data[os.write(self.master, data) :]

    def receive(self, timeout):
        """What has come from the port, after waiting up to `timeout` seconds for some."""
        readable, _, _ = select.select([self.master], [], [], timeout)
        if not readable:
            return b""
        try:
            return os.read(self.master, 65536)
        except OSError:
            return b""

    def fill_towards_modem(self):
        """Leaves no room for another byte from the port to the modem."""
        os.set_blocking(self.slave, False)
        refusals = 0
        # The kernel moves bytes on after it has refused one, and then has room again.
        while refusals < 50:
            try:
                os.write(self.slave, b"\x00")
                refusals = 0
            except BlockingIOError:
                refusals += 1
                time.sleep(0.002)

    def hang_up(self):
        """The modem's end goes away, as when it is switched off."""
        if self.master >= 0:
            os.close(self.master)
            os.close(self.slave)
            self.master = self.slave = -1


class ComPort:
    """A device interface of the COM-port class; with a name and a line it is a usable port."""

    def __init__(self, ports, instance, name=None, symbolic_link=None):
        self._ports = ports
        self.name = name
        self.line = None
        self._instance = instance
        self._device = rf"{_ENUM}\{_HARDWARE}\{instance}"
        identity = f"USB#{_HARDWARE}#{instance}#{INTERFACE_CLASS}"
        # An interface key in the usual spelling gets its link from the key's own name; a key in any
        # other spelling keeps the link that is stored in it.
        usual = symbolic_link is None
        key_name = f"##?#{identity}" if usual else f"other-{instance}"
        self._interface = rf"{_INTERFACES}\{key_name}"
        agent = ports.agent
        agent.string(self._device, "ClassGUID", "{4d36e978-e325-11ce-bfc1-08002be10318}")
        agent.string(self._device, "Class", "Ports")
        agent.string(self._device, "DeviceDesc", f"DIAG port {instance}")
        agent.key(rf"{self._device}\Device Parameters")
        if name is not None:
            agent.string(rf"{self._device}\Device Parameters", "PortName", name)
        agent.string(self._interface, "DeviceInstance", rf"USB\{_HARDWARE}\{instance}")
        link = rf"\\?\{identity}" if usual else symbolic_link
        agent.string(rf"{self._interface}\#", "SymbolicLink", link)
        self.set_present(False)

    def set_present(self, present):
        """Makes the interface present or absent at the next scan."""
        self._ports.agent.number(rf"{self._interface}\#\Control", "Linked", int(present))

    def plug(self):
        """Gives the port a new line and makes it present. -> the line"""
        self.relink()
        self.set_present(True)
        return self.line

    def plug_on_new_line(self):
        """Gives the port a new line and makes it present; the line it had stays open.

        -> the line it had, which is the caller's
        """
        earlier, self.line = self.line, None
        self.plug()
        return earlier

    def relink(self):
        """Gives the port a new line, whether or not it is present. -> the line"""
        if self.line is not None:
            self.line.hang_up()
        self.line = Line()
        self.link.unlink(missing_ok=True)
        self.link.symlink_to(self.line.path)
        return self.line

    @property
    def link(self):
        """Where the prefix looks for the port's line: a link to a pseudo-terminal."""
        return self._ports.prefix.path / "dosdevices" / self.name.lower()

    def remove(self):
        self._ports.agent.delete(self._interface)
        if self.name is not None:
            self.link.unlink(missing_ok=True)
        if self.line is not None:
            self.line.hang_up()


class RegistryAgent:
    """tests/e2e/hosts/registry_agent.cpp: changes keys under HKEY_LOCAL_MACHINE at once."""

    def __init__(self, prefix, programs):
        self._host = wine.HostProcess(prefix, programs / "registry_agent.exe")

    def string(self, key, name, text):
        self._host.ask("string", key, name, text, answer="ok")

    def number(self, key, name, value):
        self._host.ask("number", key, name, str(value), answer="ok")

    def key(self, key):
        self._host.ask("key", key, answer="ok")

    def delete(self, key):
        self._host.ask("delete", key, answer="ok|error 2")

    def close(self):
        self._host.finish()


class ComPorts:
    """The COM ports of one prefix. `programs` is the folder with the host programs."""

    def __init__(self, prefix, programs):
        self.prefix = prefix
        self.agent = RegistryAgent(prefix, programs)
        self._ports = []
        # What a run that was killed has left.
        self.agent.delete(rf"{_ENUM}\{_HARDWARE}")
        self.agent.delete(_INTERFACES)

    def add(self, name=None, symbolic_link=None):
        """A new interface, absent for now. Without a name its device has no "PortName"."""
        port = ComPort(self, f"{len(self._ports) + 1:04}", name, symbolic_link)
        self._ports.append(port)
        return port

    def remove_all(self):
        for port in self._ports:
            port.remove()
        self._ports.clear()
        self.agent.delete(rf"{_ENUM}\{_HARDWARE}")

    def close(self):
        self.remove_all()
        self.agent.close()
