"""What all tests of one run share: the prefix and its COM ports, made at the first use."""

import pathlib
import shutil
import tempfile
import unittest

from support import com_ports, wine

# The folder of the Windows programs; set by run.py.
programs = pathlib.Path()

_prefix = None
_ports = None


def prefix():
    global _prefix
    if _prefix is None:
        _prefix = wine.WinePrefix()
    return _prefix


def ports():
    global _ports
    if _ports is None:
        _ports = com_ports.ComPorts(prefix(), programs)
    return _ports


def close():
    global _prefix, _ports
    if _ports is not None:
        _ports.close()
        _ports = None
    if _prefix is not None:
        _prefix.close()
        _prefix = None


class WineTestCase(unittest.TestCase):
    """A test with COM ports and host programs; afterwards none of them is left."""

    def setUp(self):
        self.ports = ports()
        self.addCleanup(self.ports.remove_all)

    def folder(self):
        """A new folder for the files of this test."""
        path = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, path)
        return path

    def host(self, program, *arguments, cwd=None):
        """Starts a host program."""
        started = wine.HostProcess(prefix(), programs / program, *arguments, cwd=cwd)
        self.addCleanup(started.kill)
        return started
