#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "describe/signalling.h"

namespace corvane {

// A message joined from the parts that several items of a capture hold.
struct sJoinedMessage {
  // The whole message, named; what else it tells is as the first part told it.
  sSignalling signalling;
  std::vector<std::uint64_t> items;        // the numbers of the items with its parts, in order
  std::optional<std::uint64_t> modemTime;  // DIAG timestamp of the last part
};

}  // namespace corvane
