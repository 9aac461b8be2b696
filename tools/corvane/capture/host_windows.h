#pragma once

#include <windows.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "capture/isf/layout.h"
#include "corvane/capture/capture_host.h"
#include "corvane/capture/typed_marker.h"
#include "platform/clock.h"
#include "platform/windows_handle.h"

// What the commands need of Windows: corvane.dll, Ctrl-C, the disk and the COM ports.
namespace corvane::tools {

// corvane.dll, loaded from the folder of the running program.
class cLoadedLibrary final : public cCaptureLibrary {
 public:
  // Throws std::runtime_error, saying what is missing, when the library does not load or lacks an
  // export.
  cLoadedLibrary();

  [[nodiscard]] bool Start(const std::string& device, const std::string& configuration,
                           const std::string& output) override {
    return start(device.c_str(), configuration.c_str(), output.c_str());
  }
  void Stop() override { stop(); }

 private:
  struct sUnload {
    void operator()(HMODULE loaded) const { FreeLibrary(loaded); }
  };
  std::unique_ptr<std::remove_pointer_t<HMODULE>, sUnload> library;
  bool (*start)(const char*, const char*, const char*) = nullptr;
  void (*stop)() = nullptr;
};

// The room for this user on the disk of this file, in bytes. Nothing where the system does not
// tell.
[[nodiscard]] std::optional<std::uint64_t> FreeSpaceFor(const std::string& path);

// Whether another program has the file open for writing, or does not let it be read.
[[nodiscard]] bool FileIsInUse(const std::string& path);

// The COM ports that are present, COM10 behind COM9. Their texts are UTF-8.
[[nodiscard]] std::vector<sPresentPort> SortedComPorts();

// Opens a present COM port for reading and writing. Why that cannot be, in a few words, or nothing;
// nothing too where the port has gone, and `opened` is none then.
[[nodiscard]] std::optional<std::string> OpenComPort(const std::string& port, FileHandle& opened);

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

  void CaptureStarts() override { started = std::chrono::steady_clock::now(); }

  [[nodiscard]] std::chrono::milliseconds Elapsed() override;
  [[nodiscard]] bool WaitForStop(std::chrono::milliseconds time) override;
  [[nodiscard]] std::optional<std::uint64_t> FreeSpace(const std::string& path) override;
  [[nodiscard]] bool IsInUse(const std::string& path) override { return FileIsInUse(path); }
  [[nodiscard]] std::vector<sPresentPort> PresentComPorts() override { return SortedComPorts(); }
  [[nodiscard]] std::optional<std::string> TryToOpen(const std::string& port) override;
  [[nodiscard]] std::uint64_t Now() override;

  [[nodiscard]] std::vector<sTypedLine> TypedLines() override { return typed->Take(); }

  // What fills the typed lines may outlive this.
  [[nodiscard]] const std::shared_ptr<cTypedLines>& Typed() const { return typed; }

 private:
  std::shared_ptr<cTypedLines> typed = std::make_shared<cTypedLines>(
      [] { return SystemFileTime() / isf::kFileTimeUnitsPerMillisecond; });
  std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
};

}  // namespace corvane::tools
