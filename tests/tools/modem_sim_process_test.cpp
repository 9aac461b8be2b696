#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <set>
#include <tuple>

#include "modem_sim/diag_packets.h"
#include "modem_sim/hdlc_peer.h"
#include "modem_sim/unique_fd.h"
#include "support/temp_directory.h"

// Runs the real program and plays the host at its terminal. MODEM_SIM_PROGRAM is its path.
namespace corvane::modem_sim {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;

// Far longer than anything takes; a wait that reaches it is a failure.
constexpr milliseconds kDeadline{30000};

bool WaitReadable(int fd, milliseconds patience) {
  pollfd ready{fd, POLLIN, 0};
  return ::poll(&ready, 1, static_cast<int>(patience.count())) == 1;
}

// The program, with its standard input and output in our hands.
class cProgram {
 public:
  explicit cProgram(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), MODEM_SIM_PROGRAM);
    int input[2] = {-1, -1};
    int output[2] = {-1, -1};
    if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0) {
      return;
    }
    commands = cUniqueFd(input[1]);
    events = cUniqueFd(output[0]);
    const cUniqueFd childInput(input[0]);
    const cUniqueFd childOutput(output[1]);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, childInput.Get(), STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, childOutput.Get(), STDOUT_FILENO);
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
      argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    if (::posix_spawn(&pid, MODEM_SIM_PROGRAM, &actions, nullptr, argv.data(), environ) != 0) {
      pid = -1;
    }
    ::posix_spawn_file_actions_destroy(&actions);
  }
  ~cProgram() {
    if (pid > 0) {
      ::kill(pid, SIGKILL);
      ::waitpid(pid, nullptr, 0);
    }
  }
  cProgram(const cProgram&) = delete;
  cProgram& operator=(const cProgram&) = delete;

  // The next line of standard output, or null at its end or when none comes within `patience`.
  json NextLine(milliseconds patience = kDeadline) {
    const auto deadline = steady_clock::now() + patience;
    std::size_t end = 0;
    while ((end = text.find('\n')) == std::string::npos) {
      std::array<char, 4096> piece{};
      const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
      if (!WaitReadable(events.Get(), std::max(left, milliseconds(0)))) {
        return nullptr;
      }
      const ssize_t count = ::read(events.Get(), piece.data(), piece.size());
      if (count <= 0) {
        return nullptr;
      }
      text.append(piece.data(), static_cast<std::size_t>(count));
    }
    json line = json::parse(text.substr(0, end));
    text.erase(0, end + 1);
    return line;
  }

  // Skips lines up to the event with this name and returns it.
  json WaitFor(const std::string& event) {
    while (true) {
      json line = NextLine();
      if (line.is_null()) {
        ADD_FAILURE() << event << " does not come";
        return line;
      }
      if (line.value("event", "") == event) {
        return line;
      }
    }
  }

  // Whether the event with this name is among the lines that are there; skips those up to it.
  bool HasCome(const std::string& event) {
    for (json line = NextLine(milliseconds(0)); !line.is_null(); line = NextLine(milliseconds(0))) {
      if (line.value("event", "") == event) {
        return true;
      }
    }
    return false;
  }

  // Gives a command and returns the result that is reported for it.
  std::string Command(const std::string& line) {
    const std::string whole = line + "\n";
    EXPECT_EQ(::write(commands.Get(), whole.data(), whole.size()),
              static_cast<ssize_t>(whole.size()));
    return WaitFor("command").value("result", "");
  }

  void CloseCommands() { commands.Reset(); }
  void Signal(int number) { ::kill(pid, number); }

  // Waits for the end. Returns the exit code, or -1 for any other end.
  int Wait() {
    while (!NextLine().is_null()) {
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid = -1;
  cUniqueFd commands;
  cUniqueFd events;
  std::string text;
};

// The host at the slave end.
class cHost {
 public:
  explicit cHost(const std::string& path)
      : line(::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    EXPECT_TRUE(line.IsOpen()) << path;
    termios settings{};
    ::tcgetattr(line.Get(), &settings);
    settings.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF);
    ::tcsetattr(line.Get(), TCSANOW, &settings);
  }

  // Reads until `enough` holds. False when the line was hung up before, or time is over.
  bool ReadUntil(const std::function<bool()>& enough) {
    const auto deadline = steady_clock::now() + kDeadline;
    while (!enough()) {
      if (steady_clock::now() > deadline) {
        ADD_FAILURE() << "the host waited in vain";
        return false;
      }
      if (WaitReadable(line.Get(), milliseconds(10)) && !ReadOnce()) {
        return false;
      }
    }
    return true;
  }
  void ReadToTheEnd() {
    EXPECT_FALSE(ReadUntil([] { return false; }));
  }

  void Send(ByteView request) { Write(Frame(request)); }
  void Write(ByteView bytes) {
    EXPECT_EQ(::write(line.Get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }

  // Sends a request and waits for the next packet that is an answer.
  Bytes Ask(ByteView request) {
    const std::size_t before = answers.size();
    Send(request);
    if (!ReadUntil([&] { return answers.size() > before; })) {
      return {};
    }
    return answers[before];
  }

  // The masks that the tests use.
  void SetMasks() {
    Ask(Bytes{0x60, 1});
    Ask(FromHex("82000000 0a00 0102").value());
    Ask(FromHex("7d04 0500 0500 0000 09000000").value());
    Bytes logMask = FromHex("73000000 03000000 04000000 00100000").value();
    logMask.resize(16 + 512, 0);
    logMask[16 + 0x12F / 8] = 1U << 0x12F % 8;
    logMask.back() = 0x80;
    Ask(logMask);
  }

  std::vector<sReceivedFrame> frames;  // all of them
  std::vector<Bytes> packets;          // the good ones with a packet in it
  std::vector<Bytes> answers;          // those of them that are not streamed
  std::size_t damaged = 0;
  std::size_t idle = 0;
  std::vector<std::size_t> reads;  // sizes

 private:
  bool ReadOnce() {
    std::array<std::uint8_t, 8192> piece{};
    const ssize_t count = ::read(line.Get(), piece.data(), piece.size());
    if (count <= 0) {
      return false;
    }
    reads.push_back(static_cast<std::size_t>(count));
    std::vector<sReceivedFrame> received;
    deframer.Push(ByteView(piece).first(static_cast<std::size_t>(count)), received);
    for (sReceivedFrame& frame : received) {
      Take(frame);
    }
    return true;
  }

  void Take(const sReceivedFrame& frame) {
    frames.push_back(frame);
    if (!frame.good) {
      // The idle frame is a good CRC and nothing else.
      (frame.packet == Bytes{0, 0} ? idle : damaged) += 1;
      return;
    }
    packets.push_back(frame.packet);
    static const std::set<unsigned> kStreamed = {0x10, 0x1F, 0x60, 0x79, 0x92};
    if (!kStreamed.contains(frame.packet[0]) || frame.packet == Bytes{0x60, 0, 0}) {
      answers.push_back(frame.packet);
    }
  }

  cUniqueFd line;
  cDeframer deframer;
};

class ModemSimProcessTest : public testing::Test {
 protected:
  // Starts the program with the link and report file of the test and these arguments.
  cProgram& Start(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--link", link, "--report", reportPath});
    program.emplace(std::move(arguments));
    plugged = program->WaitFor("plugged");
    return *program;
  }

  // Makes sure that the report has all that has arrived: a packet is reported right after it was
  // written, and a command is answered after that.
  void Synchronise() { EXPECT_EQ(program->Command("reply release"), "ok"); }

  // The report so far. Only whole lines: the last one may be on its way.
  [[nodiscard]] std::vector<json> Report() const {
    std::vector<json> lines;
    std::ifstream file(reportPath);
    for (std::string line; std::getline(file, line) && !file.eof();) {
      lines.push_back(json::parse(line));
    }
    return lines;
  }
  [[nodiscard]] std::vector<json> Packets(const std::string& direction) const {
    std::vector<json> packets;
    for (const json& line : Report()) {
      if (line.value("dir", "") == direction) {
        packets.push_back(line);
      }
    }
    return packets;
  }
  void WaitForReport(const std::function<bool(const json&)>& wanted) const {
    const auto deadline = steady_clock::now() + kDeadline;
    while (steady_clock::now() < deadline) {
      for (const json& line : Report()) {
        if (wanted(line)) {
          return;
        }
      }
      ::usleep(1000);
    }
    ADD_FAILURE() << "the report does not come to say it";
  }

  static std::string Hex(const json& line) { return line.value("hex", ""); }

  // The host has received exactly what the report says that was sent, in its order.
  void ExpectReported(const cHost& host) {
    Synchronise();
    std::vector<std::string> good;
    std::size_t bad = 0;
    for (const json& line : Packets("tx")) {
      if (line["crc"] == "good") {
        good.push_back(Hex(line));
      } else {
        ++bad;
      }
    }
    ASSERT_EQ(host.packets.size(), good.size());
    for (std::size_t i = 0; i < good.size(); ++i) {
      ASSERT_EQ(ToHex(host.packets[i]), good[i]) << "packet " << i;
    }
    EXPECT_EQ(host.damaged, bad);
  }

  // Reads until the stream has ended and all of it is here.
  void ReadWholeStream(cHost& host) {
    host.ReadUntil([&] { return program->HasCome("stream-end"); });
    std::size_t good = 0;
    std::size_t bad = 0;
    for (const json& line : Packets("tx")) {
      ++(line["crc"] == "good" ? good : bad);
    }
    host.ReadUntil([&] { return host.packets.size() >= good && host.damaged >= bad; });
  }

  cTempDirectory folder;
  std::string link = folder.Path("modem");
  std::string reportPath = folder.Path("report.jsonl");
  std::optional<cProgram> program;
  json plugged;
};

TEST_F(ModemSimProcessTest, TheFirstLineTellsThePathAndTheLinkLeadsThere) {
  program.emplace(std::vector<std::string>{"--link", link});
  const json first = program->NextLine();
  EXPECT_EQ(first["event"], "plugged");
  EXPECT_EQ(first["connection"], 1);
  EXPECT_EQ(first["link"], link);
  EXPECT_EQ(std::filesystem::read_symlink(link), first["path"].get<std::string>());
}

TEST_F(ModemSimProcessTest, TheLineIsRawWithFlowControlOn) {
  Start({});
  const cUniqueFd line(::open(link.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  ASSERT_EQ(::tcgetattr(line.Get(), &settings), 0);
  EXPECT_EQ(settings.c_iflag & (IXON | IXOFF), static_cast<tcflag_t>(IXON | IXOFF));
  EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ISIG), 0U);
  EXPECT_EQ(settings.c_oflag & OPOST, 0U);
  EXPECT_EQ(settings.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
}

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

TEST_F(ModemSimProcessTest, AHangUpDeliversItsPacketAndTheStreamGoesOnAfterTheReturn) {
  Start({"--rate", "max", "--count", "60", "--hang-up", "29", "--return-after", "50ms"});
  {
    cHost host(link);
    host.SetMasks();
    host.ReadToTheEnd();
    EXPECT_EQ(host.packets.size(), 4U + 30U);
  }
  EXPECT_EQ(program->WaitFor("unplugged")["drained"], true);
  const json again = program->WaitFor("plugged");
  EXPECT_EQ(again["connection"], 2);
  EXPECT_EQ(std::filesystem::read_symlink(link), again["path"].get<std::string>());
  cHost host(link);
  host.SetMasks();
  host.ReadUntil([&] { return host.packets.size() == 4U + 30U; });
  Synchronise();
  const json last = Packets("tx").back();
  EXPECT_EQ(last["connection"], 2);
  EXPECT_EQ(last["number"], 59);
  // Requests count from 0 on each connection.
  std::vector<int> numbers;
  for (const json& line : Packets("rx")) {
    numbers.push_back(line["number"]);
  }
  EXPECT_EQ(numbers, (std::vector<int>{0, 1, 2, 3, 0, 1, 2, 3}));
}

TEST_F(ModemSimProcessTest, CommandsUnplugAndPlug) {
  Start({});
  {
    cHost host(link);
    EXPECT_EQ(program->Command("plug"), "already plugged in");
    EXPECT_EQ(program->Command("unplug"), "ok");
    host.ReadToTheEnd();
  }
  program->WaitFor("unplugged");
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(link)));
  EXPECT_EQ(program->Command("unplug"), "not plugged in");
  EXPECT_EQ(program->Command("send 00"), "not plugged in");
  EXPECT_EQ(program->Command("plug"), "ok");
  cHost host(link);
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x1C})), "1c0800");
}

TEST_F(ModemSimProcessTest, SignalsUnplugAndPlug) {
  Start({});
  program->Signal(SIGUSR1);
  program->WaitFor("unplugged");
  program->Signal(SIGUSR2);
  EXPECT_EQ(program->WaitFor("plugged")["connection"], 2);
}

TEST_F(ModemSimProcessTest, CommandsSendPacketsAndBytes) {
  Start({});
  cHost host(link);
  EXPECT_EQ(program->Command("send 4b 25 08 00"), "ok");
  EXPECT_EQ(program->Command("send-raw 0102030405 7e"), "ok");
  host.ReadUntil([&] { return host.packets.size() == 1 && host.damaged == 1; });
  EXPECT_EQ(ToHex(host.packets[0]), "4b250800");
  EXPECT_EQ(program->Command("send x"), "unknown command");
  ExpectReported(host);
}

TEST_F(ModemSimProcessTest, TheStreamCanBePausedAndResumed) {
  Start({"--paused", "--settle", "0", "--heartbeat", "20ms", "--count", "5"});
  cHost host(link);
  host.SetMasks();
  host.ReadUntil([&] { return host.idle >= 3; });
  EXPECT_EQ(host.packets.size(), 4U);
  EXPECT_EQ(program->Command("resume"), "ok");
  host.ReadUntil([&] { return host.packets.size() == 9; });
}

TEST_F(ModemSimProcessTest, AHostThatClosesTheTerminalIsForgotten) {
  Start({"--settle", "0", "--heartbeat", "20ms", "--rate", "max"});
  {
    cHost host(link);
    host.SetMasks();
    host.ReadUntil([&] { return host.packets.size() > 50; });
  }
  program->WaitFor("host-closed");
  cHost host(link);
  host.ReadUntil([&] { return host.idle >= 3; });
  // Nothing is left over for the next host, and nothing is on.
  EXPECT_THAT(host.packets, IsEmpty());
  EXPECT_EQ(host.damaged, 0U);
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x1C})), "1c0800");
  Synchronise();
  EXPECT_EQ(Packets("rx").back()["number"], 0);
}

TEST_F(ModemSimProcessTest, TheLineIsSetUpAfreshForTheNextHost) {
  Start({});
  {
    cHost host(link);
    program->WaitFor("host-opened");
  }
  program->WaitFor("host-closed");
  const cUniqueFd line(::open(link.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  ASSERT_EQ(::tcgetattr(line.Get(), &settings), 0);
  EXPECT_EQ(settings.c_iflag & (IXON | IXOFF), static_cast<tcflag_t>(IXON | IXOFF));
}

TEST_F(ModemSimProcessTest, OneOfTwoHostsClosingIsNoEndOfTheOther) {
  Start({});
  cHost host(link);
  std::ignore = host.Ask(Bytes{0x1C});
  { cHost other(link); }
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x60, 1})), "600000");
  Synchronise();
  EXPECT_EQ(Packets("rx").back()["number"], 1);
}

TEST_F(ModemSimProcessTest, RequestsAreReadWhileTheHostReadsNothing) {
  Start({"--settle", "0", "--rate", "max", "--count", "3000"});
  cHost host(link);
  host.SetMasks();
  // The line is full when packets wait; only then is the next request sent.
  program->WaitFor("stream-start");
  host.Send(Bytes{0x1C});
  WaitForReport([](const json& line) {
    return line.value("dir", "") == "rx" && line.value("hex", "") == "1c";
  });
  host.ReadUntil([&] { return host.packets.size() == 3000U + 5U; });
  program->WaitFor("stream-end");
  ExpectReported(host);
}

TEST_F(ModemSimProcessTest, AtTheEndOfTheStreamItQuitsWhenTold) {
  Start({"--rate", "max", "--count", "10", "--then", "quit"});
  cHost host(link);
  host.SetMasks();
  host.ReadToTheEnd();
  EXPECT_EQ(host.packets.size(), 14U);
  EXPECT_EQ(program->WaitFor("stream-end")["packets"], 10);
  const json end = program->WaitFor("end");
  EXPECT_EQ(end["streamed"], 10);
  EXPECT_EQ(end["requests"], 4);
  EXPECT_EQ(program->Wait(), 0);
}

TEST_F(ModemSimProcessTest, AtTheEndOfTheStreamItHangsUpWhenToldAndStaysAway) {
  Start({"--rate", "max", "--count", "10", "--then", "hang-up", "--return-after", "1ms"});
  cHost host(link);
  host.SetMasks();
  host.ReadToTheEnd();
  program->WaitFor("unplugged");
  EXPECT_EQ(program->Command("unplug"), "not plugged in");
}

TEST_F(ModemSimProcessTest, TheStreamEndsAfterItsDuration) {
  Start({"--rate", "200", "--duration", "100ms"});
  cHost host(link);
  host.SetMasks();
  ReadWholeStream(host);
  ExpectReported(host);
}

TEST_F(ModemSimProcessTest, ASignalEndsItCleanly) {
  for (const int signal : {SIGINT, SIGTERM}) {
    Start({});
    cHost host(link);
    program->Signal(signal);
    EXPECT_EQ(program->Wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(link)));
    EXPECT_EQ(Report().back()["event"], "end");
  }
}

TEST_F(ModemSimProcessTest, TheEndOfItsCommandsIsNotItsEnd) {
  Start({});
  program->CloseCommands();
  cHost host(link);
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x1C})), "1c0800");
}

TEST_F(ModemSimProcessTest, AnOldLinkIsReplacedAndAForeignOneLeftAlone) {
  std::filesystem::create_symlink("/nowhere", link);
  Start({});
  EXPECT_EQ(std::filesystem::read_symlink(link), plugged["path"].get<std::string>());
  std::filesystem::remove(link);
  std::filesystem::create_symlink("/elsewhere", link);
  EXPECT_EQ(program->Command("quit"), "ok");
  EXPECT_EQ(program->Wait(), 0);
  EXPECT_EQ(std::filesystem::read_symlink(link), "/elsewhere");
}

TEST_F(ModemSimProcessTest, WithoutReportFileThePacketsGoToStandardOutput) {
  program.emplace(std::vector<std::string>{"--link", link});
  program->WaitFor("plugged");
  cHost host(link);
  std::ignore = host.Ask(Bytes{0x1C});
  program->WaitFor("host-opened");
  EXPECT_EQ(program->NextLine()["hex"], "1c");
  EXPECT_EQ(program->NextLine()["hex"], "1c0800");
}

TEST_F(ModemSimProcessTest, WhatCannotBeSetUpIsRefused) {
  std::ofstream(folder.Path("file")) << "kept";
  EXPECT_EQ(cProgram({"--link", folder.Path("file")}).Wait(), 1);
  EXPECT_EQ(std::filesystem::file_size(folder.Path("file")), 4U);
  EXPECT_EQ(cProgram({"--link", folder.Path("no/such/place")}).Wait(), 1);
  EXPECT_EQ(cProgram({"--report", folder.Path("no/such/place")}).Wait(), 1);
  EXPECT_EQ(cProgram({"--report", "/dev/full"}).Wait(), 1);
  EXPECT_EQ(cProgram({"--rate", "x"}).Wait(), 2);
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
