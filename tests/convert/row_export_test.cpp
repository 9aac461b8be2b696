#include "convert/row_export.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "convert/memory_sink.h"
#include "convert/modem_time.h"
#include "reader/capture_builder.h"

namespace corvane {
namespace {

struct sItem {
  std::uint32_t type = 0;
  ByteVector packet;
  std::uint64_t time = kNoon;
};

[[nodiscard]] std::string Export(eExportFormat format, std::initializer_list<sItem> items,
                                 const sExportOptions& options = {}) {
  cMemorySink sink;
  const auto exported = MakeExport(format, options, sink);
  sCaptureItem item;
  for (const auto& [type, packet, time] : items) {
    item.type = type;
    item.time = time;
    item.bytes = packet;
    exported->Add(item);
    ++item.number;
  }
  exported->Finish();
  EXPECT_TRUE(exported->Notes().empty());
  const ByteVector& bytes = sink.Bytes();
  return {bytes.begin(), bytes.end()};
}

[[nodiscard]] std::string Json(std::initializer_list<sItem> items,
                               const sExportOptions& options = {}) {
  return Export(eExportFormat::Jsonl, items, options);
}

// An LTE RRC packet, version 8 (PCI 0x0144, EARFCN 0x0721, SFN 4, subframe 2, DL-CCCH, 3 bytes).
[[nodiscard]] ByteVector LteRrc() {
  ByteVector packet =
      Hex("10 00 22 00 22 00 C0 B0 00 00 00 00 00 00 00 00"
          "08 0D 00 00 44 01 21 07 00 00 42 00 05 00 00 00 00 03 00 68 12 98");
  Put(packet, 8, StampAt(kNoon) + 1, 8);
  return packet;
}

// The stamp is 1/49,152 of 1.25 ms, 25 ns, behind noon.
TEST(RowExportTest, ASignallingMessageIsARowOfJson) {
  EXPECT_EQ(
      Json({{7, TextItem("Port COM7 connected")}, {5, LteRrc()}}),
      R"({"number":0,"time":"2024-05-17T12:00:00.000Z","sort":"text","port":"COM7","type":7,)"
      R"("length":44,"text":"Port COM7 connected"})"
      "\n"
      R"({"number":1,"time":"2024-05-17T12:00:00.000Z",)"
      R"("modem_time":"2024-05-17T12:00:00.000000025Z","sort":"log","direction":"from modem",)"
      R"("port":"COM7","type":5,"length":38,"technology":"LTE","log_code":"0xB0C0",)"
      R"("log_name":"LTE RRC OTA message","log_version":8,"channel":"DL-CCCH",)"
      R"("link":"downlink","message":"RRC connection setup","radio_bearer":0,)"
      R"("frequency":1825,"physical_cell":324,"system_frame":4,"subframe":2,)"
      R"("message_bytes":"681298"})"
      "\n");
}

TEST(RowExportTest, LeapSecondsAreTakenOffTheModemsTime) {
  sExportOptions options;
  options.leapSeconds = 18;
  EXPECT_NE(Json({{5, LteRrc()}}, options).find(R"("2024-05-17T11:59:42.000000025Z")"),
            std::string::npos);
}

TEST(RowExportTest, AStampThatIsNoTimeIsLeftOut) {
  ByteVector packet = LteRrc();
  Put(packet, 8, UINT64_MAX, 8);
  EXPECT_EQ(Json({{5, packet}}).find("modem_time"), std::string::npos);
  Put(packet, 8, 0, 8);
  EXPECT_NE(Json({{5, packet}}).find(R"("modem_time":"1980-01-06T00:00:00.000000000Z")"),
            std::string::npos);
}

TEST(RowExportTest, AnEventIsARow) {
  // Event 1606 with the payload 4.
  EXPECT_EQ(Json({{4, Hex("60 0B 00 46 26 00 00 00 00 00 00 00 00 04")}}),
            R"({"number":0,"time":"2024-05-17T12:00:00.000Z",)"
            R"("modem_time":"1980-01-06T00:00:00.000000000Z","sort":"event",)"
            R"("direction":"from modem","type":4,"length":14,"technology":"LTE","event_id":1606,)"
            R"("event_name":"LTE RRC state change","event_value":"connected",)"
            R"("event_payload":"04"})"
            "\n");
}

TEST(RowExportTest, AnEventWithoutAPayloadHasNoneInItsRow) {
  const std::string row = Json({{4, Hex("60 0A 00 46 06 00 00 00 00 00 00 00 00")}});
  EXPECT_NE(row.find(R"("event_id":1606)"), std::string::npos);
  EXPECT_EQ(row.find("event_payload"), std::string::npos);
}

TEST(RowExportTest, AReportOfSeveralEventsTellsTheFirst) {
  const std::string row =
      Json({{1, Hex("60 10 00 46 26 11 12 13 14 15 16 17 00 04 47 A6 21 22 05")}});
  EXPECT_NE(row.find(R"("event_id":1606)"), std::string::npos);
  EXPECT_NE(row.find(R"("events":2)"), std::string::npos);
}

// A message without arguments: SSID 5, line 16, level 2; the text has a comma and quotation marks.
TEST(RowExportTest, ADebugMessageIsARow) {
  const ByteVector message =
      Hex("79 00 00 03 00 00 00 00 00 00 00 00 10 00 05 00 04 01 00 00"
          "61 2C 20 22 62 22 00 66 2E 63 00");
  const std::string row = Json({{6, message}});
  EXPECT_NE(row.find(R"("ssid":5,)"), std::string::npos) << row;
  EXPECT_NE(row.find(R"("level":"high","level_mask":"0x00000104","file":"f.c","line":16,)"
                     R"("text":"a, \"b\"","dropped":3})"),
            std::string::npos)
      << row;
}

TEST(RowExportTest, AHashedMessageTellsHashAndArguments) {
  const std::string row =
      Json({{6, Hex("92 00 02 00 00 00 00 00 00 00 00 00 10 00 05 00 08 00 00 00"
                    "EF BE AD DE 07 00 00 00 FF FF FF FF")}});
  EXPECT_NE(row.find(R"("level":"error","level_mask":"0x00000008","line":16,)"
                     R"("hash":"0xDEADBEEF","arguments":"7 4294967295"})"),
            std::string::npos)
      << row;
}

// Line 16, SSID 5, the arguments 7 and 4294967295.
[[nodiscard]] std::string RowOfText(const std::string& text) {
  ByteVector message =
      Hex("79 00 02 00 00 00 00 00 00 00 00 00 10 00 05 00 04 00 00 00 07 00 00 00 FF FF FF FF");
  message.insert(message.end(), text.begin(), text.end());
  message.insert(message.end(), {0, 'c', 0});
  return Json({{6, message}});
}

TEST(RowExportTest, ArgumentsThatAreNotInTheTextAreTold) {
  for (const char* const text : {"%d", "%d %d %d", "%d %f", "none"}) {
    const std::string row = RowOfText(text);
    EXPECT_NE(row.find(R"("arguments":"7 4294967295")"), std::string::npos) << row;
  }
  EXPECT_NE(RowOfText("%u %u").find(R"("text":"7 4294967295"})"), std::string::npos);
}

TEST(RowExportTest, ATextThatIsNoUtf8IsMadeOne) {
  const std::string row = RowOfText("\x01\xE9 %u %u");
  EXPECT_NE(row.find("\"text\":\"\\u0001\xEF\xBF\xBD 7 4294967295\"}"), std::string::npos) << row;
}

TEST(RowExportTest, ARequestGoesToTheModem) {
  const std::string row = Json({{2, Hex("73 00 00 00 00 00 00 00")}, {10, Hex("4B 0F 05 01")}});
  EXPECT_NE(row.find(R"("sort":"request","direction":"to modem")"), std::string::npos) << row;
  EXPECT_NE(row.find(R"("command":"0x73")"), std::string::npos) << row;
  EXPECT_NE(row.find(R"("subsystem":15,)"), std::string::npos) << row;
  EXPECT_NE(row.find(R"("subsystem_command":261)"), std::string::npos) << row;
}

TEST(RowExportTest, TheSubscriptionIsThePacketsOwnOrTheToldOne) {
  ByteVector wrapped = Hex("98 01 00 00 03 00 00 00");
  const ByteVector log = LteRrc();
  wrapped.insert(wrapped.end(), log.begin(), log.end());
  const std::string rows = Json({{7, TextItem("Subscription 2")}, {5, log}, {1, wrapped}});
  std::vector<std::string> lines;
  std::istringstream stream(rows);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_NE(lines[1].find(R"("subscription":2,)"), std::string::npos);
  EXPECT_NE(lines[2].find(R"("subscription":3,)"), std::string::npos);
}

// A block of channel 254 whose stamp is its item's time.
TEST(RowExportTest, RebuiltBlocksAreMarked) {
  ByteVector packet = Hex("10 00 11 00 11 00 2F 41 00 00 00 00 00 00 00 00 FE 00 01 00 05");
  Put(packet, 8, StampAt(kNoon), 8);
  EXPECT_NE(Json({{8, packet}}).find(R"("rebuilt":1)"), std::string::npos);
  EXPECT_EQ(Json({{8, packet, kNoon + 2}}).find("rebuilt"), std::string::npos);
}

TEST(RowExportTest, CsvHasALineOfNamesAndAllFields) {
  const std::string rows = Export(eExportFormat::Csv, {{7, TextItem("a, \"b\"")}, {1, Hex("FF")}});
  std::string names;
  for (const sItemField& field : ItemFields()) {
    names += (names.empty() ? "" : ",") + std::string(field.name);
  }
  const std::size_t fields = ItemFields().size();
  const auto columnOf = [](std::string_view name) {
    return static_cast<std::size_t>(FindItemField(name) - ItemFields().data());
  };
  ASSERT_EQ(rows.substr(0, names.size() + 2), names + "\r\n");
  const std::string text = "0,2024-05-17T12:00:00.000Z,,text,,,,7,18" +
                           std::string(columnOf("text") - columnOf("length"), ',') +
                           "\"a, \"\"b\"\"\"" + std::string(fields - 1 - columnOf("text"), ',') +
                           "\r\n";
  ASSERT_EQ(rows.substr(names.size() + 2, text.size()), text);
  EXPECT_EQ(rows.substr(names.size() + 2 + text.size(), 48),
            "1,2024-05-17T12:00:00.000Z,,unknown,from modem,,");
}

TEST(ItemFieldsTest, NamesAreUniqueAndFound) {
  std::set<std::string_view> names;
  for (const sItemField& field : ItemFields()) {
    EXPECT_TRUE(names.insert(field.name).second) << field.name;
    EXPECT_EQ(FindItemField(field.name), &field);
    EXPECT_FALSE(field.meaning.empty()) << field.name;
    EXPECT_EQ(field.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz_"), std::string_view::npos)
        << field.name;
  }
  EXPECT_EQ(FindItemField("nothing"), nullptr);
  EXPECT_EQ(FindItemField(""), nullptr);
}

TEST(RowExportTest, ChosenFieldsStandInTheOrderThatWasChosen) {
  sExportOptions options;
  options.fields = {FindItemField("text"), FindItemField("number")};
  options.separator = " | ";
  const sItem item{7, TextItem("a\tb|c")};
  EXPECT_EQ(Export(eExportFormat::Separated, {item}, options), "a\\x09b|c | 0\n");
  EXPECT_EQ(Export(eExportFormat::Csv, {item}, options), "text,number\r\na\tb|c,0\r\n");
  EXPECT_EQ(Json({item}, options), R"({"text":"a\tb|c","number":0})"
                                   "\n");
  options.fields = {FindItemField("log_code")};
  EXPECT_EQ(Json({item}, options), "{}\n");
  EXPECT_EQ(Export(eExportFormat::Separated, {item}, options), "\n");
}

// The rows of a text that is passed over, a marker and a request.
[[nodiscard]] std::string RowsAroundAMarker(eExportFormat format, const sExportOptions& options) {
  cMemorySink sink;
  const auto exported = MakeExport(format, options, sink);
  sCaptureItem item;
  item.type = 7;
  item.time = kNoon;
  item.bytes = TextItem("Port COM7 connected");
  exported->Pass(item);
  exported->Mark({kNoon + 1, "over \"there\""});
  item.type = 2;
  item.bytes = Hex("1D");
  item.number = 1;
  exported->Add(item);
  const ByteVector& bytes = sink.Bytes();
  return {bytes.begin(), bytes.end()};
}

TEST(RowExportTest, AMarkerIsARowThatNamesItself) {
  sExportOptions options;
  options.fields = {FindItemField("number"), FindItemField("time"), FindItemField("sort"),
                    FindItemField("port"), FindItemField("text")};
  EXPECT_EQ(RowsAroundAMarker(eExportFormat::Jsonl, options),
            R"({"time":"2024-05-17T12:00:00.001Z","sort":"marker","text":"over \"there\""})"
            "\n"
            R"({"number":1,"time":"2024-05-17T12:00:00.000Z","sort":"request","port":"COM7"})"
            "\n");
  EXPECT_EQ(RowsAroundAMarker(eExportFormat::Csv, options),
            "number,time,sort,port,text\r\n"
            ",2024-05-17T12:00:00.001Z,marker,,\"over \"\"there\"\"\"\r\n"
            "1,2024-05-17T12:00:00.000Z,request,COM7,\r\n");
  options.fields.erase(options.fields.begin() + 2);
  EXPECT_EQ(RowsAroundAMarker(eExportFormat::Separated, options),
            "\t2024-05-17T12:00:00.001Z\t\tover \"there\"\n"
            "1\t2024-05-17T12:00:00.000Z\tCOM7\t\n");
  options.fields.pop_back();
  EXPECT_EQ(RowsAroundAMarker(eExportFormat::Separated, options),
            "1\t2024-05-17T12:00:00.000Z\tCOM7\n");
}

TEST(ItemFieldsTest, TheDocumentHasTheTable) {
  std::ifstream document(CORVANE_EXPORT_FORMATS_DOCUMENT);
  ASSERT_TRUE(document.is_open());
  std::vector<std::string> lines;
  for (std::string line; std::getline(document, line);) {
    if (line.starts_with("| `")) {
      lines.push_back(line);
    }
  }
  std::vector<std::string> expected;
  for (const sItemField& field : ItemFields()) {
    expected.push_back("| `" + std::string(field.name) + "` | " + std::string(field.meaning) +
                       " |");
  }
  EXPECT_EQ(lines, expected);
}

// --- Cells, field by field

[[nodiscard]] std::string ValueOf(std::string_view name, const sDescription& description) {
  const sCaptureItem item;
  const sSource source;
  const sItemField* const field = FindItemField(name);
  if (field == nullptr) {
    return "no such field";
  }
  cFieldValue value;
  field->fill({item, description, source}, value);
  switch (value.Kind()) {
    case cFieldValue::eKind::None:
      return "";
    case cFieldValue::eKind::Number:
      return std::to_string(value.Number());
    default:
      return std::string(value.Text());
  }
}

TEST(ItemFieldsTest, ACellIsToldFieldByField) {
  sDescription description;
  description.technology = eTechnology::Nr;
  description.cell = sCell{
      .frequency = 1,
      .uplinkFrequency = 2,
      .physicalCell = 3,
      .bsic = 4,
      .plmn = sPlmn{1, 5, 2},
      .cellIdentity = 0xFFFFFFFFF,
      .globalIdentity = 0xFFFFFFFFFFFFFFFF,
      .areaCode = 7,
      .routingArea = 8,
      .band = 9,
      .bandwidth = 10,
      .uplinkBandwidth = 11,
      .systemFrame = 12,
      .subframe = 13,
      .antennas = 14,
  };
  const std::pair<std::string_view, std::string_view> expected[] = {
      {"technology", "NR"},
      {"frequency", "1"},
      {"uplink_frequency", "2"},
      {"physical_cell", "3"},
      {"bsic", "4"},
      {"plmn", "001-05"},
      {"cell_identity", "68719476735"},
      {"ncgi", "18446744073709551615"},
      {"area_code", "7"},
      {"routing_area", "8"},
      {"band", "9"},
      {"bandwidth", "10"},
      {"uplink_bandwidth", "11"},
      {"system_frame", "12"},
      {"subframe", "13"},
      {"antennas", "14"},
  };
  for (const auto& [name, value] : expected) {
    EXPECT_EQ(ValueOf(name, description), value) << name;
    EXPECT_EQ(ValueOf(name, {}), "") << name;
  }
  description.cell->plmn = sPlmn{310, 26, 3};
  EXPECT_EQ(ValueOf("plmn", description), "310-026");
}

TEST(ItemFieldsTest, AVersionOfTwoNumbersIsAText) {
  sDescription description;
  description.version = 0x30002;
  EXPECT_EQ(ValueOf("log_version", description), "196610");
  description.logCode = 0xB821;
  EXPECT_EQ(ValueOf("log_version", description), "196610");
  for (const std::uint16_t logCode : {std::uint16_t{0xB822}, std::uint16_t{0xB823}}) {
    description.logCode = logCode;
    EXPECT_EQ(ValueOf("log_version", description), "3.2");
  }
}

TEST(ItemFieldsTest, TechnologiesHaveTheirNames) {
  const std::pair<eTechnology, std::string_view> expected[] = {
      {eTechnology::None, ""},   {eTechnology::Cdma, "CDMA"},   {eTechnology::EvDo, "EV-DO"},
      {eTechnology::Gsm, "GSM"}, {eTechnology::Wcdma, "WCDMA"}, {eTechnology::TdScdma, "TD-SCDMA"},
      {eTechnology::Lte, "LTE"}, {eTechnology::Nr, "NR"},       {eTechnology::Ims, "IMS"},
      {eTechnology::Ip, "IP"},
  };
  for (const auto& [technology, name] : expected) {
    sDescription description;
    description.technology = technology;
    EXPECT_EQ(ValueOf("technology", description), name);
  }
}

TEST(ItemFieldsTest, AMessageIsToldFieldByField) {
  sDescription description;
  sSignalling& message = description.signalling.emplace();
  message.syntax = eSyntax::WcdmaSystemInformationBlock;
  message.channel = "BCCH-BCH";
  message.link = eLink::Uplink;
  message.sibType = 5;
  message.radioBearer = 3;
  message.segment = eSegment::Last;
  message.segmentNumber = 7;
  message.message = {0x0A, 0xFF};
  EXPECT_EQ(ValueOf("channel", description), "BCCH-BCH");
  EXPECT_EQ(ValueOf("link", description), "uplink");
  EXPECT_EQ(ValueOf("sib_type", description), "5");
  EXPECT_EQ(ValueOf("message", description), "SysInfo type 5");
  EXPECT_EQ(ValueOf("radio_bearer", description), "3");
  EXPECT_EQ(ValueOf("segment", description), "7");
  EXPECT_EQ(ValueOf("message_bytes", description), "0AFF");
  message.messageName = "Attach request";
  EXPECT_EQ(ValueOf("message", description), "Attach request");
}

TEST(ItemFieldsTest, WhatIsCutOffSaysSo) {
  sDescription description;
  EXPECT_EQ(ValueOf("cut_off", description), "");
  description.cutOff = true;
  EXPECT_EQ(ValueOf("cut_off", description), "1");
}

TEST(ItemFieldsTest, DetailsAreOfTheLogOrTheCommand) {
  sDescription description;
  description.command.emplace();
  description.command->details = "equipment ID 1";
  description.command->refusal = "bad length";
  EXPECT_EQ(ValueOf("details", description), "equipment ID 1");
  EXPECT_EQ(ValueOf("refusal", description), "bad length");
  description.details = "EMM state 3";
  EXPECT_EQ(ValueOf("details", description), "EMM state 3");
}

TEST(ItemFieldsTest, AllLevelsOfAMessageAreTold) {
  sDescription description;
  description.message.emplace();
  EXPECT_EQ(ValueOf("level", description), "");
  description.message->levels = 0x1F;
  EXPECT_EQ(ValueOf("level", description), "low/medium/high/error/fatal");
  EXPECT_EQ(ValueOf("level_mask", description), "0x0000001F");
}

}  // namespace
}  // namespace corvane
