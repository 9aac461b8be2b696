#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "corvane/capture/capture_host.h"

// A capture's surroundings as a test says.
namespace corvane::tools {

// A machine whose clock moves only while a capture waits.
class cScriptedHost final : public cCaptureHost {
 public:
  void CaptureStarts() override { now = std::chrono::milliseconds(0); }
  [[nodiscard]] std::chrono::milliseconds Elapsed() override { return now; }
  [[nodiscard]] bool WaitForStop(std::chrono::milliseconds time) override {
    waits.push_back(time);
    const bool stopped = stopAt && now + time >= *stopAt;
    now = stopped ? *stopAt : now + time;
    if (atEachSecond) {
      atEachSecond();
    }
    return stopped;
  }
  [[nodiscard]] std::optional<std::uint64_t> FreeSpace(const std::string& path) override {
    ++looksAtDisk;
    askedPath = path;
    return freeSpace;
  }
  [[nodiscard]] bool IsInUse(const std::string&) override { return isInUse; }
  [[nodiscard]] std::vector<sPresentPort> PresentComPorts() override {
    ++looksAtPorts;
    return ports;
  }
  [[nodiscard]] std::optional<std::string> TryToOpen(const std::string& port) override {
    tried.push_back(port);
    return busy;
  }
  [[nodiscard]] std::uint64_t Now() override { return wallClock; }
  [[nodiscard]] std::vector<sTypedLine> TypedLines() override { return std::exchange(typed, {}); }

  std::chrono::milliseconds now{0};
  std::optional<std::chrono::milliseconds> stopAt;
  std::function<void()> atEachSecond;  // after each wait
  std::optional<std::uint64_t> freeSpace = 1'000'000'000;
  bool isInUse = false;
  std::vector<sPresentPort> ports = {{"COM7", ""}};
  std::optional<std::string> busy;
  std::uint64_t wallClock = 13'360'429'805'000;  // 2024-05-17T14:30:05Z
  std::vector<std::chrono::milliseconds> waits;
  std::vector<std::string> tried;
  std::vector<sTypedLine> typed;
  std::string askedPath;
  int looksAtDisk = 0;
  int looksAtPorts = 0;
};

// Keeps what is told, a line each; a complaint begins with "! ", and a warning with "! warning: ".
class cKeptLines final : public cCaptureReporter {
 public:
  void Tell(const std::string& line) override { lines.push_back(line); }
  void Complain(const std::string& problem) override { lines.push_back("! " + problem); }
  void Warn(std::uint64_t, const std::string& problem) override { Complain("warning: " + problem); }

  std::vector<std::string> lines;
};

}  // namespace corvane::tools
