#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "capture/isf/store.h"
#include "capture/text_item.h"
#include "corvane/capture/capture_run.h"
#include "diag/requests.h"
#include "reader/capture_file.h"
#include "reader/utc_time.h"
#include "support/bytes.h"
#include "support/temp_directory.h"

// Whole captures without Windows: a machine and a library of the tests' own, and real files.
namespace corvane::tools {

// When the machine's clock begins.
inline const std::uint64_t kCourseStart = *ParseUtc("2026-03-01T10:00:00Z");

// A machine whose clock moves only while somebody waits.
class cSteppedHost final : public cCaptureHost {
 public:
  void CaptureStarts() override { began = now; }
  [[nodiscard]] std::chrono::milliseconds Elapsed() override { return now - began; }
  [[nodiscard]] bool WaitForStop(std::chrono::milliseconds time) override {
    const bool stopped = stopAt && now + time >= *stopAt;
    now = stopped ? std::max(now, *stopAt) : now + time;
    if (whileWaiting) {
      whileWaiting();
    }
    return stopped;
  }
  [[nodiscard]] std::optional<std::uint64_t> FreeSpace(const std::string&) override {
    return freeSpace;
  }
  [[nodiscard]] bool IsInUse(const std::string&) override { return false; }
  [[nodiscard]] std::vector<sPresentPort> PresentComPorts() override { return {{"COM7", "DIAG"}}; }
  [[nodiscard]] std::optional<std::string> TryToOpen(const std::string&) override { return busy; }
  [[nodiscard]] std::uint64_t Now() override {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(kCourseStart) +
                                      (now + clockSet).count());
  }
  [[nodiscard]] std::vector<sTypedLine> TypedLines() override { return std::exchange(typed, {}); }

  std::chrono::milliseconds now{0};
  std::chrono::milliseconds began{0};
  std::chrono::milliseconds clockSet{0};  // how far the wall clock was set on
  std::optional<std::chrono::milliseconds> stopAt;
  std::function<void()> whileWaiting;
  std::optional<std::string> busy;
  std::optional<std::uint64_t> freeSpace = 1'000'000'000'000;
  std::vector<sTypedLine> typed;
};

// A library whose modem answers so many requests, and then sends a log each time it is let. It
// writes its files by the real store.
class cScriptedLibrary final : public cCaptureLibrary {
 public:
  explicit cScriptedLibrary(cSteppedHost& machine) : host(machine) {}

  [[nodiscard]] bool Start(const std::string&, const std::string&,
                           const std::string& output) override {
    ++starts;
    if (refuses && refuses()) {
      return false;
    }
    store = std::make_unique<cISFStore>(
        sStoreSeams{[this] { return host.Now() * isf::kFileTimeUnitsPerMillisecond; }});
    store->Attach(std::make_unique<std::ofstream>(output, std::ios::binary | std::ios::trunc));
    outputs.push_back(output);
    Text("Corvane version 1.0");
    if (connects) {
      Connect();
    }
    return true;
  }
  void Stop() override {
    ++stops;
    host.now += stopTakes;
    if (whileStopping) {
      whileStopping();
    }
    if (isConnected) {
      Disconnect();
    }
    store->Close();
    store.reset();
    if (afterStop) {
      afterStop();
    }
  }

  // No request goes out.
  void ConnectOnly() {
    isConnected = true;
    Text("Port COM7 connected");
  }
  void Connect() {
    ConnectOnly();
    std::size_t number = 0;
    for (const auto request : StartUpRequests()) {
      if (number > answers) {
        return;
      }
      Add(request, kOriginLibrary);
      if (number++ < answers) {
        Reply(request);
      }
    }
    if (!logMaskReply.empty()) {
      Add(BuildLogMaskRequest(11, {0xB0C0})->Bytes(), kOriginLibrary);
      Add(logMaskReply, kOriginDevice);
    }
  }
  void Disconnect() {
    isConnected = false;
    Text("Port COM7 disconnected");
  }
  // Log 0xB0C0 of 64 bytes.
  void SendLog() {
    ByteVector log(64, 0);
    log[0] = 0x10;
    log[6] = 0xC0;
    log[7] = 0xB0;
    Add(log, kOriginDevice);
  }

  std::function<bool()> refuses;
  std::function<void()> whileStopping;
  std::function<void()> afterStop;
  bool connects = true;  // at the start
  bool isConnected = false;
  std::size_t answers = 1000;
  ByteVector logMaskReply;  // to a request for log 0xB0C0 behind the others; empty for no request
  std::chrono::milliseconds stopTakes{0};
  int starts = 0;
  int stops = 0;
  std::vector<std::string> outputs;
  std::unique_ptr<cISFStore> store;  // while a capture runs

 private:
  void Text(const char* text) {
    const cBufferReference item(MakeTextItem(text));
    ASSERT_EQ(store->AddItem(item.Get(), isf::kInformationItem), 0U);
  }
  void Add(std::span<const std::uint8_t> bytes, std::uint32_t origin) {
    const cBufferReference item(MakeBuffer(bytes, origin));
    ASSERT_EQ(store->AddItem(item.Get(), kAutomaticType), 0U);
  }
  void Reply(std::span<const std::uint8_t> request) {
    ByteVector reply(request.begin(), request.end());
    if (reply[0] == 0x60) {
      reply = {0x60, 0, 0};
    } else {
      reply.resize(16, 1);
    }
    Add(reply, kOriginDevice);
  }

  cSteppedHost& host;
};

class CaptureCourseTest : public testing::Test {
 protected:
  CaptureCourseTest() {
    request.device = "COM7";
    request.configuration = folder.Write("capture.cfg", {});
    request.output = folder.Path("drive.isf");
  }

  int Run(bool quiet = false) {
    cCaptureConsole console(
        {false, quiet, true},
        [this](const std::string& text) {
          errors += text;
          return true;
        },
        [this](const std::string& text) {
          output += text;
          return true;
        });
    cPrintedLines printed(console);
    print = [&printed](const std::string& line) { printed.Take(line); };
    print("bad CRC");
    const int code = RunCapture(request, host, library, console, printed);
    console.Finish();
    return code;
  }

  // The events of this name.
  [[nodiscard]] std::vector<nlohmann::json> Events(const std::string& name) const {
    std::vector<nlohmann::json> events;
    std::stringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
      nlohmann::json event = nlohmann::json::parse(line);
      if (event["event"] == name) {
        events.push_back(std::move(event));
      }
    }
    return events;
  }
  [[nodiscard]] nlohmann::json Summary() const { return Events("summary").at(0); }
  [[nodiscard]] std::string StopReason() const { return Events("stopped").at(0)["reason"]; }

  // A log arrives this often while the capture waits.
  void SendALogEachLook() {
    host.whileWaiting = [this] {
      if (library.store != nullptr) {
        library.SendLog();
      }
    };
  }

  [[nodiscard]] std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(request.output).parent_path())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  [[nodiscard]] static bool IsComplete(const std::string& path) {
    sCaptureError error;
    const auto file = cCaptureFile::Open(path, error);
    return file != nullptr && file->IsComplete();
  }

  // As long as a capture runs: what the library prints.
  std::function<void(const std::string& line)> print;
  cTempDirectory folder;
  sCaptureRequest request;
  cSteppedHost host;
  cScriptedLibrary library{host};
  std::string errors;
  std::string output;
};

}  // namespace corvane::tools
