#pragma once

#include <unistd.h>

#include <utility>

namespace corvane::modem_sim {

// Owns a file descriptor; -1 is none.
class cUniqueFd {
 public:
  cUniqueFd() = default;
  explicit cUniqueFd(int descriptor) : fd(descriptor) {}
  ~cUniqueFd() { Reset(); }
  cUniqueFd(cUniqueFd&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
  cUniqueFd& operator=(cUniqueFd&& other) noexcept {
    if (this != &other) {
      Reset();
      fd = std::exchange(other.fd, -1);
    }
    return *this;
  }

  [[nodiscard]] int Get() const { return fd; }
  [[nodiscard]] bool IsOpen() const { return fd >= 0; }
  void Reset() {
    if (fd >= 0) {
      ::close(fd);
    }
    fd = -1;
  }

 private:
  int fd = -1;
};

}  // namespace corvane::modem_sim
