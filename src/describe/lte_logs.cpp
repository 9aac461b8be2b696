#include <algorithm>
#include <array>

#include "describe/signalling_log.h"

namespace corvane {
namespace {

constexpr std::uint16_t kRrcLog = 0xB0C0;
constexpr std::uint16_t kCellInformationLog = 0xB197;

// Where the fields of an LTE RRC log stand, by the version in its first byte. A channel is a byte;
// PCI, frame and length have 16 bits.
struct sRrcLayout {
  std::uint8_t firstVersion;
  std::uint8_t lastVersion;
  std::uint8_t bearer;
  std::uint8_t pci;
  std::uint8_t earfcn;
  std::uint8_t earfcnSize;
  std::uint8_t frame;  // SFN << 4 | subframe
  std::uint8_t channel;
  std::uint8_t length;
  std::uint8_t segment;  // 0: no such field
  std::uint8_t message;
};

constexpr std::array<sRrcLayout, 5> kRrcLayouts = {{
    // versions, bearer, PCI, EARFCN and its size, frame, channel, length, segment, message
    {2, 4, 3, 4, 6, 2, 8, 10, 11, 0, 13},
    {5, 7, 3, 4, 6, 2, 8, 10, 15, 0, 17},
    {8, 24, 3, 4, 6, 4, 10, 12, 17, 0, 19},
    {25, 29, 5, 6, 8, 4, 12, 14, 19, 0, 21},
    {30, 31, 5, 6, 8, 4, 12, 14, 19, 23, 24},
}};

constexpr std::array<sLogChannel, 15> kRrcChannels = {{
    {"BCCH-BCH", eSyntax::LteBcchBch, eLink::Downlink},
    {"BCCH-DL-SCH", eSyntax::LteBcchDlSch, eLink::Downlink},
    {"MCCH", eSyntax::LteMcch, eLink::Downlink},
    {"PCCH", eSyntax::LtePcch, eLink::Downlink},
    {"DL-CCCH", eSyntax::LteDlCcch, eLink::Downlink},
    {"DL-DCCH", eSyntax::LteDlDcch, eLink::Downlink},
    {"UL-CCCH", eSyntax::LteUlCcch, eLink::Uplink},
    {"UL-DCCH", eSyntax::LteUlDcch, eLink::Uplink},
    {"BCCH-BCH-NB", eSyntax::LteNbBcchBch, eLink::Downlink},
    {"BCCH-DL-SCH-NB", eSyntax::LteNbBcchDlSch, eLink::Downlink},
    {"PCCH-NB", eSyntax::LteNbPcch, eLink::Downlink},
    {"DL-CCCH-NB", eSyntax::LteNbDlCcch, eLink::Downlink},
    {"DL-DCCH-NB", eSyntax::LteNbDlDcch, eLink::Downlink},
    {"UL-CCCH-NB", eSyntax::LteNbUlCcch, eLink::Uplink},
    {"UL-DCCH-NB", eSyntax::LteNbUlDcch, eLink::Uplink},
}};

// Of the channels above, in their order. The numbers of versions that are not here are not known.
using RrcChannelNumbers = sChannelNumbers<8, kRrcChannels.size()>;

constexpr std::array<RrcChannelNumbers, 5> kRrcChannelNumbers = {{
    {{2, 3, 4, 6, 7, 8, 13, 22}, {1, 2, 3, 4, 5, 6, 7, 8}},
    {{9, 12}, {8, 9, 10, 11, 12, 13, 14, 15}},
    {{14, 15, 16}, {1, 2, 4, 5, 6, 7, 8, 9}},
    {{20, 24, 25}, {1, 2, 4, 5, 6, 7, 8, 9, 54, 55, 56, 57, 58, 59, 61}},
    {{19, 26, 27, 29, 30, 31}, {1, 3, 6, 7, 8, 9, 10, 11, 45, 46, 47, 48, 49, 50, 52}},
}};

// Null for a version of which the layout is not known.
[[nodiscard]] const sRrcLayout* FindRrcLayout(std::uint8_t version) {
  return FindRow(kRrcLayouts, [version](const sRrcLayout& layout) {
    return layout.firstVersion <= version && version <= layout.lastVersion;
  });
}

[[nodiscard]] sCell RrcCell(const cFields& payload, const sRrcLayout& layout) {
  sCell cell;
  cell.physicalCell = payload.Word(layout.pci);
  if (layout.earfcnSize == 2) {
    cell.frequency = payload.Word(layout.earfcn);
  } else {
    cell.frequency = payload.Long(layout.earfcn);
  }
  if (const auto frame = payload.Word(layout.frame)) {
    cell.systemFrame = *frame >> 4;
    cell.subframe = *frame & 0xF;
  }
  return cell;
}

void DescribeRrc(const cFields& payload, sDescription& description) {
  const auto version = payload.Byte(0);
  description.version = version;
  const sRrcLayout* const layout = version ? FindRrcLayout(*version) : nullptr;
  if (layout == nullptr) {
    return;
  }
  TellCell(RrcCell(payload, *layout), description);
  const auto number = payload.Byte(layout->channel);
  const auto length = payload.Word(layout->length);
  if (!number || !length) {
    return;
  }
  const sLogChannel* const channel =
      FindChannel(kRrcChannelNumbers, kRrcChannels, *version, *number);
  if (channel == nullptr) {
    TellChannel(*number, description);
    return;
  }
  DescribeMessage(payload, layout->message, *length, *channel, description);
  if (description.signalling) {
    description.signalling->radioBearer = payload.Byte(layout->bearer);
    if (layout->segment != 0) {
      DescribeSegment(payload.Byte(layout->segment).value_or(0), description);
    }
  }
}

// LTE NAS logs: the version in byte 0, the release in 1 to 3, the message behind.
struct sNasLog {
  std::uint16_t logCode;
  sLogChannel channel;
};

constexpr std::uint8_t kNasVersion = 1;
constexpr std::size_t kNasMessage = 4;

constexpr std::uint16_t kSecuredEmmOut = 0xB0EB;

constexpr std::array<sNasLog, 8> kNasLogs = {{
    {0xB0E0, {"", eSyntax::LteNas, eLink::Downlink}},
    {0xB0E1, {"", eSyntax::LteNas, eLink::Uplink}},
    {0xB0E2, {"", eSyntax::LteNasPlain, eLink::Downlink}},
    {0xB0E3, {"", eSyntax::LteNasPlain, eLink::Uplink}},
    {0xB0EA, {"", eSyntax::LteNas, eLink::Downlink}},
    {kSecuredEmmOut, {"", eSyntax::LteNas, eLink::Uplink}},
    {0xB0EC, {"", eSyntax::LteNasPlain, eLink::Downlink}},
    {0xB0ED, {"", eSyntax::LteNasPlain, eLink::Uplink}},
}};

// The log of secured EMM messages has eight zero bytes after each attach accept.
[[nodiscard]] bool IsFiller(std::uint16_t logCode, const cFields& payload) {
  constexpr std::size_t kFillerSize = 8;
  if (logCode != kSecuredEmmOut || payload.Behind(kNasMessage) != kFillerSize) {
    return false;
  }
  const auto message = payload.Bytes(kNasMessage, kFillerSize);
  return std::ranges::all_of(*message, [](std::uint8_t byte) { return byte == 0; });
}

void DescribeNas(const sNasLog& log, const cFields& payload, sDescription& description) {
  description.version = payload.Byte(0);
  if (description.version != kNasVersion) {
    return;
  }
  if (IsFiller(log.logCode, payload)) {
    LeaveOut("zero bytes in place of a message", description);
    return;
  }
  DescribeRest(payload, kNasMessage, log.channel, description);
}

// Where a cell-information log has the master information block, whose three bytes stand in
// reverse, and the cell. The PCI has 9 bits.
struct sCellInformationLayout {
  std::uint8_t version;
  std::uint8_t earfcn;
  std::uint8_t earfcnSize;
  std::uint8_t pci;
  std::uint8_t lastMibByte;
};

constexpr std::array<sCellInformationLayout, 2> kCellInformationLayouts = {{
    {1, 4, 2, 6, 25},
    {2, 4, 4, 8, 29},
}};
constexpr std::size_t kMibSize = 3;
constexpr std::uint16_t kPciMask = 0x1FF;

void DescribeCellInformation(const cFields& payload, sDescription& description) {
  const auto version = payload.Byte(0);
  description.version = version;
  const auto* const layout =
      FindRow(kCellInformationLayouts,
              [version](const sCellInformationLayout& row) { return row.version == version; });
  if (layout == nullptr) {
    return;
  }
  sCell cell;
  if (layout->earfcnSize == 2) {
    cell.frequency = payload.Word(layout->earfcn);
  } else {
    cell.frequency = payload.Long(layout->earfcn);
  }
  if (const auto pci = payload.Word(layout->pci)) {
    cell.physicalCell = *pci & kPciMask;
  }
  TellCell(cell, description);
  if (const auto reversed = payload.Bytes(layout->lastMibByte, kMibSize)) {
    const std::array<std::uint8_t, kMibSize> mib = {(*reversed)[2], (*reversed)[1], (*reversed)[0]};
    description.signalling = MakeSignalling(kRrcChannels[0], mib);
  }
}

}  // namespace

bool DescribeLteLog(std::uint16_t logCode, const cFields& payload, sDescription& description) {
  const auto* const nas =
      FindRow(kNasLogs, [logCode](const sNasLog& log) { return log.logCode == logCode; });
  if (nas != nullptr) {
    DescribeNas(*nas, payload, description);
  } else if (logCode == kRrcLog) {
    DescribeRrc(payload, description);
  } else if (logCode == kCellInformationLog) {
    DescribeCellInformation(payload, description);
  } else {
    return false;
  }
  description.technology = eTechnology::Lte;
  return true;
}

}  // namespace corvane
