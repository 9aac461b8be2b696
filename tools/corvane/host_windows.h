#pragma once

#include <windows.h>

#include <chrono>
#include <memory>
#include <type_traits>

// What a capture needs of Windows beside the devices: corvane.dll and Ctrl-C.
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

// Ctrl-C, Ctrl-Break, and the closing of the console, as something to wait for: while one of these
// objects exists they do not end the process at once. At most one may exist.
class cStopRequest {
 public:
  // Throws std::runtime_error when the system refuses.
  cStopRequest();
  // From here on a console that is being closed ends the process.
  ~cStopRequest();
  cStopRequest(const cStopRequest&) = delete;
  cStopRequest& operator=(const cStopRequest&) = delete;

  // Waits until a stop is requested, or for `time`. Returns whether it was requested.
  [[nodiscard]] bool WaitFor(std::chrono::milliseconds time) const;
};

}  // namespace corvane::tools
