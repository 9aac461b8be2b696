#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace corvane {

// What is wrong with a capture file, and where.
struct sCaptureError {
  std::string message;  // "directory entry 17 of the block at offset 4 has length 0"
  // File position of the bytes that are wrong or missing; nothing when it is about the whole file.
  std::optional<std::uint64_t> offset;

  // Both, as one clause: "..., at offset 123".
  [[nodiscard]] std::string Text() const {
    return offset ? message + ", at offset " + std::to_string(*offset) : message;
  }

  friend bool operator==(const sCaptureError&, const sCaptureError&) = default;
};

// All that was found wrong with a file, in the order in which it was found. A file can be wrong in
// as many places as it has items: the first ones are kept, the others counted.
class cDamage {
 public:
  static constexpr std::size_t kMostKept = 20;

  void Add(sCaptureError error) {
    if (kept.size() < kMostKept) {
      kept.push_back(std::move(error));
    } else {
      last = std::move(error);
    }
    ++count;
  }
  void Add(const cDamage& more) {
    for (const sCaptureError& error : more.kept) {
      Add(error);
    }
    if (more.count != more.kept.size()) {
      last = more.last;
      count += more.count - more.kept.size();
    }
  }

  [[nodiscard]] const std::vector<sCaptureError>& Kept() const { return kept; }
  [[nodiscard]] std::uint64_t Count() const { return count; }
  // The one that was found last; there has to be one.
  [[nodiscard]] const sCaptureError& Last() const {
    return count != kept.size() ? last : kept.back();
  }

  friend bool operator==(const cDamage&, const cDamage&) = default;

 private:
  std::vector<sCaptureError> kept;
  sCaptureError last;  // of those that are not kept
  std::uint64_t count = 0;
};

}  // namespace corvane
