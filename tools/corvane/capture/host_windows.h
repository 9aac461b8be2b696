#pragma once

#include <windows.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "corvane/capture/capture_watch.h"
#include "io/serial/com_ports.h"

// What the commands need of Windows: corvane.dll, Ctrl-C, the disk and the COM ports.
namespace corvane::tools {

// corvane.dll, loaded from the folder of the running program.
class cCaptureLibrary {
 public:
  // Throws std::runtime_error, saying what is missing, when the library does not load or lacks an
  // export.
  cCaptureLibrary();

  // The library's two exports, as corvane.h documents them.
  [[nodiscard]] bool Start(const char* device, const char* configuration,
                           const char* output) const {
    return start(device, configuration, output);
  }
  void Stop() const { stop(); }

 private:
  struct sUnload {
    void operator()(HMODULE loaded) const { FreeLibrary(loaded); }
  };
  std::unique_ptr<std::remove_pointer_t<HMODULE>, sUnload> library;
  bool (*start)(const char*, const char*, const char*) = nullptr;
  void (*stop)() = nullptr;
};

// The machine that a capture runs on. Ctrl-C, Ctrl-Break and the closing of the console are
// requests to stop: while this object exists they do not end the process at once. At most one may
// exist.
class cWindowsHost final : public cCaptureHost {
 public:
  // Throws std::runtime_error when the system refuses.
  cWindowsHost();
  // From here on a console that is being closed ends the process.
  ~cWindowsHost() override;
  cWindowsHost(const cWindowsHost&) = delete;
  cWindowsHost& operator=(const cWindowsHost&) = delete;

  // Elapsed counts from here.
  void CaptureStarts() { started = std::chrono::steady_clock::now(); }

  [[nodiscard]] std::chrono::milliseconds Elapsed() override;
  [[nodiscard]] bool WaitForStop(std::chrono::milliseconds time) override;
  [[nodiscard]] std::optional<std::uint64_t> FreeSpace(const std::string& path) override;
  [[nodiscard]] std::vector<std::string> PresentComPorts() override;

 private:
  std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
};

// The room for this user on the disk of this file, in bytes. Nothing where the system does not
// tell.
[[nodiscard]] std::optional<std::uint64_t> FreeSpaceFor(const std::string& path);

// The COM ports that are present, COM10 behind COM9.
[[nodiscard]] std::vector<sComPort> SortedComPorts();

}  // namespace corvane::tools
