#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "convert/segment_join.h"
#include "convert/source_texts.h"
#include "convert/system_information_join.h"
#include "describe/description.h"

namespace corvane {

// A message of a capture, whole.
struct sWholeMessage {
  const sSignalling* signalling = nullptr;
  std::size_t items = 1;  // that hold it, and the newest of which completes it
};

// The whole signalling messages of a capture: those that one item holds, and those that are joined
// of several. System-information blocks of WCDMA come beside the messages of BCCH that carry them.
class cWholeMessages {
 public:
  // Takes the next item, whose source `source` is. Returns the messages that it completes, three at
  // most: they last until the next call, and no longer than `description`.
  [[nodiscard]] std::span<const sWholeMessage> Add(std::uint64_t item,
                                                   const sDescription& description,
                                                   const sSource& source);

  // How many messages of each log and version were not joined until now.
  [[nodiscard]] std::map<sLogLayout, std::uint64_t> Incomplete() const {
    return segments.Incomplete();
  }

 private:
  cSegmentJoin segments;
  cSystemInformationJoin blocks;
  std::array<std::optional<sJoinedMessage>, 2> joined;
  std::vector<sWholeMessage> found;
};

}  // namespace corvane
