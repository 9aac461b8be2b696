"""Wireshark files for tests, written and read apart from the code under test, and tshark itself.

pcapng        files of that format, block by block
exported_pdu  frames of link type 252, which name their dissector
tshark        what tshark shows of many frames, in one run
"""
