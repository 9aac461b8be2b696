#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "tools/modem_sim_process.h"

// What the program sends and what it reports of that.
namespace corvane::modem_sim {
namespace {

using testing::Each;
using testing::IsEmpty;
using testing::IsSupersetOf;

TEST_F(ModemSimProcessTest, EveryRequestIsAnsweredAndReported) {
  Start({});
  cHost host(link);
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x1C})), "1c0800");
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x60, 1})), "600000");
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x29, 1})), "132901");
  Synchronise();
  const std::vector<json> lines = Report();
  ASSERT_GE(lines.size(), 8U);
  const json request = {{"seq", 0},    {"connection", 1}, {"dir", "rx"}, {"kind", "request"},
                        {"number", 0}, {"crc", "good"},   {"hex", "1c"}};
  const json reply = {{"seq", 1},    {"connection", 1}, {"dir", "tx"},    {"kind", "reply"},
                      {"number", 0}, {"crc", "good"},   {"hex", "1c0800"}};
  EXPECT_EQ(lines[1]["event"], "host-opened");
  EXPECT_EQ(lines[2], request);
  EXPECT_EQ(lines[3], reply);
  EXPECT_EQ(lines[7]["number"], 2);
  EXPECT_EQ(lines[7]["seq"], 5);
}

TEST_F(ModemSimProcessTest, ADamagedRequestIsReportedAndNotAnswered) {
  Start({});
  cHost host(link);
  host.Write(FromHex("010203047e").value());
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x1C})), "1c0800");
  Synchronise();
  const std::vector<json> received = Packets("rx");
  ASSERT_EQ(received.size(), 2U);
  EXPECT_EQ(received[0]["kind"], "damaged");
  EXPECT_EQ(received[0]["crc"], "bad");
  EXPECT_EQ(Hex(received[0]), "01020304");
  EXPECT_EQ(received[1]["number"], 0);
}

TEST_F(ModemSimProcessTest, NothingIsStreamedBeforeAMaskAndOnlyWhatIsOnAfterwards) {
  Start({"--settle", "0", "--heartbeat", "20ms", "--rate", "max", "--count", "200"});
  cHost host(link);
  std::ignore = host.Ask(Bytes{0x1C});
  // Idle frames show that time passes.
  host.ReadUntil([&] { return host.idle >= 3; });
  EXPECT_EQ(host.packets.size(), 1U);
  std::ignore = host.Ask(FromHex("7d04 0500 0500 0000 08000000").value());
  ReadWholeStream(host);
  for (const json& line : Packets("tx")) {
    EXPECT_THAT((std::set<std::string>{"reply", "message"}), testing::Contains(line["kind"]));
  }
  ExpectReported(host);
}

TEST_F(ModemSimProcessTest, TheStreamBeginsOnceTheHostHasSetWhatItWants) {
  Start({"--rate", "max", "--count", "50"});
  cHost host(link);
  host.SetMasks();
  ReadWholeStream(host);
  std::vector<std::string> kinds;
  for (const json& line : Packets("tx")) {
    kinds.push_back(line["kind"]);
  }
  ASSERT_EQ(kinds.size(), 54U);
  EXPECT_THAT(std::vector<std::string>(kinds.begin(), kinds.begin() + 4), Each("reply"));
  EXPECT_THAT(kinds, IsSupersetOf({"log", "event", "message"}));
  ExpectReported(host);
}

TEST_F(ModemSimProcessTest, TheReportTellsPacketByPacketWhatArrivesWithEveryFault) {
  Start({"--rate", "2000", "--count", "600", "--bad-crc", "5%,3", "--noise", "5%,0", "--open-noise",
         "4%,7", "--split", "10%", "--merge", "10%,599", "--unasked", "5%", "--gap", "1ms"});
  cHost host(link);
  host.SetMasks();
  ReadWholeStream(host);
  ExpectReported(host);
  const std::vector<json> sent = Packets("tx");
  std::set<std::string> kinds;
  for (const json& line : sent) {
    kinds.insert(line["kind"]);
    if (line.contains("noise")) {
      EXPECT_EQ(line["crc"], "bad");
    }
    if (line["kind"] == "event") {
      EXPECT_FALSE(line["events"].empty());
    }
  }
  EXPECT_EQ(kinds, (std::set<std::string>{"reply", "log", "event", "message", "noise", "unasked"}));
  EXPECT_GT(host.damaged, 20U);
}

TEST_F(ModemSimProcessTest, ChunksCutTheWholeStreamUp) {
  Start({"--rate", "max", "--count", "20", "--chunk", "1-40", "--gap", "0", "--sizes", "small=1"});
  cHost host(link);
  host.SetMasks();
  ReadWholeStream(host);
  ExpectReported(host);
}

TEST_F(ModemSimProcessTest, SplitPacketsArriveInSeveralReads) {
  Start({"--rate", "50", "--count", "4", "--split", "all", "--gap", "60ms", "--mix", "log=1"});
  cHost host(link);
  host.SetMasks();
  const std::size_t before = host.reads.size();
  ReadWholeStream(host);
  EXPECT_GT(host.reads.size() - before, 4U);
  ExpectReported(host);
}

TEST_F(ModemSimProcessTest, TheSameSeedMakesTheSameReport) {
  std::vector<std::vector<json>> reports;
  for (int run = 0; run < 2; ++run) {
    Start({"--seed", "42", "--rate", "max", "--count", "300", "--bad-crc", "5%", "--noise", "5%",
           "--split", "5%", "--unasked", "5%", "--late", "5%=20ms", "--gap", "1ms"});
    cHost host(link);
    host.SetMasks();
    ReadWholeStream(host);
    EXPECT_EQ(program->Command("quit"), "ok");
    host.ReadToTheEnd();
    EXPECT_EQ(program->Wait(), 0);
    std::vector<json> lines = Report();
    // The path, and how often the host was woken, are the machine's.
    lines.front().erase("path");
    lines.back().erase("heartbeats");
    lines.back().erase("bytesSent");
    reports.push_back(lines);
  }
  EXPECT_EQ(reports[0], reports[1]);
  EXPECT_GT(reports[0].size(), 300U);
}

TEST_F(ModemSimProcessTest, AWithheldReplyNeverComes) {
  Start({"--withhold", "1", "--heartbeat", "20ms"});
  cHost host(link);
  std::ignore = host.Ask(Bytes{0x1C});
  host.Send(Bytes{0x00});
  const json withheld = program->WaitFor("withheld");
  EXPECT_EQ(withheld["number"], 1);
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x60, 1})), "600000");
  EXPECT_EQ(host.answers.size(), 2U);
  ExpectReported(host);
}

TEST_F(ModemSimProcessTest, ALateReplyComesAfterALaterOne) {
  Start({"--late", "0x1C=150ms"});
  cHost host(link);
  host.Send(Bytes{0x1C});
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x60, 1})), "600000");
  host.ReadUntil([&] { return host.answers.size() == 2; });
  EXPECT_EQ(ToHex(host.answers[1]), "1c0800");
  Synchronise();
  EXPECT_EQ(Packets("tx").back()["delay"], 150);
}

TEST_F(ModemSimProcessTest, ASpoiledReplyArrivesDamaged) {
  Start({"--spoil-reply", "0"});
  cHost host(link);
  host.Send(Bytes{0x1C});
  host.ReadUntil([&] { return host.damaged == 1; });
  EXPECT_THAT(host.packets, IsEmpty());
  ExpectReported(host);
}

TEST_F(ModemSimProcessTest, RepliesCanBeHeldBackAndReleased) {
  Start({"--heartbeat", "20ms"});
  cHost host(link);
  EXPECT_EQ(program->Command("reply hold"), "ok");
  host.Send(Bytes{0x1C});
  host.Send(Bytes{0x60, 1});
  host.ReadUntil([&] { return host.idle >= 3; });
  EXPECT_THAT(host.answers, IsEmpty());
  EXPECT_EQ(program->Command("reply release"), "ok");
  host.ReadUntil([&] { return host.answers.size() == 2; });
  EXPECT_EQ(ToHex(host.answers[0]), "1c0800");
}

TEST_F(ModemSimProcessTest, SystemInformationIsStreamedWithTheBlocksItCompletes) {
  Start({"--scenario", "sib", "--rate", "max", "--count", "400", "--bad-crc", "5%"});
  cHost host(link);
  host.SetMasks();
  ReadWholeStream(host);
  ExpectReported(host);
  std::size_t blocks = 0;
  for (const json& line : Packets("tx")) {
    if (!line.contains("sib")) {
      continue;
    }
    EXPECT_THAT((std::set<int>{4, 5}), testing::Contains(line["sib"]["channel"]));
    blocks += line["blocks"].size();
    if (line["crc"] == "bad") {
      EXPECT_THAT(line["blocks"], IsEmpty());
    }
  }
  EXPECT_GT(blocks, 100U);
}

}  // namespace
}  // namespace corvane::modem_sim
