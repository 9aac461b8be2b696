#pragma once

#include <windows.h>

#include <memory>
#include <type_traits>

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

}  // namespace corvane::tools
