#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace corvane::tools {

// A file of this program alone, which the system removes with the program, however it ends. It lies
// where the system keeps such files: $TMPDIR or /tmp; on Windows what TMP or TEMP says.
class cTemporaryFile {
 public:
  virtual ~cTemporaryFile() = default;

  // Null when there can be none; `reason` then receives why, as text for the user.
  [[nodiscard]] static std::unique_ptr<cTemporaryFile> Make(std::string& reason);

  // Writes behind what was written. Returns whether all of it could be written.
  [[nodiscard]] virtual bool Append(std::span<const std::uint8_t> bytes) = 0;

  // Fills `bytes` from `offset` on. Returns how many were read, fewer than asked for only at the
  // end or where the system cannot read.
  [[nodiscard]] virtual std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) = 0;

  [[nodiscard]] std::uint64_t Size() const { return size; }

 protected:
  std::uint64_t size = 0;
};

}  // namespace corvane::tools
