#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "reader/byte_source.h"
#include "reader/closing_remains.h"

// A capture file held to every rule of its format (docs/capture-format.md), one violation after the
// other. The reader passes over what is bad and keeps the first few places; this names them all.
namespace corvane {

enum class eRule : std::uint8_t {
  Header,
  Joined,
  Block,
  NextBlock,
  BaseTime,
  EntryOrder,
  RecordPlace,
  Gap,
  PacketLength,
  ItemType,
  ExtraField,
  ItemTime,
  TimeWidth,
  BlockIndex,
  Trailer,
  BehindTrailer,
  Contents,
};

// "record-place", for programs.
[[nodiscard]] std::string_view RuleName(eRule rule);
// The rule as a sentence for the user, without full stop.
[[nodiscard]] std::string_view RuleText(eRule rule);

struct sViolation {
  eRule rule;
  std::uint64_t offset = 0;  // file position of the bytes that break it
  // What is wrong there: "item 17 begins before the record in front of it ends".
  std::string problem;
  std::optional<std::uint64_t> item = {};  // the number of the item that it is about
};

struct sVerifyRequest {
  // Holds each packet to the type of its item too, which the reader does not.
  bool contents = false;
  // Called with each violation; false ends the work.
  std::function<bool(const sViolation& violation)> onViolation;
  // Called now and then with the file position that the work has come to.
  std::function<void(std::uint64_t offset)> onProgress = [](std::uint64_t) {};
};

struct sVerified {
  std::uint64_t violations = 0;
  std::uint64_t items = 0;  // that can be read
  std::uint64_t blocks = 0;
  std::uint64_t size = 0;  // of the file
  // The file has its index and its trailer. One without, and without a violation, is still being
  // recorded, or its recorder died.
  bool closed = false;
  // What there is of them otherwise.
  sClosingRemains remains;
  bool endedEarly = false;  // onViolation said so
};

// Goes through a whole file once. A file that is being written is looked at as far as it has come.
// Memory grows with the number of blocks only. Any bytes will do; a file that is too short for a
// header breaks that rule.
[[nodiscard]] sVerified VerifyCapture(std::unique_ptr<cByteSource> source,
                                      const sVerifyRequest& request);

}  // namespace corvane
