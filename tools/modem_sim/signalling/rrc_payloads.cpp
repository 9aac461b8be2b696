#include <algorithm>
#include <array>

#include "modem_sim/signalling/log_payloads.h"

// The RRC logs of LTE and NR, whose layouts have changed with their versions.
namespace corvane::modem_sim {
namespace {

constexpr std::uint32_t kFrameNumber = 0x155;

// The numbers of the channels, in the order of eLteChannel.
struct sLteNumbers {
  std::vector<std::uint8_t> versions;
  std::array<std::uint8_t, 7> channels;
};

const std::vector<sLteNumbers>& LteNumbers() {
  static const std::vector<sLteNumbers> numbers = {
      {{2, 3, 4, 6, 7, 8, 13, 22}, {1, 2, 4, 5, 6, 7, 8}},
      {{9, 12}, {8, 9, 11, 12, 13, 14, 15}},
      {{14, 15, 16, 20, 24, 25}, {1, 2, 5, 6, 7, 8, 9}},
      {{19, 26, 27, 29, 30, 31}, {1, 3, 7, 8, 9, 10, 11}},
  };
  return numbers;
}

std::uint8_t LteChannelNumber(std::uint8_t version, eLteChannel channel) {
  for (const sLteNumbers& numbers : LteNumbers()) {
    if (std::find(numbers.versions.begin(), numbers.versions.end(), version) !=
        numbers.versions.end()) {
      return numbers.channels[static_cast<std::size_t>(channel)];
    }
  }
  return 0;
}

bool Contains(std::initializer_list<std::uint8_t> versions, std::uint8_t version) {
  return std::find(versions.begin(), versions.end(), version) != versions.end();
}

// Which of the two numberings of 0xB821 a version has. 26 and 28 depart from the later one.
bool IsLaterNumbering(std::uint8_t version) { return Contains({20, 23, 24, 26, 28}, version); }

std::uint8_t NrRadioBearerNumber(std::uint8_t version) {
  switch (version) {
    case 7:
      return 24;
    case 8:
      return 26;
    case 9:
    case 12:
      return 25;
    case 14:
      return 28;
    case 17:
    case 19:
    case 25:
      return 29;
    default:
      return 36;
  }
}

std::uint8_t NrChannelNumber(std::uint8_t version, eNrChannel channel) {
  static constexpr std::array<std::uint8_t, 9> kEarlier = {1, 2, 3, 4, 5, 6, 8, 9, 10};
  static constexpr std::array<std::uint8_t, 9> kLater = {1, 2, 3, 4, 6, 7, 9, 10, 11};
  if (channel == eNrChannel::RadioBearers) {
    return NrRadioBearerNumber(version);
  }
  const auto place = static_cast<std::size_t>(channel);
  if (!IsLaterNumbering(version)) {
    return kEarlier[place];
  }
  const bool isReconfiguration =
      channel == eNrChannel::Reconfiguration || channel == eNrChannel::ReconfigurationComplete;
  return static_cast<std::uint8_t>(kLater[place] + (version >= 26 && isReconfiguration ? 1 : 0));
}

// Fills `payload` with zeros up to the field at `offset`.
void SkipTo(Bytes& payload, std::size_t offset) { payload.resize(offset, 0); }

}  // namespace

const std::vector<std::uint8_t>& LteRrcVersions() {
  // The common ones first, of each layout one.
  static const std::vector<std::uint8_t> versions = {8,  26, 15, 30, 20, 9,  13, 24, 2,  6,  19,
                                                     27, 31, 3,  4,  7,  12, 14, 16, 22, 25, 29};
  return versions;
}

bool LteRrcHasSegments(std::uint8_t version) { return version >= 30; }

Bytes LteRrcPayload(std::uint8_t version, eLteChannel channel, const sServingCell& cell,
                    eSegment segment, ByteView message) {
  const bool dedicated = channel == eLteChannel::DlDcch || channel == eLteChannel::UlDcch;
  Bytes payload = {version, 15, 0};  // the RRC release
  if (version >= 25) {
    AppendBytes(payload, Bytes{15, 0});  // and that of NR
  }
  payload.push_back(dedicated ? 1 : 0);  // radio bearer
  AppendU16(payload, cell.physicalCell);
  if (version < 8) {
    AppendU16(payload, cell.frequency);
  } else {
    AppendU32(payload, cell.frequency);
  }
  AppendU16(payload, kFrameNumber << 4 | 5);
  payload.push_back(LteChannelNumber(version, channel));
  if (version >= 5) {
    AppendU32(payload, 0);  // SIB mask
  }
  AppendU16(payload, static_cast<std::uint32_t>(message.size()));
  if (LteRrcHasSegments(version)) {
    AppendBytes(payload, Bytes{0, 0, segment});
  }
  AppendBytes(payload, message);
  return payload;
}

const std::vector<std::uint8_t>& NrRrcVersions() {
  static const std::vector<std::uint8_t> versions = {8,  26, 17, 23, 9,  20, 12,
                                                     14, 19, 28, 7,  24, 25};
  return versions;
}

bool NrRrcHasSegments(std::uint8_t version) { return Contains({23, 24, 26, 28}, version); }

Bytes NrRrcPayload(std::uint8_t version, eNrChannel channel, const sServingCell& cell,
                   eSegment segment, ByteView message) {
  const bool dedicated = channel == eNrChannel::DlDcch || channel == eNrChannel::UlDcch;
  Bytes payload;
  AppendU32(payload, version);
  SkipTo(payload, 6);
  payload.push_back(dedicated ? 1 : 0);  // radio bearer
  AppendU16(payload, cell.physicalCell);
  if (version >= 17) {
    AppendU64(payload, cell.cellIdentity);  // NCGI
  }
  AppendU32(payload, cell.frequency);
  SkipTo(payload, version >= 17 ? 24 : version >= 12 ? 16 : 17);
  payload.push_back(NrChannelNumber(version, channel));
  SkipTo(payload, payload.size() + 4);
  AppendU16(payload, static_cast<std::uint32_t>(message.size()));
  if (NrRrcHasSegments(version)) {
    AppendBytes(payload, Bytes{0, 0, 0, segment});
  } else if (version >= 19) {
    payload.push_back(0);
  }
  AppendBytes(payload, message);
  return payload;
}

}  // namespace corvane::modem_sim
