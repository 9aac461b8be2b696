#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace corvane {

// The bytes of a capture file, wherever they are. They may grow, and the newest of them may change,
// from one call to the next: nothing of them is kept here.
class cByteSource {
 public:
  virtual ~cByteSource() = default;

  // How many bytes there are now; nothing when that cannot be found out.
  [[nodiscard]] virtual std::optional<std::uint64_t> Size() = 0;

  // Fills `bytes` from file position `offset` on. Returns how many were read: fewer than asked for
  // only where the bytes end or cannot be read.
  [[nodiscard]] virtual std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) = 0;
};

// A file on disk, which other processes may go on writing.
class cFileSource final : public cByteSource {
 public:
  // `path` is an 8-bit path as the system takes it. Null when the file cannot be opened; `reason`
  // then receives why, as text for the user.
  [[nodiscard]] static std::unique_ptr<cFileSource> Open(const std::string& path,
                                                         std::string& reason);

  [[nodiscard]] std::optional<std::uint64_t> Size() override;
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override;

 private:
  cFileSource() = default;

  std::ifstream file;
};

// A stretch of a file that is read in order, in few calls to its source.
class cByteWindow {
 public:
  // `source` is not owned and must outlive the window.
  explicit cByteWindow(cByteSource& source) : bytes(&source) {}

  // `length` bytes from `offset` on, or nothing when they cannot be read. They stay until the next
  // call. Reading in ascending order is fastest.
  [[nodiscard]] std::optional<std::span<const std::uint8_t>> Read(std::uint64_t offset,
                                                                  std::size_t length) {
    if (!Holds(offset, length) && !Fill(offset, length)) {
      return std::nullopt;
    }
    return std::span<const std::uint8_t>(window).subspan(
        static_cast<std::size_t>(offset - windowOffset), length);
  }

  // Forgets what was read, after the file has changed.
  void Clear() { window.clear(); }

 private:
  [[nodiscard]] bool Holds(std::uint64_t offset, std::size_t length) const {
    const std::uint64_t before = offset - windowOffset;  // more than any window when it is negative
    return before <= window.size() && window.size() - before >= length;
  }
  [[nodiscard]] bool Fill(std::uint64_t offset, std::size_t length);

  cByteSource* bytes;
  std::vector<std::uint8_t> window;
  std::uint64_t windowOffset = 0;
};

}  // namespace corvane
