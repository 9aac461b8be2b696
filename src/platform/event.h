#pragma once

#include <memory>

namespace corvane {

// A manual-reset event, created unsignalled: once set it stays set until Reset.
class cEvent {
 public:
  // Throws std::bad_alloc when the system cannot make one.
  cEvent();
  ~cEvent();
  cEvent(const cEvent&) = delete;
  cEvent& operator=(const cEvent&) = delete;

  void Set();
  void Reset();
  [[nodiscard]] bool IsSet() const;

 private:
  struct sNative;
  std::unique_ptr<sNative> native;
};

}  // namespace corvane
