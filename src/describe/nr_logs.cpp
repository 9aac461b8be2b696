#include <algorithm>
#include <array>
#include <vector>

#include "describe/nr_messages.h"
#include "describe/signalling_log.h"

namespace corvane {
namespace {

constexpr std::uint16_t kRrcLog = 0xB821;

// The fields of an NR RRC log that stand at the same place in all versions. The version has 32
// bits, PCI 16.
constexpr std::size_t kVersion = 0;
constexpr std::size_t kBearer = 6;
constexpr std::size_t kPci = 7;

// Where the others stand in some versions; 0 stands for no version and no such field. NCGI has 64
// bits, NR-ARFCN 32, a channel 8, a length 16, a segment 8.
struct sRrcLayout {
  std::array<std::uint8_t, 4> versions;
  std::uint8_t ncgi;
  std::uint8_t arfcn;
  std::uint8_t channel;
  std::uint8_t length;
  std::uint8_t segment;
  std::uint8_t message;
};

constexpr std::array<sRrcLayout, 5> kRrcLayouts = {{
    // versions, NCGI, NR-ARFCN, channel, length, segment, message
    {{7, 8, 9}, 0, 9, 17, 22, 0, 24},
    {{12, 14}, 0, 9, 16, 21, 0, 23},
    {{17}, 9, 17, 24, 29, 0, 31},
    {{19, 20, 25}, 0, 17, 24, 29, 0, 32},
    {{23, 24, 26, 28}, 0, 17, 24, 29, 34, 35},
}};

// The first nine are channels of the radio interface. Behind them are messages that come within
// those of LTE (or of other messages), each logged as if it had a channel of its own.
constexpr std::array<sLogChannel, 14> kRrcChannels = {{
    {"BCCH-BCH", eSyntax::NrBcchBch, eLink::Downlink},
    {"BCCH-DL-SCH", eSyntax::NrBcchDlSch, eLink::Downlink},
    {"DL-CCCH", eSyntax::NrDlCcch, eLink::Downlink},
    {"DL-DCCH", eSyntax::NrDlDcch, eLink::Downlink},
    {"MCCH", eSyntax::NrMcch, eLink::Downlink},
    {"PCCH", eSyntax::NrPcch, eLink::Downlink},
    {"UL-CCCH", eSyntax::NrUlCcch, eLink::Uplink},
    {"UL-CCCH1", eSyntax::NrUlCcch1, eLink::Uplink},
    {"UL-DCCH", eSyntax::NrUlDcch, eLink::Uplink},
    {"RRC reconfiguration", eSyntax::NrReconfiguration, eLink::Downlink},
    {"RRC reconfiguration complete", eSyntax::NrReconfigurationComplete, eLink::Uplink},
    {"radio bearer configuration", eSyntax::NrRadioBearerConfig, eLink::Downlink},
    {"MR-DC capability", eSyntax::NrMrdcCapability, eLink::Uplink},
    {"NR capability", eSyntax::NrCapability, eLink::Uplink},
}};
constexpr const sLogChannel& kUlDcch = kRrcChannels[8];
constexpr const sLogChannel& kNrCapability = kRrcChannels[13];

// Of the channels above, in their order.
using RrcChannelNumbers = sChannelNumbers<3, kRrcChannels.size()>;

constexpr std::array<RrcChannelNumbers, 8> kRrcChannelNumbers = {{
    {{7}, {1, 2, 3, 4, 0, 5, 6, 7, 8, 9, 10, 24}},
    {{8}, {1, 2, 3, 4, 0, 5, 6, 7, 8, 9, 10, 26}},
    {{9, 12}, {1, 2, 3, 4, 0, 5, 6, 7, 8, 9, 10, 25, 28, 29}},
    {{14}, {1, 2, 3, 4, 0, 5, 6, 7, 8, 9, 10, 28, 31, 32}},
    {{17, 19, 25}, {1, 2, 3, 4, 0, 5, 6, 7, 8, 9, 10, 29}},
    {{20, 23, 24}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 36}},
    {{26}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 36}},
    {{28}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 36}},
}};

// Channels that have a second number in a version.
struct sSecondNumber {
  std::uint8_t version;
  std::uint8_t number;
  const sLogChannel& channel;
};

constexpr std::array<sSecondNumber, 2> kSecondNumbers = {{
    {14, 33, kNrCapability},
    {28, 10, kUlDcch},
}};

// Null for a version of which nothing is known.
[[nodiscard]] const sRrcLayout* FindRrcLayout(std::uint32_t version) {
  return FindRow(kRrcLayouts, [version](const sRrcLayout& layout) {
    return version != 0 && std::ranges::count(layout.versions, version) > 0;
  });
}

// Null for a channel of which nothing is known.
[[nodiscard]] const sLogChannel* FindRrcChannel(std::uint32_t version, std::uint8_t number) {
  const auto* const second = FindRow(kSecondNumbers, [=](const sSecondNumber& row) {
    return row.version == version && row.number == number;
  });
  return second != nullptr ? &second->channel
                           : FindChannel(kRrcChannelNumbers, kRrcChannels, version, number);
}

// Five bits in front of the message, 00001, and three zero bits behind it.
[[nodiscard]] std::vector<std::uint8_t> AsUlDcch(std::span<const std::uint8_t> bare) {
  constexpr unsigned kChoiceBits = 5;
  std::vector<std::uint8_t> message;
  message.reserve(bare.size() + 1);
  unsigned carried = 0b00001;
  for (const std::uint8_t byte : bare) {
    carried = carried << 8 | byte;
    message.push_back(static_cast<std::uint8_t>(carried >> kChoiceBits));
    carried &= (1u << kChoiceBits) - 1;
  }
  message.push_back(static_cast<std::uint8_t>(carried << (8 - kChoiceBits)));
  return message;
}

void DescribeRrcMessage(const cFields& payload, const sRrcLayout& layout,
                        const sLogChannel& channel, std::uint16_t length,
                        sDescription& description) {
  DescribeMessage(payload, layout.message, length, channel, description);
  if (layout.segment != 0) {
    DescribeSegment(payload.Byte(layout.segment).value_or(0), description);
  }
  if (description.signalling) {
    description.signalling->radioBearer = payload.Byte(kBearer);
    // What is put in front belongs to the whole message: segments stay bare.
    if (description.signalling->segment == eSegment::Whole) {
      PutIntoChannel(*description.signalling);
    }
  }
}

void DescribeRrc(const cFields& payload, sDescription& description) {
  const auto version = payload.Long(kVersion);
  description.version = version;
  const sRrcLayout* const layout = version ? FindRrcLayout(*version) : nullptr;
  if (layout == nullptr) {
    return;
  }
  sCell cell;
  cell.physicalCell = payload.Word(kPci);
  if (layout->ncgi != 0) {
    cell.globalIdentity = payload.Quad(layout->ncgi);
  }
  cell.frequency = payload.Long(layout->arfcn);
  TellCell(cell, description);
  const auto number = payload.Byte(layout->channel);
  const auto length = payload.Word(layout->length);
  if (!number || !length) {
    return;
  }
  if (const sLogChannel* const channel = FindRrcChannel(*version, *number)) {
    DescribeRrcMessage(payload, *layout, *channel, *length, description);
  } else {
    TellChannel(*number, description);
  }
}

// 5GS NAS logs: the version in bytes 0 to 3, the release in 4 to 6, the message behind.
struct sNasLog {
  std::uint16_t logCode;
  sLogChannel channel;
};

constexpr std::uint32_t kNasVersion = 1;
constexpr std::size_t kNasMessage = 7;

constexpr std::array<sNasLog, 7> kNasLogs = {{
    {0xB800, {"", eSyntax::NrNas, eLink::Downlink}},  // 5GSM, plain
    {0xB801, {"", eSyntax::NrNas, eLink::Uplink}},    // 5GSM, plain
    {0xB808, {"", eSyntax::NrNas, eLink::Downlink}},  // 5GMM, secured
    {0xB809, {"", eSyntax::NrNas, eLink::Uplink}},    // 5GMM, secured
    {0xB80A, {"", eSyntax::NrNas, eLink::Downlink}},  // 5GMM, plain
    {0xB80B, {"", eSyntax::NrNas, eLink::Uplink}},    // 5GMM, plain
    {0xB814, {"", eSyntax::NrNas, /*link=*/{}}},      // container, of either link
}};

void DescribeNas(const sNasLog& log, const cFields& payload, sDescription& description) {
  description.version = payload.Long(kVersion);
  if (description.version == kNasVersion) {
    DescribeRest(payload, kNasMessage, log.channel, description);
  }
}

}  // namespace

void PutIntoChannel(sSignalling& signalling) {
  if (signalling.syntax == eSyntax::NrReconfigurationComplete) {
    signalling.syntax = eSyntax::NrUlDcch;
    signalling.message = AsUlDcch(signalling.message);
  }
}

bool DescribeNrLog(std::uint16_t logCode, const cFields& payload, sDescription& description) {
  const auto* const nas =
      FindRow(kNasLogs, [logCode](const sNasLog& log) { return log.logCode == logCode; });
  if (nas != nullptr) {
    DescribeNas(*nas, payload, description);
  } else if (logCode == kRrcLog) {
    DescribeRrc(payload, description);
  } else {
    return false;
  }
  description.technology = eTechnology::Nr;
  return true;
}

}  // namespace corvane
