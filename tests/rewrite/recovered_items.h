#pragma once

#include <vector>

#include "reader/capture_builder.h"
#include "rewrite/recovery.h"

// Items that were recovered, beside those that were there.
namespace corvane {

struct sOutcome {
  std::vector<sBuiltItem> items;
  sRecoveryReport report;
};

[[nodiscard]] sOutcome Recover(ByteVector bytes);

[[nodiscard]] bool AreSame(const sBuiltItem& one, const sBuiltItem& other);

// How many of `all` are missing from `some`, which has their order. Something else in it is a
// failure, and makes the result more than there are.
[[nodiscard]] std::size_t Missing(const std::vector<sBuiltItem>& some,
                                  const std::vector<sBuiltItem>& all);

}  // namespace corvane
