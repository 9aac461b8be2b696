#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "modem_sim/diag_packets.h"
#include "modem_sim/hdlc_peer.h"
#include "modem_sim/unique_fd.h"
#include "support/temp_directory.h"

// Runs the real program and plays the host at its terminal. MODEM_SIM_PROGRAM is its path.
namespace corvane::modem_sim {

using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Far longer than anything takes; a wait that reaches it is a failure.
inline constexpr milliseconds kDeadline{30000};

inline bool WaitReadable(int fd, milliseconds patience) {
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

}  // namespace corvane::modem_sim
