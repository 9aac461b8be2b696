"""A message for each of Wireshark's dissectors, as short as the standards allow, encoded by hand.

Those of WCDMA system information are filled with zeros where a shorter one is not whole.
"""

import struct


def bits(*pairs):
    """Values of so many bits each, most significant first, filled with zeros to a byte."""
    text = "".join(format(value, f"0{count}b") for value, count in pairs)
    text += "0" * (-len(text) % 8)
    return int(text, 2).to_bytes(len(text) // 8, "big")


def ipv4(payload):
    """A UDP packet from 10.0.0.1 to 10.0.0.2."""
    head = struct.pack(">BBHHHBBH", 0x45, 0, 28 + len(payload), 1, 0, 64, 17, 0)
    head += bytes([10, 0, 0, 1, 10, 0, 0, 2])
    total = sum(struct.unpack(">10H", head))
    total = (total & 0xFFFF) + (total >> 16)
    head = head[:10] + struct.pack(">H", ~total & 0xFFFF) + head[12:]
    return head + struct.pack(">HHHH", 40000, 40001, 8 + len(payload), 0) + payload


def ipv6(payload):
    """Without a next header."""
    head = struct.pack(">IHBB", 0x60000000, len(payload), 59, 64)
    return head + bytes(15) + b"\1" + bytes(15) + b"\2" + payload


SIP = (
    b"OPTIONS sip:a@example.org SIP/2.0\r\nCall-ID: 7@example.org\r\nCSeq: 1 OPTIONS\r\n"
    b"Content-Length: 0\r\n\r\n"
)

# Dissector -> (message, what Wireshark shows).
MESSAGES = {
    # 3GPP TS 36.331
    "lte_rrc.bcch_bch": ("681200", "MasterInformationBlock (SFN=4)"),
    "lte_rrc.bcch_dl_sch": ("30", "SystemInformation [ ]"),
    "lte_rrc.mcch": ("80000000", "MBMSCountingRequest-r10"),
    "lte_rrc.pcch": ("00", "Paging"),
    "lte_rrc.dl_ccch": ("64", "RRCConnectionSetup"),
    "lte_rrc.dl_dcch": ("240000", "RRCConnectionReconfiguration"),
    "lte_rrc.ul_ccch": ("50123456789a", "RRCConnectionRequest"),
    "lte_rrc.ul_dcch": ("1400", "RRCConnectionReconfigurationComplete"),
    "lte_rrc.bcch_bch.nb": ("60000000", "MasterInformationBlock-NB"),
    "lte_rrc.bcch_dl_sch.nb": ("20", "SystemInformation-NB [ ]"),
    "lte_rrc.pcch.nb": ("00", "Paging-NB"),
    "lte_rrc.dl_ccch.nb": ("300000", "RRCConnectionSetup-NB"),
    "lte_rrc.dl_dcch.nb": ("1400", "RRCConnectionReconfiguration-NB"),
    "lte_rrc.ul_ccch.nb": ("20123456789a000000", "RRCConnectionRequest-NB"),
    "lte_rrc.ul_dcch.nb": ("0400", "RRCConnectionReconfigurationComplete-NB"),
    # 3GPP TS 38.331
    "nr-rrc.bcch.bch": ("0a8400", "MIB"),
    "nr-rrc.bcch.dl.sch": ("30", "System Information [ ]"),
    "nr-rrc.dl.ccch": ("240000", "RRC Setup"),
    "nr-rrc.dl.dcch": ("0200", "RRC Reconfiguration"),
    "nr-rrc.mcch": ("0000", "MBS Broadcast Configuration"),
    "nr-rrc.pcch": ("00", "Paging"),
    "nr-rrc.ul.ccch": ("06123456789a00", "RRC Setup Request"),
    "nr-rrc.ul.ccch1": ("00123456789a0000000000", "RRC Resume Request 1"),
    "nr-rrc.ul.dcch": ("11", "RRC Setup Complete"),
    "nr-rrc.rrc_reconf": ("40", "RRC Reconfiguration"),
    "nr-rrc.radiobearerconfig": ("00", "RadioBearerConfig"),
    "nr-rrc.ue_mrdc_cap": ("0000", None),
    "nr-rrc.ue_nr_cap": ("00" * 10, None),
    # 3GPP TS 25.331
    "rrc.ul.ccch": ("20123456780000", "RRCConnectionRequest"),
    "rrc.ul.dcch": ("59", "SignallingConnectionReleaseIndication(ps-domain)"),
    "rrc.dl.ccch": ("2000000000000000", "RRCConnectionRelease-CCCH [cause=normalEvent]"),
    "rrc.dl.dcch": ("3c00", "RRCConnectionRelease [cause=normalEvent]"),
    "rrc.bcch.bch": ("1000", "SystemInformation-BCH"),
    "rrc.bcch.fach": ("40", "SystemInformationChangeIndication"),
    "rrc.pcch": ("00", "PagingType1"),
    "rrc.mcch": ("60", "MBMSUnmodifiedServicesInformation"),
    "rrc.msch": ("00" * 7, "MBMSSchedulingInformation"),
    "rrc.sysinfo.cont": ("00" * 6, None),
    "rrc.si.mib": ("00" * 7, "MasterInformationBlock"),
    "rrc.si.sib1": ("0448d0085008", "SysInfoType 1(cs-domain)"),
    "rrc.si.sib2": ("0000", "SysInfoType 2"),
    "rrc.si.sib3": ("00" * 13, "SysInfoType 3"),
    "rrc.si.sib4": ("00" * 13, "SysInfoType 4"),
    "rrc.si.sib5": ("00" * 13, "SysInfoType 5"),
    "rrc.si.sib5bis": ("00" * 13, "SysInfoType 5bisSysInfoType 5"),
    "rrc.si.sib6": ("0000", "SysInfoType 6"),
    "rrc.si.sib7": ("000000", "SysInfoType 7"),
    "rrc.si.sib8": ("00" * 24, None),
    "rrc.si.sib9": ("0000", None),
    "rrc.si.sib10": ("0000", None),
    "rrc.si.sib11": ("0000", "SysInfoType 11"),
    "rrc.si.sib11bis": ("00", "SysInfoType 11bis"),
    "rrc.si.sib12": ("0000", "SysInfoType 12"),
    "rrc.si.sib13": ("05000000000000", "SysInfoType 13(ps-domain)"),
    "rrc.si.sib13-1": ("0000", "SysInfoType 13.1"),
    "rrc.si.sib13-2": ("0000", "SysInfoType 13.2"),
    "rrc.si.sib13-3": ("0000", "SysInfoType 13.3"),
    "rrc.si.sib13-4": ("0000", "SysInfoType 13.4"),
    "rrc.si.sib14": ("0000", "SysInfoType 14"),
    "rrc.si.sib15": ("00" * 25, "SysInfoType 15"),
    "rrc.si.sib15-1": ("00" * 13, "SysInfoType 15.1"),
    "rrc.si.sib15-2": ("00" * 85, "SysInfoType 15.2"),
    "rrc.si.sib15-3": ("00" * 4, "SysInfoType 15.3"),
    "rrc.si.sib15-4": ("00", "SysInfoType 15.4"),
    "rrc.si.sib15-5": ("00", "SysInfoType 15.5"),
    "rrc.si.sib16": ("00" * 25, "SysInfoType 16"),
    "rrc.si.sib17": ("00", "SysInfoType 17"),
    "rrc.si.sib18": ("00", "SysInfoType 18"),
    "rrc.si.sib19": ("000000", "SysInfoType 19"),
    "rrc.si.sb1": ("00" * 4, "Scheduling Block 1"),
    "rrc.si.sb2": ("00" * 4, "Scheduling Block 2"),
}


def message_of(dissector):
    encoded, name = MESSAGES[dissector]
    return bytes.fromhex(encoded), name
