#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "describe/description.h"
#include "describe/message_table.h"
#include "diag/little_endian.h"
#include "diag/packets.h"
#include "support/bytes.h"

namespace corvane {
namespace {

using Fields = std::map<std::string, std::string>;

// Wireshark's dissectors and the syntaxes that they stand for.
const std::map<std::string, eSyntax>& Dissectors() {
  static const std::map<std::string, eSyntax> dissectors = {
      {"lte_rrc.bcch_bch", eSyntax::LteBcchBch},
      {"lte_rrc.bcch_dl_sch", eSyntax::LteBcchDlSch},
      {"lte_rrc.mcch", eSyntax::LteMcch},
      {"lte_rrc.pcch", eSyntax::LtePcch},
      {"lte_rrc.dl_ccch", eSyntax::LteDlCcch},
      {"lte_rrc.dl_dcch", eSyntax::LteDlDcch},
      {"lte_rrc.ul_ccch", eSyntax::LteUlCcch},
      {"lte_rrc.ul_dcch", eSyntax::LteUlDcch},
      {"lte_rrc.bcch_bch.nb", eSyntax::LteNbBcchBch},
      {"lte_rrc.bcch_dl_sch.nb", eSyntax::LteNbBcchDlSch},
      {"lte_rrc.pcch.nb", eSyntax::LteNbPcch},
      {"lte_rrc.dl_ccch.nb", eSyntax::LteNbDlCcch},
      {"lte_rrc.dl_dcch.nb", eSyntax::LteNbDlDcch},
      {"lte_rrc.ul_ccch.nb", eSyntax::LteNbUlCcch},
      {"lte_rrc.ul_dcch.nb", eSyntax::LteNbUlDcch},
      {"nas-eps_plain", eSyntax::LteNasPlain},
      {"nas-eps", eSyntax::LteNas},
      {"nas-5gs", eSyntax::NrNas},
      {"nr-rrc.bcch.bch", eSyntax::NrBcchBch},
      {"nr-rrc.bcch.dl.sch", eSyntax::NrBcchDlSch},
      {"nr-rrc.dl.ccch", eSyntax::NrDlCcch},
      {"nr-rrc.dl.dcch", eSyntax::NrDlDcch},
      {"nr-rrc.mcch", eSyntax::NrMcch},
      {"nr-rrc.pcch", eSyntax::NrPcch},
      {"nr-rrc.ul.ccch", eSyntax::NrUlCcch},
      {"nr-rrc.ul.ccch1", eSyntax::NrUlCcch1},
      {"nr-rrc.ul.dcch", eSyntax::NrUlDcch},
      {"nr-rrc.rrc_reconf", eSyntax::NrReconfiguration},
      {"nr-rrc.radiobearerconfig", eSyntax::NrRadioBearerConfig},
      {"nr-rrc.ue_mrdc_cap", eSyntax::NrMrdcCapability},
      {"nr-rrc.ue_nr_cap", eSyntax::NrCapability},
      {"rrc.ul.ccch", eSyntax::WcdmaUlCcch},
      {"rrc.ul.dcch", eSyntax::WcdmaUlDcch},
      {"rrc.dl.ccch", eSyntax::WcdmaDlCcch},
      {"rrc.dl.dcch", eSyntax::WcdmaDlDcch},
      {"rrc.bcch.bch", eSyntax::WcdmaBcchBch},
      {"rrc.bcch.fach", eSyntax::WcdmaBcchFach},
      {"rrc.pcch", eSyntax::WcdmaPcch},
      {"rrc.mcch", eSyntax::WcdmaMcch},
      {"rrc.msch", eSyntax::WcdmaMsch},
      {"rrc.sysinfo.cont", eSyntax::WcdmaSystemInformationContainer},
      {"gsm_a_dtap", eSyntax::GsmLayer3},
      {"gsm_a_ccch", eSyntax::GsmPseudoLength},
      {"data", eSyntax::GsmAccessBurst},
      {"gsm_rlcmac_dl", eSyntax::GprsRlcMacDownlink},
      {"gsm_rlcmac_ul", eSyntax::GprsRlcMacUplink},
      {"ip", eSyntax::Ip},
      {"sip", eSyntax::Sip},
  };
  return dissectors;
}

[[nodiscard]] ByteVector FromHex(std::string_view hex) {
  ByteVector bytes(hex.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char* const digits = hex.data() + 2 * i;
    EXPECT_EQ(std::from_chars(digits, digits + 2, bytes[i], 16).ptr, digits + 2) << hex;
  }
  return bytes;
}

struct sRow {
  std::string what;
  ByteVector packet;
  std::string dissector;
  std::string link;
  ByteVector message;
  std::string info;  // what Wireshark's Info column shows; "-" where that is nothing
  Fields fields;
};

[[nodiscard]] std::vector<std::string> Split(const std::string& line, char separator) {
  std::vector<std::string> columns;
  std::istringstream stream(line);
  for (std::string column; std::getline(stream, column, separator);) {
    columns.push_back(column);
  }
  return columns;
}

[[nodiscard]] Fields ParseFields(const std::string& text) {
  Fields fields;
  if (text == "-") {
    return fields;
  }
  for (const std::string& field : Split(text, ' ')) {
    const std::size_t equals = field.find('=');
    std::string value = field.substr(equals + 1);
    std::ranges::replace(value, '_', ' ');
    fields[field.substr(0, equals)] = value;
  }
  return fields;
}

// The columns of each line of a table that make_signalling_packets.py writes, without its headline.
[[nodiscard]] std::vector<std::vector<std::string>> ReadTable(const char* path,
                                                              std::size_t columnCount) {
  std::ifstream file(path);
  EXPECT_TRUE(file.is_open());
  std::vector<std::vector<std::string>> table;
  for (std::string line; std::getline(file, line);) {
    if (line.ends_with('\r')) {
      line.pop_back();
    }
    table.push_back(Split(line, '\t'));
    EXPECT_EQ(table.back().size(), columnCount) << line;
  }
  EXPECT_GT(table.size(), 1u);
  table.erase(table.begin());
  return table;
}

[[nodiscard]] std::vector<sRow> ReadRows() {
  std::vector<sRow> rows;
  for (const std::vector<std::string>& columns : ReadTable(CORVANE_SIGNALLING_PACKETS, 7)) {
    rows.push_back({columns[0], FromHex(columns[1]), columns[2], columns[3], FromHex(columns[4]),
                    columns[5], ParseFields(columns[6])});
  }
  return rows;
}

[[nodiscard]] const std::vector<sRow>& Rows() {
  static const std::vector<sRow> rows = ReadRows();
  return rows;
}

template <typename Value>
void Tell(const std::string& name, const std::optional<Value>& value, Fields& fields) {
  if (value) {
    fields[name] = std::to_string(*value);
  }
}

[[nodiscard]] Fields FieldsOf(const sDescription& description) {
  Fields fields;
  const sCell cell = description.cell.value_or(sCell{});
  Tell("cell", cell.physicalCell, fields);
  Tell("frequency", cell.frequency, fields);
  Tell("ncgi", cell.globalIdentity, fields);
  Tell("frame", cell.systemFrame, fields);
  Tell("subframe", cell.subframe, fields);
  const sSignalling signalling = description.signalling.value_or(sSignalling{});
  Tell("bearer", signalling.radioBearer, fields);
  Tell("sib", signalling.sibType, fields);
  if (!signalling.channel.empty()) {
    fields["channel"] = signalling.channel;
  }
  if (signalling.segment != eSegment::Whole) {
    fields["segment"] = std::to_string(signalling.segmentNumber);
    fields["last"] = signalling.segment == eSegment::Last ? "yes" : "no";
    if (signalling.syntax == eSyntax::Ip) {
      fields["number"] = std::to_string(signalling.packetNumber);
    }
  }
  return fields;
}

// Blocks have a dissector for each SIB type, which the row's fields name.
[[nodiscard]] std::optional<eSyntax> SyntaxOf(const std::string& dissector) {
  if (dissector.starts_with("rrc.si.")) {
    return eSyntax::WcdmaSystemInformationBlock;
  }
  const auto found = Dissectors().find(dissector);
  return found == Dissectors().end() ? std::nullopt : std::optional(found->second);
}

[[nodiscard]] eTechnology TechnologyOf(const std::string& what) {
  static const std::map<std::string, eTechnology> technologies = {
      {"GSM", eTechnology::Gsm},    {"GPRS", eTechnology::Gsm}, {"WCDMA", eTechnology::Wcdma},
      {"UMTS", eTechnology::Wcdma}, {"LTE", eTechnology::Lte},  {"NR", eTechnology::Nr},
      {"5GS", eTechnology::Nr},     {"IP", eTechnology::Ip},    {"IP,", eTechnology::Ip},
      {"IMS", eTechnology::Ims}};
  const auto found = technologies.find(what.substr(0, what.find(' ')));
  return found == technologies.end() ? eTechnology::None : found->second;
}

[[nodiscard]] std::string LinkOf(const sSignalling& signalling) {
  if (!signalling.link) {
    return "-";
  }
  return *signalling.link == eLink::Uplink ? "up" : "down";
}

TEST(SignallingPacketsTest, EveryLayoutAndChannelIsUnderstood) {
  ASSERT_GT(Rows().size(), 600u);
  for (const sRow& row : Rows()) {
    SCOPED_TRACE(row.what);
    const sDescription description = DescribePacket(row.packet, eSender::Modem);
    EXPECT_FALSE(description.cutOff);
    EXPECT_FALSE(description.leftOut);
    EXPECT_EQ(description.details, "");
    ASSERT_TRUE(description.signalling);
    EXPECT_EQ(description.signalling->syntax, SyntaxOf(row.dissector)) << row.dissector;
    EXPECT_EQ(description.technology, TechnologyOf(row.what)) << row.what;
    EXPECT_EQ(description.signalling->message, row.message);
    EXPECT_EQ(LinkOf(*description.signalling), row.link);
    EXPECT_EQ(FieldsOf(description), row.fields);
  }
}

TEST(SignallingPacketsTest, TheNameIsOneThatWiresharkShows) {
  for (const sRow& row : Rows()) {
    SCOPED_TRACE(row.what);
    const sDescription description = DescribePacket(row.packet, eSender::Modem);
    ASSERT_TRUE(description.signalling);
    const std::string_view name = description.signalling->messageName;
    if (description.signalling->segmentNumber > 1) {
      EXPECT_EQ(name, "");
    } else if (row.info != "-" && row.dissector != "ip") {  // of IP the column shows ports
      EXPECT_NE(name, "");
      EXPECT_THAT(LettersAndDigits(row.info), testing::HasSubstr(LettersAndDigits(name)));
    }
  }
}

// The packet's first bytes, where nothing can be read beyond them without the sanitizers' seeing
// it.
[[nodiscard]] ByteVector Cut(const ByteVector& packet, std::size_t size) {
  return {packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(size)};
}

TEST(SignallingPacketsTest, ACutMessageIsNotShown) {
  for (const sRow& row : Rows()) {
    SCOPED_TRACE(row.what);
    for (std::size_t size = 1; size < row.packet.size(); ++size) {
      const sDescription description = DescribePacket(Cut(row.packet, size), eSender::Modem);
      EXPECT_TRUE(description.cutOff) << size;
      EXPECT_FALSE(description.leftOut) << size;
      EXPECT_NE(description.cell, sCell{}) << size;
      if (description.signalling) {
        // Only what stands behind the message is gone.
        EXPECT_EQ(description.signalling->message, row.message) << size;
      }
    }
  }
}

// Logs without a length field: their messages end where the packet ends.
[[nodiscard]] bool GoesToTheEnd(const sRow& row) {
  return row.dissector.starts_with("nas-") || row.dissector == "ip";
}

// The log packet's length covers what is there: the message's own field tells that it is cut off.
TEST(SignallingPacketsTest, AMessageBeyondItsPacketIsNotShown) {
  for (const sRow& row : Rows()) {
    if (GoesToTheEnd(row)) {
      continue;
    }
    SCOPED_TRACE(row.what);
    for (std::size_t size = log_packet::kHeaderSize; size < row.packet.size(); ++size) {
      ByteVector cut = Cut(row.packet, size);
      Store16(&cut[log_packet::kLength], static_cast<std::uint16_t>(size - 4));
      Store16(&cut[log_packet::kLengthAgain], static_cast<std::uint16_t>(size - 4));
      const sDescription description = DescribePacket(cut, eSender::Modem);
      if (description.signalling) {
        EXPECT_EQ(description.signalling->message, row.message) << size;
      } else {
        EXPECT_TRUE(description.cutOff) << size;
      }
    }
  }
}

// A field of a packet, and which of its values are understood.
struct sGap {
  std::string what;
  ByteVector packet;
  std::size_t field = 0;       // where it stands
  std::set<unsigned> known;    // with these there may be a message
  std::set<unsigned> hasCell;  // with these the cell is told
};

[[nodiscard]] std::set<unsigned> ParseNumbers(const std::string& text) {
  std::set<unsigned> numbers;
  if (text != "-") {
    for (const std::string& number : Split(text, ',')) {
      numbers.insert(static_cast<unsigned>(std::stoul(number)));
    }
  }
  return numbers;
}

[[nodiscard]] std::vector<sGap> ReadGaps() {
  std::vector<sGap> gaps;
  for (const std::vector<std::string>& columns : ReadTable(CORVANE_SIGNALLING_GAPS, 4)) {
    std::string packet = columns[1];
    const std::size_t place = packet.find("**");
    packet.replace(place, 2, "00");
    gaps.push_back({columns[0], FromHex(packet), place / 2, ParseNumbers(columns[2]),
                    ParseNumbers(columns[3])});
  }
  return gaps;
}

TEST(SignallingPacketsTest, WhatIsNotKnownIsNotShown) {
  for (const sGap& gap : ReadGaps()) {
    for (unsigned value = 0; value <= 0xFF; ++value) {
      SCOPED_TRACE(gap.what + " " + std::to_string(value));
      ByteVector packet = gap.packet;
      packet[gap.field] = static_cast<std::uint8_t>(value);
      const sDescription description = DescribePacket(packet, eSender::Modem);
      EXPECT_EQ(description.cell.has_value(), gap.hasCell.contains(value));
      if (!gap.known.contains(value)) {
        EXPECT_FALSE(description.signalling);
        EXPECT_FALSE(description.leftOut);
      }
    }
  }
}

// A log packet whose length fields fit.
[[nodiscard]] ByteVector LogPacket(std::uint16_t code, ByteVector payload) {
  ByteVector packet(log_packet::kHeaderSize);
  packet[0] = command::kLog;
  const auto length =
      static_cast<std::uint16_t>(packet.size() + payload.size() - log_packet::kUncountedBytes);
  Store16(&packet[log_packet::kLength], length);
  Store16(&packet[log_packet::kLengthAgain], length);
  Store16(&packet[log_packet::kLogCode], code);
  packet.insert(packet.end(), payload.begin(), payload.end());
  return packet;
}

TEST(SignallingPacketsTest, WhatIsMeantToBeNoMessageIsLeftOut) {
  const ByteVector filler = {1, 15, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const ByteVector internal = {0xFF, 0x20, 2, 0x94, 0x2B};
  ByteVector empty(19);
  empty[0] = 8;   // version
  empty[12] = 6;  // DL-DCCH
  const std::vector<std::pair<ByteVector, std::string>> packets = {
      {LogPacket(0xB0EB, filler), "zero bytes in place of a message"},
      {LogPacket(0x5226, internal), "internal message"},
      {LogPacket(0xB0C0, empty), "DL-DCCH, empty message"},
      {LogPacket(0x5230, {0, 3, 0, 0}), "empty message"},
      {LogPacket(0x412F, {0xFE, 0, 1, 0, 3}), "SIB from BCH, empty message"},
      {LogPacket(0x412F, {0xFE, 0, 0, 0}), "SIB from BCH, empty message"},
  };
  for (const auto& [packet, why] : packets) {
    const sDescription description = DescribePacket(packet, eSender::Modem);
    EXPECT_TRUE(description.leftOut) << why;
    EXPECT_FALSE(description.signalling) << why;
    EXPECT_FALSE(description.cutOff) << why;
    EXPECT_EQ(description.details, why);
  }
}

TEST(SignallingPacketsTest, OnlyEightZeroBytesAreFiller) {
  const auto isShown = [](std::uint16_t code, ByteVector payload) {
    const sDescription description = DescribePacket(LogPacket(code, payload), eSender::Modem);
    EXPECT_FALSE(description.leftOut);
    return description.signalling.has_value();
  };
  EXPECT_TRUE(isShown(0xB0EB, {1, 15, 2, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
  EXPECT_TRUE(isShown(0xB0EB, {1, 15, 2, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_TRUE(isShown(0xB0EB, {1, 15, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_TRUE(isShown(0xB0EA, {1, 15, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(SignallingPacketsTest, ACutMessageSaysHowMuchIsThere) {
  ByteVector payload(19 + 12);
  payload[0] = 8;
  payload[12] = 6;
  payload[17] = 40;
  const sDescription description = DescribePacket(LogPacket(0xB0C0, payload), eSender::Modem);
  EXPECT_TRUE(description.cutOff);
  EXPECT_EQ(description.details, "DL-DCCH, 12 of 40 bytes");
  EXPECT_EQ(description.version, 8u);
  EXPECT_TRUE(description.cell);
}

TEST(SignallingPacketsTest, AnUnknownChannelIsTold) {
  ByteVector payload(19 + 12);
  payload[0] = 8;
  payload[12] = 77;
  payload[17] = 12;
  const sDescription description = DescribePacket(LogPacket(0xB0C0, payload), eSender::Modem);
  EXPECT_EQ(description.details, "channel 77");
  EXPECT_FALSE(description.cutOff);
}

// The bits of its channel go in front of the whole message.
TEST(SignallingPacketsTest, SegmentsOfAReconfigurationCompleteAreBare) {
  for (const std::uint8_t segment : ByteVector{1, 2, 6, 7, 0}) {
    ByteVector payload(35);
    payload[0] = 26;   // version
    payload[24] = 12;  // RRC reconfiguration complete
    payload[29] = 2;   // length
    payload[34] = segment;
    payload.insert(payload.end(), {0xAB, 0xCD});
    const sDescription description = DescribePacket(LogPacket(0xB821, payload), eSender::Modem);
    ASSERT_TRUE(description.signalling) << unsigned{segment};
    const sSignalling& told = *description.signalling;
    EXPECT_EQ(told.segmentNumber, segment);
    EXPECT_EQ(told.channel, "RRC reconfiguration complete");
    EXPECT_EQ(told.link, eLink::Uplink);
    if (segment == 0) {
      EXPECT_EQ(told.syntax, eSyntax::NrUlDcch);
      EXPECT_EQ(told.message, (ByteVector{0x0D, 0x5E, 0x68}));
    } else {
      EXPECT_EQ(told.syntax, eSyntax::NrReconfigurationComplete);
      EXPECT_EQ(told.message, (ByteVector{0xAB, 0xCD}));
    }
    EXPECT_EQ(told.messageName, segment <= 1 ? "RRC reconfiguration complete" : "");
  }
}

// NAS messages of LTE and of 5GS, which go to the end of their packets.
TEST(SignallingPacketsTest, WhatIsBehindALogsLengthIsNoMessage) {
  const std::vector<std::pair<std::uint16_t, ByteVector>> packets = {
      {0xB0ED, {1, 15, 2, 0}}, {0xB80B, {1, 0, 0, 0, 15, 2, 0}}};
  const ByteVector message = {0x07, 0x5E, 0x01};
  for (auto [code, payload] : packets) {
    payload.insert(payload.end(), message.begin(), message.end());
    const ByteVector whole = LogPacket(code, payload);
    ByteVector longer = whole;
    longer.insert(longer.end(), {0xDE, 0xAD});
    const auto length = static_cast<std::uint16_t>(whole.size() - log_packet::kUncountedBytes);
    // The larger of the two counts: one may be wrong.
    for (const auto& [first, second] : std::vector<std::pair<std::uint16_t, std::uint16_t>>{
             {length, length}, {length, 0}, {0, length}, {length, 11}}) {
      Store16(&longer[log_packet::kLength], first);
      Store16(&longer[log_packet::kLengthAgain], second);
      const sDescription told = DescribePacket(longer, eSender::Modem);
      ASSERT_TRUE(told.signalling) << code << ' ' << first << ' ' << second;
      EXPECT_EQ(told.signalling->message, message) << code << ' ' << first << ' ' << second;
      EXPECT_FALSE(told.cutOff);
    }
    // A length that does not reach behind the header is none, nor is one beyond the packet.
    for (const std::uint16_t none : {std::uint16_t{0}, std::uint16_t{11}}) {
      Store16(&longer[log_packet::kLength], none);
      Store16(&longer[log_packet::kLengthAgain], none);
      const sDescription told = DescribePacket(longer, eSender::Modem);
      ASSERT_TRUE(told.signalling) << code << ' ' << none;
      EXPECT_EQ(told.signalling->message.size(), message.size() + 2) << code << ' ' << none;
    }
    Store16(&longer[log_packet::kLength], length);
    Store16(&longer[log_packet::kLengthAgain], static_cast<std::uint16_t>(length + 3));
    const sDescription told = DescribePacket(longer, eSender::Modem);
    EXPECT_FALSE(told.signalling) << code;
    EXPECT_TRUE(told.cutOff) << code;
  }
}

// The version has 32 bits.
TEST(SignallingPacketsTest, AnNrVersionIsAllFourBytes) {
  for (std::size_t byte = 0; byte < 4; ++byte) {
    ByteVector rrc(35);
    rrc[0] = 26;  // version
    rrc[24] = 4;  // DL-DCCH
    rrc[29] = 2;  // length
    rrc.insert(rrc.end(), {0x02, 0x00});
    ByteVector nas = {1, 0, 0, 0, 15, 2, 0, 0x7E, 0x00, 0x43};
    EXPECT_TRUE(DescribePacket(LogPacket(0xB821, rrc), eSender::Modem).signalling);
    EXPECT_TRUE(DescribePacket(LogPacket(0xB80B, nas), eSender::Modem).signalling);
    rrc[byte] ^= 0x80;
    nas[byte] ^= 0x80;
    for (const ByteVector& packet : {LogPacket(0xB821, rrc), LogPacket(0xB80B, nas)}) {
      const sDescription told = DescribePacket(packet, eSender::Modem);
      EXPECT_FALSE(told.signalling) << byte;
      EXPECT_FALSE(told.cell) << byte;
    }
  }
}

TEST(SignallingPacketsTest, ALinkThatIsNeitherIsNotTold) {
  for (const auto& [code, payload] : std::map<std::uint16_t, ByteVector>{
           {0x5230, {2, 3, 2, 0, 8, 3}},
           {0x713A, {2, 2, 0, 0, 0, 5, 0x1B}},
           // A call ID of none, and "SIP".
           {0x156E, {0, 2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 'S', 'I', 'P', 0}}}) {
    const sDescription description = DescribePacket(LogPacket(code, payload), eSender::Modem);
    ASSERT_TRUE(description.signalling);
    EXPECT_EQ(description.signalling->link, std::nullopt);
  }
}

}  // namespace
}  // namespace corvane
