#include "corvane/capture/device_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <sstream>

#include "convert/framing.h"
#include "reader/capture_builder.h"
#include "support/bytes.h"

namespace corvane::tools {
namespace {

using testing::ElementsAre;
using eOutcome = sProbeAnswer::eOutcome;

// The version request and its frame: CRC-16/X.25 of a zero byte is 0xF078.
constexpr char kFramedRequest[] = "00 78 F0 7E";

// A port that answers with these bytes, a read each.
class cScriptedLine final : public cProbedLine {
 public:
  [[nodiscard]] bool Write(std::span<const std::uint8_t> bytes) override {
    written.insert(written.end(), bytes.begin(), bytes.end());
    return writes;
  }
  [[nodiscard]] std::optional<std::vector<std::uint8_t>> Read() override {
    ++reads;
    if (answers.empty()) {
      return fails ? std::nullopt : std::optional(std::vector<std::uint8_t>());
    }
    auto answer = answers.front();
    answers.pop_front();
    return answer;
  }

  std::deque<ByteVector> answers;
  bool writes = true;
  bool fails = false;  // once the answers are over
  int reads = 0;
  ByteVector written;
};

class PortProbeTest : public testing::Test {
 protected:
  // What the port answers, listened to for ten reads.
  [[nodiscard]] sProbeAnswer Ask() {
    return AskVersion(line, [this] { return line.reads >= 10; });
  }

  cScriptedLine line;
};

// "Oct 18 2019", a zero, "NR", a zero and "modem".
TEST_F(PortProbeTest, OneRequestIsSentAndItsAnswerTold) {
  line.answers = {FrameOf(Hex("00 4F 63 74 20 31 38 20 32 30 31 39 00 4E 52 00 6D 6F 64 65 6D"))};
  const sProbeAnswer answer = Ask();
  EXPECT_EQ(answer.outcome, eOutcome::Answered);
  EXPECT_EQ(answer.text, "version \"Oct 18 2019, modem\"");
  EXPECT_EQ(line.written, Hex(kFramedRequest));
}

// What most modems answer: dates, times and a name of fixed lengths without anything between them.
TEST_F(PortProbeTest, TheFieldsOfAVersionAreToldApart) {
  const auto answer = [this](std::string_view fields) {
    ByteVector reply = {0x00};
    reply.insert(reply.end(), fields.begin(), fields.end());
    const ByteVector numbers = Hex("00 06 41 FF 01 00 02 00");
    reply.insert(reply.end(), numbers.begin(), numbers.end());
    line.answers = {FrameOf(reply)};
    return Ask().text;
  };
  EXPECT_EQ(answer("Oct 18 201914:30:05Dec  3 202009:00:00NR9MODEM"),
            "version \"NR9MODEM\", compiled Oct 18 2019 14:30:05, released Dec  3 2020 09:00:00");
  EXPECT_EQ(answer("Oct 18 201914:30:05Dec  3 202009:00:00NR9     "),
            "version \"NR9\", compiled Oct 18 2019 14:30:05, released Dec  3 2020 09:00:00");
  // Of another layout the texts are told as they stand.
  EXPECT_EQ(answer("Release of the modem of Oct 18 2019, and its name"),
            "version \"Release of the modem of Oct 18 2019, and its name\"");
}

TEST_F(PortProbeTest, AnAnswerMayComeInPiecesBehindOtherPackets) {
  ByteVector all = FrameOf(Hex("79 00 00 00"));
  const ByteVector bad = Hex("01 02 03 04 7E");
  all.insert(all.end(), bad.begin(), bad.end());
  const ByteVector reply = FrameOf(Hex("00 01 02"));
  all.insert(all.end(), reply.begin(), reply.end());
  for (const std::uint8_t byte : all) {
    line.answers.push_back({byte});
  }
  const sProbeAnswer answer =
      AskVersion(line, [this] { return line.answers.empty() && line.reads >= 100; });
  EXPECT_EQ(answer.outcome, eOutcome::Answered);
  EXPECT_EQ(answer.text, "its version");
  EXPECT_TRUE(line.answers.empty());
}

TEST_F(PortProbeTest, ARefusalIsAnAnswerToo) {
  line.answers = {FrameOf(Hex("13 00"))};
  const sProbeAnswer answer = Ask();
  EXPECT_EQ(answer.outcome, eOutcome::Answered);
  EXPECT_EQ(answer.text, "it refuses to tell its version (bad command)");
}

TEST_F(PortProbeTest, ARefusalOfAnotherRequestIsNone) {
  line.answers = {FrameOf(Hex("13 1D"))};
  EXPECT_EQ(Ask().outcome, eOutcome::Silent);
}

TEST_F(PortProbeTest, TheEchoOfARequestIsNoAnswer) {
  line.answers = {Hex(kFramedRequest), Hex("0D 0A 45 52 52 4F 52 0D 0A")};
  const sProbeAnswer answer = Ask();
  EXPECT_EQ(answer.outcome, eOutcome::Silent);
  EXPECT_EQ(answer.text, "no answer");
  EXPECT_EQ(line.reads, 10);
}

TEST_F(PortProbeTest, APortThatTakesNoDataIsTold) {
  line.writes = false;
  const sProbeAnswer answer = Ask();
  EXPECT_EQ(answer.outcome, eOutcome::Failed);
  EXPECT_EQ(answer.text, "it takes no data");
  EXPECT_EQ(line.reads, 0);
}

TEST_F(PortProbeTest, APortThatCannotBeReadIsTold) {
  line.fails = true;
  const sProbeAnswer answer = Ask();
  EXPECT_EQ(answer.outcome, eOutcome::Failed);
  EXPECT_EQ(answer.text, "it cannot be read");
}

// A machine with these devices.
class cListedDevices final : public cDeviceSource {
 public:
  [[nodiscard]] std::vector<sPresentPort> Ports() override { return ports; }
  [[nodiscard]] std::vector<std::string> Interfaces() override { return interfaces; }
  [[nodiscard]] std::vector<sProbeAnswer> Probe(const std::vector<std::string>& names) override {
    probed = names;
    return answers;
  }

  std::vector<sPresentPort> ports;
  std::vector<std::string> interfaces;
  std::vector<sProbeAnswer> answers;
  std::vector<std::string> probed;
};

class DeviceListTest : public testing::Test {
 protected:
  [[nodiscard]] std::string Show(const sDeviceListOptions& options) {
    std::ostringstream out;
    std::ostringstream told;
    ShowDevices(options, devices, out, told);
    errors = told.str();
    return out.str();
  }
  void AddDevices() {
    devices.ports = {{"COM7", "Acme DIAG"}, {"COM10", ""}, {"COM11", "AT"}, {"COM12", "AT"}};
    devices.interfaces = {"{5A1B}"};
    devices.answers = {{eOutcome::Answered, "version \"1\""},
                       {eOutcome::NotOpened, "another program has it"},
                       {eOutcome::Silent, "no answer"},
                       {eOutcome::Failed, "it takes no data"}};
  }

  cListedDevices devices;
  std::string errors;
};

TEST_F(DeviceListTest, WithoutAnyDeviceThatIsSaid) {
  const std::string none = "No COM port and no mobile-broadband interface is present.\n";
  EXPECT_EQ(Show({}), "");
  EXPECT_EQ(errors, none);
  EXPECT_EQ(Show({.probe = true, .json = true}), "");
  EXPECT_EQ(errors, none);
  EXPECT_TRUE(devices.probed.empty());
}

TEST_F(DeviceListTest, EachDeviceHasALineAndNothingIsAsked) {
  AddDevices();
  EXPECT_EQ(Show({}),
            "COM7         Acme DIAG\n"
            "COM10        COM port\n"
            "COM11        AT\n"
            "COM12        AT\n"
            "QMBE:{5A1B}  mobile-broadband interface\n");
  EXPECT_TRUE(devices.probed.empty());
}

TEST_F(DeviceListTest, ProbedPortsShowTheirAnswers) {
  AddDevices();
  EXPECT_EQ(Show({.probe = true, .json = false}),
            "COM7         Acme DIAG: answered: version \"1\"\n"
            "COM10        COM port: cannot be opened: another program has it\n"
            "COM11        AT: no answer\n"
            "COM12        AT: it takes no data\n"
            "QMBE:{5A1B}  mobile-broadband interface\n");
  EXPECT_THAT(devices.probed, ElementsAre("COM7", "COM10", "COM11", "COM12"));
}

TEST_F(DeviceListTest, InJsonEachDeviceIsAnObject) {
  AddDevices();
  devices.ports.resize(2);
  EXPECT_EQ(Show({.probe = true, .json = true}),
            R"({"device":"COM7","kind":"com-port","description":"Acme DIAG","probe":"answered",)"
            R"("answer":"version \"1\""})"
            "\n"
            R"({"device":"COM10","kind":"com-port","probe":"not-opened",)"
            R"("answer":"another program has it"})"
            "\n"
            R"({"device":"QMBE:{5A1B}","kind":"mobile-broadband"})"
            "\n");
}

}  // namespace
}  // namespace corvane::tools
