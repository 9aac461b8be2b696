#include "corvane/reading/selection_options.h"

#include <gtest/gtest.h>

#include <sstream>

#include "corvane/command/named_numbers.h"
#include "describe/names.h"

namespace corvane::tools {
namespace {

// The selection that arguments make, or what is wrong with them.
struct sParsed {
  sSelection selection;
  std::string problem;
};

[[nodiscard]] sParsed Parse(std::vector<std::string> arguments) {
  sParsed parsed;
  CLI::App app;
  AddSelectionOptions(app, parsed.selection);
  std::reverse(arguments.begin(), arguments.end());  // as CLI11 takes them
  try {
    app.parse(arguments);
  } catch (const CLI::ParseError& error) {
    parsed.problem = error.what();
  }
  return parsed;
}

using Ranges = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

[[nodiscard]] Ranges Plain(const std::vector<sNumberRange>& ranges) {
  Ranges plain;
  for (const sNumberRange& range : ranges) {
    plain.emplace_back(range.first, range.last);
  }
  return plain;
}

TEST(SelectionOptionsTest, ListsAndRepetitionAddUp) {
  const sParsed parsed =
      Parse({"--type", "1, 2", "--type", "8", "--level", "low,error", "--level", "31"});
  EXPECT_EQ(parsed.problem, "");
  EXPECT_EQ(parsed.selection.types, (std::vector<std::uint32_t>{1, 2, 8}));
  EXPECT_EQ(parsed.selection.levels, 0x8000'0009U);
}

TEST(SelectionOptionsTest, TypesHaveTheNamesOfTheFormat) {
  // docs/capture-format.md
  const sParsed parsed = Parse({"--type",
                                "short-log,packet,request,event,log,message,information,"
                                "signalling-log,subsystem,subsystem-request"});
  EXPECT_EQ(parsed.problem, "");
  EXPECT_EQ(parsed.selection.types, (std::vector<std::uint32_t>{0, 1, 2, 4, 5, 6, 7, 8, 9, 10}));
  EXPECT_EQ(Parse({"--type", "sig,Info"}).selection.types, (std::vector<std::uint32_t>{8, 7}));
}

TEST(SelectionOptionsTest, WrongTypesAreNamed) {
  EXPECT_NE(Parse({"--type", "32"}).problem.find("there is no item type 32"), std::string::npos);
  EXPECT_NE(Parse({"--type", "sub"}).problem.find("subsystem, subsystem-request"),
            std::string::npos);
  EXPECT_NE(Parse({"--type", "massage"}).problem.find("nearest: message"), std::string::npos);
  for (const char* types : {"", ",", "1,", ",1", "1,,2", "-1", "unknown"}) {
    EXPECT_NE(Parse({std::string("--type=") + types}).problem, "") << types;
  }
}

TEST(SelectionOptionsTest, LogCodesAreHexadecimalRangesOrNames) {
  const sParsed parsed =
      Parse({"--log-code", "0xB0C0,b0c1,0xB0C0-0xB0FF,1000-10ff,0x7,lte-rrc-mib,LTE RRC MIB"});
  EXPECT_EQ(parsed.problem, "");
  EXPECT_EQ(Plain(parsed.selection.logCodes), (Ranges{{0xB0C0, 0xB0C0},
                                                      {0xB0C1, 0xB0C1},
                                                      {0xB0C0, 0xB0FF},
                                                      {0x1000, 0x10FF},
                                                      {0x7, 0x7},
                                                      {0xB0C1, 0xB0C1},
                                                      {0xB0C1, 0xB0C1}}));
}

TEST(SelectionOptionsTest, AnyPartOfANameWillDoThatNoOtherHas) {
  EXPECT_EQ(Plain(Parse({"--log-code", "lte-rrc-ota"}).selection.logCodes),
            (Ranges{{0xB0C0, 0xB0C0}}));
  const std::string problem = Parse({"--log-code", "rrc-ota"}).problem;
  for (const char* name : {"wcdma-rrc-ota-message", "lte-rrc-ota-message", "nr-rrc-ota-message"}) {
    EXPECT_NE(problem.find(name), std::string::npos) << problem;
  }
}

TEST(SelectionOptionsTest, AtMostTenCandidatesAreNamed) {
  const std::string problem = Parse({"--log-code", "lte"}).problem;
  std::size_t all = 0;
  for (const sLogCodeName& name : LogCodeNames()) {
    all += name.key.find("lte") != std::string_view::npos ? 1U : 0U;
  }
  ASSERT_GT(all, 10U);
  EXPECT_EQ(std::count(problem.begin(), problem.end(), ','), 9) << problem;
  EXPECT_NE(problem.find(" and " + std::to_string(all - 10) + " more"), std::string::npos)
      << problem;
}

TEST(SelectionOptionsTest, AWholeNameMeansThatOne) {
  const std::vector<std::string> names = {"state-change", "state", "old-state"};
  std::string problem;
  EXPECT_EQ(FindName(names, "state", "things", problem), 1U);
  EXPECT_EQ(FindName(names, "OLD", "things", problem), 2U);
  EXPECT_EQ(FindName(names, "ge", "things", problem), 0U);
  EXPECT_EQ(FindName(names, "stat", "things", problem), std::nullopt);
  EXPECT_EQ(problem, "\"stat\" is part of the names of 3 things: state-change, state, old-state");
  EXPECT_EQ(FindName(names, "--", "things", problem), std::nullopt);
  EXPECT_EQ(FindName(names, "nonsense", "things", problem), std::nullopt);
  EXPECT_EQ(problem, "\"nonsense\" is in no name of things");
}

TEST(SelectionOptionsTest, EveryNameOfTheTablesIsFoundByItself) {
  for (const sLogCodeName& name : LogCodeNames()) {
    std::vector<sNumberRange> ranges;
    EXPECT_EQ(TakeLogCodes(name.key, ranges), std::nullopt);
    ASSERT_EQ(Plain(ranges), (Ranges{{name.code, name.code}})) << name.key;
  }
  for (const sEventName& name : EventNames()) {
    std::vector<sNumberRange> ranges;
    EXPECT_EQ(TakeEvents(name.name, ranges), std::nullopt);
    ASSERT_EQ(Plain(ranges), (Ranges{{name.id, name.id}})) << name.name;
  }
}

TEST(SelectionOptionsTest, TheLikestNamesAreSuggested) {
  EXPECT_NE(Parse({"--log-code", "lte-rcc-ota"}).problem.find("nearest: lte-rrc-ota-message"),
            std::string::npos);
  EXPECT_NE(Parse({"--event", "lte-rrc-sate-change"}).problem.find("nearest: lte-rrc-state-change"),
            std::string::npos);
  EXPECT_EQ(Parse({"--log-code", "qqqqqqqq"}).problem.find("nearest"), std::string::npos);
}

TEST(SelectionOptionsTest, EventsAreIdsRangesOrNames) {
  EXPECT_EQ(Plain(Parse({"--event", "1606,0x100,0-4095,lte-rrc-state-change"}).selection.events),
            (Ranges{{1606, 1606}, {256, 256}, {0, 4095}, {1606, 1606}}));
  EXPECT_NE(Parse({"--event", "4096"}).problem.find("up to 4095"), std::string::npos);
  EXPECT_NE(Parse({"--event", "99999999999"}).problem.find("up to 4095"), std::string::npos);
  EXPECT_NE(Parse({"--event", "7-5"}).problem.find("ends before it begins"), std::string::npos);
}

TEST(SelectionOptionsTest, SubsystemsAreIdsRangesOrNames) {
  EXPECT_EQ(
      Plain(Parse({"--ssid", "5,9500-9521,call-manager,general-services,lte"}).selection.ssids),
      (Ranges{{5, 5}, {9500, 9521}, {5, 5}, {0, 134}, {9500, 9521}}));
  EXPECT_NE(Parse({"--ssid", "65536"}).problem.find("up to 65535"), std::string::npos);
  EXPECT_NE(Parse({"--log-code", "0x10000"}).problem.find("up to 0xFFFF"), std::string::npos);
}

TEST(SelectionOptionsTest, WrongLevelsAndDirectionsAreNamed) {
  for (const char* level : {"32", "-1", "warning", "lowest", ""}) {
    EXPECT_NE(Parse({std::string("--level=") + level}).problem, "") << level;
  }
  EXPECT_EQ(Parse({"--direction", "to"}).selection.direction, eDirection::ToModem);
  EXPECT_EQ(Parse({"--direction", "from"}).selection.direction, eDirection::FromModem);
  EXPECT_NE(Parse({"--direction", "up"}).problem, "");
  EXPECT_NE(Parse({"--contains="}).problem, "");
}

TEST(SelectionOptionsTest, ADecimalLogCodeIsToldToBeHexadecimal) {
  EXPECT_NE(
      Parse({"--log-code", "45248"})
          .problem.find("numbers are hexadecimal, of four digits or behind 0x: 45248 is 0xB0C0"),
      std::string::npos);
  EXPECT_NE(Parse({"--log-code", "412F7"}).problem.find("numbers are hexadecimal"),
            std::string::npos);
  EXPECT_EQ(Parse({"--log-code", "lte-xyz"}).problem.find("hexadecimal"), std::string::npos);
}

constexpr std::uint64_t kDay = 13'360'377'600'000;  // 2024-05-17, in milliseconds since 1601

TEST(SelectionOptionsTest, ABoundIsANumberATimeOrCountsFromTheStart) {
  EXPECT_EQ(Parse({"--from", "17"}).selection.from.number, 17U);
  EXPECT_EQ(Parse({"--from", "2024-05-17T12:00Z"}).selection.from.time, kDay + 43'200'000);
  EXPECT_EQ(Parse({"--to", "2024-05-17 14:00:00.5+02:00"}).selection.to.time, kDay + 43'200'500);
  EXPECT_EQ(Parse({"--from", "12:34"}).selection.from.timeOfDay, 45'240'000U);
  EXPECT_EQ(Parse({"--to", "+90s"}).selection.to.sinceStart, 90'000U);
  EXPECT_EQ(Parse({"--to", "+1.5s"}).selection.to.sinceStart, 1'500U);
  const sSelectionBound elsewhere = Parse({"--from", "05:35+01:00"}).selection.from;
  EXPECT_EQ(elsewhere.timeOfDay, 20'100'000U);
  EXPECT_EQ(elsewhere.clockAhead, 3'600'000);
  EXPECT_EQ(Parse({"--to", "+250ms"}).selection.to.sinceStart, 250U);
  EXPECT_EQ(Parse({"--to", "+2m"}).selection.to.sinceStart, 120'000U);
  for (const char* bound :
       {"", "x", "-1", "+", "+x", "+-1s", "+1d", "1.5", "2024-13-01", "25:00"}) {
    EXPECT_NE(Parse({std::string("--from=") + bound}).problem, "") << bound;
    EXPECT_NE(Parse({std::string("--to=") + bound}).problem, "") << bound;
  }
}

TEST(SelectionOptionsTest, ADayAloneIsAllOfIt) {
  EXPECT_EQ(Parse({"--from", "2024-05-17"}).selection.from.time, kDay);
  EXPECT_EQ(Parse({"--to", "2024-05-17"}).selection.to.time, kDay + 86'399'999);
  EXPECT_EQ(Parse({"--to", "2024-05-17T00:00"}).selection.to.time, kDay);
}

TEST(SelectionOptionsTest, HavingSelectedNothingIsTold) {
  const auto told = [](const sSelectionOutcome& outcome) {
    std::ostringstream errors;
    ReportNothingSelected("stats", "drive.isf", outcome, errors);
    return errors.str();
  };
  EXPECT_EQ(told({0, true, false}), "corvane stats: drive.isf: no item is selected\n");
  EXPECT_EQ(told({0, true, true}),
            "corvane stats: drive.isf: no item is selected: --from is behind --to\n");
  EXPECT_EQ(told({1, true, false}), "");
  EXPECT_EQ(told({0, false, false}), "");
}

}  // namespace
}  // namespace corvane::tools
