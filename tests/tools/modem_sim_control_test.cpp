#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <ctime>

#include "modem_sim/control.h"
#include "modem_sim/diag_packets.h"
#include "modem_sim/options.h"
#include "modem_sim/report.h"

namespace corvane::modem_sim {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;

struct sParsed {
  std::optional<sOptions> options;
  int exitCode = -1;
  std::string output;
  std::string errors;
};

sParsed Parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "corvane-modem-sim");
  sParsed parsed;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  parsed.options =
      ParseOptions(static_cast<int>(arguments.size()), arguments.data(), parsed.exitCode);
  parsed.output = testing::internal::GetCapturedStdout();
  parsed.errors = testing::internal::GetCapturedStderr();
  return parsed;
}

TEST(ModemSimOptionsTest, WithoutArgumentsTheDefaultsHold) {
  const sParsed parsed = Parse({});
  ASSERT_TRUE(parsed.options);
  EXPECT_EQ(parsed.options->scenario, "mixed");
  EXPECT_EQ(parsed.options->stream.seed, 1U);
  EXPECT_EQ(parsed.options->rate, 100);
  EXPECT_EQ(parsed.options->count, 0U);
  EXPECT_EQ(parsed.options->settle, milliseconds(250));
  EXPECT_EQ(parsed.options->heartbeat, milliseconds(250));
  EXPECT_EQ(parsed.options->returnAfter, milliseconds(2000));
  EXPECT_EQ(parsed.options->stream.maxFrame, 8191U);
  EXPECT_TRUE(parsed.options->packetsInReport);
  EXPECT_TRUE(parsed.options->faults.badCrc.Empty());
}

TEST(ModemSimOptionsTest, TheVersionIsTold) {
  const sParsed parsed = Parse({"--version"});
  EXPECT_FALSE(parsed.options);
  EXPECT_EQ(parsed.exitCode, 0);
  EXPECT_EQ(parsed.output.rfind("corvane-modem-sim ", 0), 0U);
  EXPECT_EQ(parsed.errors, "");
}

TEST(ModemSimOptionsTest, WrongUsageIsToldWithTheProgramsName) {
  const sParsed parsed = Parse({"--count", "many"});
  EXPECT_FALSE(parsed.options);
  EXPECT_EQ(parsed.exitCode, 2);
  EXPECT_EQ(parsed.output, "");
  EXPECT_EQ(parsed.errors.rfind("corvane-modem-sim: ", 0), 0U) << parsed.errors;
  EXPECT_NE(parsed.errors.find("\ncorvane-modem-sim --help tells more\n"), std::string::npos);
}

TEST(ModemSimOptionsTest, EveryOptionIsTaken) {
  const sParsed parsed = Parse({"--link",
                                "here",
                                "--report",
                                "there",
                                "--no-packets",
                                "--heartbeat",
                                "1s",
                                "--scenario",
                                "sib",
                                "--seed",
                                "77",
                                "--rate",
                                "max",
                                "--count",
                                "12",
                                "--duration",
                                "2m",
                                "--then",
                                "hang-up",
                                "--settle",
                                "0",
                                "--paused",
                                "--mix",
                                "event=2,log=1",
                                "--sizes",
                                "large=3",
                                "--log-codes",
                                "412F,0x1234",
                                "--max-frame",
                                "2000",
                                "--sib-loss",
                                "12.5%",
                                "--subscriptions",
                                "3",
                                "--return-after",
                                "never",
                                "--chunk",
                                "1-200",
                                "--gap",
                                "3ms"});
  ASSERT_TRUE(parsed.options) << parsed.errors;
  const sOptions& options = *parsed.options;
  EXPECT_EQ(options.link, "here");
  EXPECT_EQ(options.report, "there");
  EXPECT_FALSE(options.packetsInReport);
  EXPECT_EQ(options.heartbeat, milliseconds(1000));
  EXPECT_EQ(options.scenario, "sib");
  EXPECT_EQ(options.stream.seed, 77U);
  EXPECT_EQ(options.rate, 0);
  EXPECT_EQ(options.count, 12U);
  EXPECT_EQ(options.stream.subscriptions, 3U);
  EXPECT_EQ(options.duration, milliseconds(120000));
  EXPECT_EQ(options.then, eAfterStream::HangUp);
  EXPECT_EQ(options.settle, milliseconds(0));
  EXPECT_TRUE(options.paused);
  EXPECT_EQ(options.stream.logWeight, 1U);
  EXPECT_EQ(options.stream.eventWeight, 2U);
  EXPECT_EQ(options.stream.messageWeight, 0U);
  EXPECT_THAT(options.stream.sizeWeights, ElementsAre(0U, 0U, 3U));
  EXPECT_THAT(options.stream.logCodes, ElementsAre(0x412F, 0x1234));
  EXPECT_EQ(options.stream.maxFrame, 2000U);
  EXPECT_EQ(options.stream.sibLoss, 12.5);
  EXPECT_EQ(options.returnAfter, std::nullopt);
  EXPECT_EQ(options.writes.minChunk, 1U);
  EXPECT_EQ(options.writes.maxChunk, 200U);
  EXPECT_EQ(options.writes.gap, milliseconds(3));
}

TEST(ModemSimOptionsTest, TheClockStartsWhenItIsTold) {
  const sParsed unsaid = Parse({});
  ASSERT_TRUE(unsaid.options) << unsaid.errors;
  EXPECT_EQ(unsaid.options->stream.clockStart, kClockStart);
  const sParsed day = Parse({"--start-at", "2024-01-02T00:00:01Z"});
  ASSERT_TRUE(day.options) << day.errors;
  EXPECT_EQ(day.options->stream.clockStart, kClockStart + std::uint64_t{86401} * 800);
  EXPECT_EQ(day.options->faults.clockStart, day.options->stream.clockStart);
  const std::uint64_t before = static_cast<std::uint64_t>(std::time(nullptr)) - 315964800;
  const sParsed now = Parse({"--start-at", "now"});
  ASSERT_TRUE(now.options) << now.errors;
  EXPECT_GE(now.options->stream.clockStart, before * 800);
  EXPECT_LT(now.options->stream.clockStart, (before + 60) * 800);
}

TEST(ModemSimOptionsTest, EveryFaultIsTaken) {
  const sParsed parsed =
      Parse({"--bad-crc", "1",          "--noise",    "2%",   "--open-noise",   "3",
             "--split",   "4",          "--merge",    "5",    "--unasked",      "6",
             "--hang-up", "7",          "--withhold", "0x73", "--spoil-reply",  "8",
             "--late",    "0x7D=500ms", "--late",     "3=1s", "--return-after", "1500ms",
             "--chunk",   "64"});
  ASSERT_TRUE(parsed.options) << parsed.errors;
  const sFaultOptions& faults = parsed.options->faults;
  for (const cSelection* selection :
       {&faults.badCrc, &faults.noise, &faults.openNoise, &faults.split, &faults.merge,
        &faults.unasked, &faults.hangUp, &faults.withhold, &faults.spoilReply}) {
    EXPECT_FALSE(selection->Empty());
  }
  ASSERT_EQ(faults.late.size(), 2U);
  EXPECT_EQ(faults.late[0].delay, milliseconds(500));
  EXPECT_EQ(faults.late[1].delay, milliseconds(1000));
  EXPECT_EQ(parsed.options->returnAfter, milliseconds(1500));
  EXPECT_EQ(parsed.options->writes.minChunk, 64U);
  EXPECT_EQ(parsed.options->writes.maxChunk, 64U);
}

TEST(ModemSimOptionsTest, HelpNamesEveryOptionAndCommandAndIsNoError) {
  const sParsed parsed = Parse({"--help"});
  EXPECT_FALSE(parsed.options);
  EXPECT_EQ(parsed.exitCode, 0);
  for (const char* name :
       {"--link",        "--report",      "--no-packets", "--heartbeat", "--scenario",
        "--seed",        "--rate",        "--count",      "--duration",  "--then",
        "--settle",      "--paused",      "--mix",        "--sizes",     "--log-codes",
        "--max-frame",   "--sib-loss",    "--bad-crc",    "--noise",     "--open-noise",
        "--split",       "--merge",       "--unasked",    "--hang-up",   "--return-after",
        "--withhold",    "--spoil-reply", "--late",       "--chunk",     "--gap",
        "unplug",        "plug",          "pause",        "resume",      "reply hold",
        "reply release", "send HEX",      "send-raw HEX", "quit"}) {
    EXPECT_THAT(parsed.output, HasSubstr(name));
  }
}

TEST(ModemSimOptionsTest, AWrongValueIsRefusedWithTheOptionsName) {
  const std::vector<std::vector<const char*>> wrong = {
      {"--rate", "0"},
      {"--rate", "fast"},
      {"--count", "-1"},
      {"--duration", "5d"},
      {"--duration", "s"},
      {"--then", "sleep"},
      {"--scenario", "other"},
      {"--mix", "log"},
      {"--mix", "log=0"},
      {"--mix", "log=x"},
      {"--sizes", "huge=1"},
      {"--log-codes", "12345"},
      {"--log-codes", "1,"},
      {"--max-frame", "100"},
      {"--sib-loss", "95%"},
      {"--sib-loss", "5"},
      {"--subscriptions", "0"},
      {"--subscriptions", "9"},
      {"--subscriptions", "two"},
      {"--bad-crc", "0x73"},
      {"--hang-up", "no"},
      {"--withhold", "0x1FF"},
      {"--late", "0x73"},
      {"--late", "0x73=soon"},
      {"--chunk", "0"},
      {"--chunk", "9-3"},
      {"--chunk", "x"},
      {"--return-after", "no"},
      {"--heartbeat", "-1ms"},
      {"--start-at", "2024-01-01"},
      {"--start-at", "soon"},
      {"--start-at", "1980-01-06T00:00:59Z"},
      {"--start-at", "2024-01-01T00:00:00Z+"},
  };
  for (const auto& arguments : wrong) {
    const sParsed parsed = Parse(arguments);
    EXPECT_FALSE(parsed.options) << arguments[0] << ' ' << arguments[1];
    EXPECT_EQ(parsed.exitCode, 2);
    EXPECT_THAT(parsed.errors, HasSubstr(arguments[0])) << arguments[1];
  }
}

TEST(ModemSimOptionsTest, AnUnknownOptionIsRefused) {
  EXPECT_EQ(Parse({"--unknown"}).exitCode, 2);
  EXPECT_EQ(Parse({"file"}).exitCode, 2);
}

TEST(ModemSimControlTest, EveryCommandIsKnown) {
  EXPECT_EQ(ParseCommand("unplug").verb, sCommand::Unplug);
  EXPECT_EQ(ParseCommand("plug").verb, sCommand::Plug);
  EXPECT_EQ(ParseCommand("pause").verb, sCommand::Pause);
  EXPECT_EQ(ParseCommand("resume").verb, sCommand::Resume);
  EXPECT_EQ(ParseCommand("reply hold").verb, sCommand::ReplyHold);
  EXPECT_EQ(ParseCommand("reply release").verb, sCommand::ReplyRelease);
  EXPECT_EQ(ParseCommand("quit").verb, sCommand::Quit);
  EXPECT_EQ(ParseCommand("send 1D").bytes, Bytes{0x1D});
  EXPECT_EQ(ParseCommand("send-raw 7e 7e").verb, sCommand::SendRaw);
}

TEST(ModemSimControlTest, AnythingElseIsUnknown) {
  for (const char* line : {"", "Unplug", "unplug now", "send", "send ", "send xy", "send 1"}) {
    EXPECT_EQ(ParseCommand(line).verb, sCommand::Unknown) << line;
    EXPECT_EQ(ParseCommand(line).line, line);
  }
}

TEST(ModemSimControlTest, CommandsComeOutLineByLineHoweverTheyArrive) {
  cCommandReader reader;
  std::vector<sCommand> commands;
  reader.Push("pau", commands);
  EXPECT_TRUE(commands.empty());
  reader.Push("se\n\nresume\nqu", commands);
  ASSERT_EQ(commands.size(), 2U);
  EXPECT_EQ(commands[0].verb, sCommand::Pause);
  EXPECT_EQ(commands[1].verb, sCommand::Resume);
  reader.Push("it\n", commands);
  EXPECT_EQ(commands.back().verb, sCommand::Quit);
}

class ModemSimReportTest : public testing::Test {
 protected:
  struct sPipe {
    cUniqueFd reading;
    cUniqueFd writing;
  };
  static sPipe MakePipe() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(::pipe(ends), 0);
    return {cUniqueFd(ends[0]), cUniqueFd(ends[1])};
  }
  static std::string ReadOnce(const cUniqueFd& fd) {
    std::array<char, 4096> text{};
    const ssize_t count = ::read(fd.Get(), text.data(), text.size());
    return std::string(text.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  }
};

TEST_F(ModemSimReportTest, PacketsAreNumberedAndEventsAreNot) {
  const sPipe output = MakePipe();
  cReport report(output.writing.Get(), cUniqueFd(), true);
  report.Packet({{"kind", "log"}});
  report.Event("plugged", {{"connection", 1}});
  report.Packet({{"kind", "event"}});
  EXPECT_TRUE(report.Flush());
  EXPECT_EQ(ReadOnce(output.reading),
            "{\"seq\":0,\"kind\":\"log\"}\n"
            "{\"event\":\"plugged\",\"connection\":1}\n"
            "{\"seq\":1,\"kind\":\"event\"}\n");
}

TEST_F(ModemSimReportTest, WithAFileStandardOutputShowsTheEventsOnly) {
  const sPipe output = MakePipe();
  sPipe file = MakePipe();
  cReport report(output.writing.Get(), std::move(file.writing), true);
  report.Event("plugged");
  report.Packet({{"kind", "log"}});
  EXPECT_TRUE(report.Flush());
  EXPECT_EQ(ReadOnce(output.reading), "{\"event\":\"plugged\"}\n");
  EXPECT_EQ(ReadOnce(file.reading), "{\"event\":\"plugged\"}\n{\"seq\":0,\"kind\":\"log\"}\n");
}

TEST_F(ModemSimReportTest, PacketsCanBeLeftOut) {
  const sPipe output = MakePipe();
  cReport report(output.writing.Get(), cUniqueFd(), false);
  report.Packet({{"kind", "log"}});
  report.Event("end");
  EXPECT_TRUE(report.Flush());
  EXPECT_EQ(ReadOnce(output.reading), "{\"event\":\"end\"}\n");
}

TEST_F(ModemSimReportTest, AReportThatCannotBeWrittenIsAFailure) {
  const sPipe output = MakePipe();
  cReport toFull(output.writing.Get(), cUniqueFd(::open("/dev/full", O_WRONLY)), true);
  toFull.Packet({{"kind", "log"}});
  EXPECT_FALSE(toFull.Flush());
  cReport toNowhere(-1, cUniqueFd(), true);
  toNowhere.Event("plugged");
  EXPECT_FALSE(toNowhere.Flush());
}

TEST_F(ModemSimReportTest, WithAFileNobodyNeedListenToStandardOutput) {
  sPipe file = MakePipe();
  cReport report(-1, std::move(file.writing), true);
  report.Event("plugged");
  EXPECT_TRUE(report.Flush());
  EXPECT_EQ(ReadOnce(file.reading), "{\"event\":\"plugged\"}\n");
}

}  // namespace
}  // namespace corvane::modem_sim
