#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <map>
#include <sstream>

#include "describe/description.h"
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

// The table that make_signalling_packets.py writes, without its headline.
[[nodiscard]] std::vector<sRow> ReadRows() {
  std::ifstream file(CORVANE_SIGNALLING_PACKETS);
  EXPECT_TRUE(file.is_open());
  std::string line;
  std::getline(file, line);
  std::vector<sRow> rows;
  while (std::getline(file, line)) {
    if (line.ends_with('\r')) {
      line.pop_back();
    }
    const std::vector<std::string> columns = Split(line, '\t');
    if (columns.size() != 7) {
      ADD_FAILURE() << line;
      continue;
    }
    rows.push_back({columns[0], FromHex(columns[1]), columns[2], columns[3], FromHex(columns[4]),
                    ParseFields(columns[6])});
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

[[nodiscard]] std::string LinkOf(const sSignalling& signalling) {
  if (!signalling.link) {
    return "-";
  }
  return *signalling.link == eLink::Uplink ? "up" : "down";
}

TEST(SignallingPacketsTest, EveryLayoutAndChannelIsUnderstood) {
  ASSERT_GT(Rows().size(), 250u);
  for (const sRow& row : Rows()) {
    SCOPED_TRACE(row.what);
    const sDescription description = DescribePacket(row.packet, eSender::Modem);
    EXPECT_FALSE(description.cutOff);
    EXPECT_FALSE(description.leftOut);
    EXPECT_EQ(description.details, "");
    ASSERT_TRUE(description.signalling);
    ASSERT_TRUE(Dissectors().contains(row.dissector)) << row.dissector;
    EXPECT_EQ(description.signalling->syntax, Dissectors().at(row.dissector)) << row.dissector;
    EXPECT_EQ(description.signalling->message, row.message);
    EXPECT_EQ(LinkOf(*description.signalling), row.link);
    EXPECT_EQ(FieldsOf(description), row.fields);
  }
}

// Logs without a length field: their messages end where the packet ends.
[[nodiscard]] bool GoesToTheEnd(const sRow& row) {
  return row.dissector.starts_with("nas-") || row.dissector == "ip";
}

TEST(SignallingPacketsTest, ACutMessageIsNotShown) {
  for (const sRow& row : Rows()) {
    SCOPED_TRACE(row.what);
    for (std::size_t size = 0; size < row.packet.size(); ++size) {
      // A copy of exactly these bytes: the sanitizers see a step beyond them.
      const ByteVector cut(row.packet.begin(),
                           row.packet.begin() + static_cast<std::ptrdiff_t>(size));
      const sDescription description = DescribePacket(cut, eSender::Modem);
      if (!description.signalling) {
        EXPECT_TRUE(size == 0 || description.cutOff) << size;
      } else if (GoesToTheEnd(row)) {
        EXPECT_TRUE(std::ranges::equal(
            description.signalling->message,
            std::span(row.message).first(row.message.size() - (row.packet.size() - size))))
            << size;
      } else {
        // Only what stands behind the message is gone.
        EXPECT_EQ(description.signalling->message, row.message) << size;
      }
    }
  }
}

}  // namespace
}  // namespace corvane
