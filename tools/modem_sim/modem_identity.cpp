#include "modem_sim/modem.h"

namespace corvane::modem_sim {
namespace {

Bytes VersionAnswer() {
  Bytes packet = {kVersion};
  AppendText(packet, "Jan 01 2024");  // compiled: date (11 characters) and time (8)
  AppendText(packet, "00:00:00");
  AppendText(packet, "Jan 01 2024");  // released
  AppendText(packet, "00:00:00");
  AppendText(packet, "CORVSIM1");  // build directory
  // Station class mark, common-air-interface revision, model, firmware revision (16 bits), slot
  // cycle index, hardware version (major, minor).
  AppendBytes(packet, Bytes{0x2A, 0x06, 0x51, 0x01, 0x00, 0x02, 0x01, 0x00});
  return packet;
}

Bytes StatusAnswer() {
  Bytes packet = {kStatus, 0, 0, 0};
  AppendU32(packet, 0x80C0FFEE);  // electronic serial number
  AppendU16(packet, 5);           // radio mode: WCDMA
  packet.resize(packet.size() + 22, 0);
  return packet;
}

Bytes StateAnswer() {
  Bytes packet = {kStateQuery};
  AppendU32(packet, 0x80C0FFEE);
  packet.resize(28, 0);
  return packet;
}

Bytes ExtendedBuildAnswer() {
  Bytes packet = {kExtendedBuild, 2, 0, 0};
  AppendU32(packet, 0x00010000);  // chip revision
  AppendU32(packet, 0x00000051);  // model
  AppendText(packet, "SIM.1.0-00001");
  packet.push_back(0);
  AppendText(packet, "Simulated modem");
  packet.push_back(0);
  return packet;
}

}  // namespace

std::optional<Bytes> IdentityAnswer(std::uint8_t command, std::uint64_t time) {
  switch (command) {
    case kVersion:
      return VersionAnswer();
    case kStatus:
      return StatusAnswer();
    case kDiagVersion:
      return Bytes{kDiagVersion, 8, 0};
    case kTimeStamp: {
      Bytes packet = {kTimeStamp};
      AppendU64(packet, time);
      return packet;
    }
    case kStateQuery:
      return StateAnswer();
    case kExtendedBuild:
      return ExtendedBuildAnswer();
    default:
      return std::nullopt;
  }
}

std::optional<Bytes> SubsystemAnswer(ByteView request) {
  struct sReport {
    std::uint8_t subsystem;
    std::uint16_t command;
    Bytes content;
  };
  static const std::vector<sReport> kReports = {
      // Call manager: no call, online, WCDMA, automatic mode and band preference.
      {0x0F, 0, {0, 0, 0, 0, 5, 0, 0, 0, 5, 0, 0, 0, 4, 0, 0, 0, 0xFF, 0xFF, 0, 0}},
      // UMTS: attached, registered PLMN 001-01.
      {0x09, 0, {1, 0x00, 0xF1, 0x10, 0, 0, 0, 0}},
      // GSM: not camped; no channel.
      {0x08, 0, {0, 0xFF, 0xFF}},
      {0x08, 1, {0, 0, 0, 0}},
      // WCDMA: connected state, uplink and downlink UARFCN 9612 and 10562, cell.
      {0x04, 0, {1, 0x8C, 0x25, 0x42, 0x29, 0x10, 0x00, 0, 0}},
      {0x04, 0x0F, {0, 0, 0, 0}},
  };
  for (const sReport& report : kReports) {
    if (report.subsystem == request[1] && report.command == ReadU16(request, 2)) {
      Bytes packet(request.begin(), request.begin() + 4);
      AppendBytes(packet, report.content);
      return packet;
    }
  }
  return std::nullopt;
}

const std::vector<sSsidRange>& SsidRanges() {
  static const std::vector<sSsidRange> kRanges = {
      {0, 130},     {500, 506},   {1000, 1007}, {2000, 2008}, {3000, 3014},
      {4000, 4010}, {4500, 4584}, {4600, 4616}, {5000, 5036}, {5500, 5517}};
  return kRanges;
}

}  // namespace corvane::modem_sim
