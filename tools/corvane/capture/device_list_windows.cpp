#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>

#include "corvane/capture/device_list.h"
#include "corvane/capture/host_windows.h"
#include "corvane/command/command_line.h"
#include "io/mbn/mbn_interfaces.h"
#include "platform/windows_handle.h"

namespace corvane::tools {
namespace {

using std::chrono::steady_clock;

// A port as the library sets its line, but that each call on it ends soon.
class cComLine final : public cProbedLine {
 public:
  explicit cComLine(FileHandle opened) : port(std::move(opened)) {}

  // False when the driver refuses.
  [[nodiscard]] bool SetUp() {
    DCB state{};
    state.DCBlength = sizeof state;
    if (!GetCommState(port.Get(), &state)) {
      return false;
    }
    state.fOutX = FALSE;
    state.fInX = FALSE;
    state.fErrorChar = FALSE;
    state.fAbortOnError = FALSE;
    state.ByteSize = 8;
    COMMTIMEOUTS timeouts{};
    timeouts.ReadIntervalTimeout = 2;
    timeouts.ReadTotalTimeoutConstant = kReadTimeMs;
    timeouts.WriteTotalTimeoutConstant = kWriteTimeMs;
    return SetCommState(port.Get(), &state) && SetCommTimeouts(port.Get(), &timeouts);
  }

  [[nodiscard]] bool Write(std::span<const std::uint8_t> bytes) override {
    DWORD written = 0;
    return WriteFile(port.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                     nullptr) &&
           written == bytes.size();
  }

  [[nodiscard]] std::optional<std::vector<std::uint8_t>> Read() override {
    std::vector<std::uint8_t> room(8192);
    DWORD received = 0;
    if (!ReadFile(port.Get(), room.data(), static_cast<DWORD>(room.size()), &received, nullptr)) {
      return std::nullopt;
    }
    room.resize(received);
    return room;
  }

 private:
  static constexpr DWORD kReadTimeMs = 100;
  static constexpr DWORD kWriteTimeMs = 500;

  FileHandle port;
};

[[nodiscard]] sProbeAnswer ProbePort(const std::string& name) {
  using enum sProbeAnswer::eOutcome;
  FileHandle port;
  if (const auto problem = OpenComPort(name, port)) {
    return {NotOpened, *problem};
  }
  if (!port) {
    return {NotOpened, "it is gone"};
  }
  cComLine line(std::move(port));
  if (!line.SetUp()) {
    return {Failed, "its driver does not let the line be set"};
  }
  const auto end = steady_clock::now() + kProbeTime;
  return AskVersion(line, [end] { return steady_clock::now() >= end; });
}

// What the probing threads find. It outlives whoever waits for it: a driver may hold a call up for
// ever, and its thread with it.
struct sProbing {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<sProbeAnswer> answers;
  std::size_t open = 0;  // how many have not answered yet
};

class cMachineDevices final : public cDeviceSource {
 public:
  [[nodiscard]] std::vector<sPresentPort> Ports() override { return SortedComPorts(); }
  [[nodiscard]] std::vector<std::string> Interfaces() override {
    return ListMobileBroadbandInterfaces();
  }
  [[nodiscard]] std::vector<sProbeAnswer> Probe(const std::vector<std::string>& names) override {
    const auto probing = std::make_shared<sProbing>();
    probing->answers.assign(
        names.size(), {sProbeAnswer::eOutcome::Failed, "its driver does not return from a call"});
    probing->open = names.size();
    for (std::size_t number = 0; number < names.size(); ++number) {
      std::thread([probing, number, name = names[number]] {
        sProbeAnswer answer = ProbePort(name);
        const std::lock_guard guard(probing->mutex);
        probing->answers[number] = std::move(answer);
        --probing->open;
        probing->changed.notify_all();
      }).detach();
    }
    std::unique_lock guard(probing->mutex);
    probing->changed.wait_for(guard, 2 * kProbeTime, [&] { return probing->open == 0; });
    return probing->answers;
  }
};

}  // namespace

int ShowDevicesHere(const sDeviceListOptions& options) {
  cMachineDevices devices;
  ShowDevices(options, devices, std::cout, std::cerr);
  return kExitGood;
}

}  // namespace corvane::tools
