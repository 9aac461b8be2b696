#include "rewrite/recovered_items.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace corvane {

sOutcome Recover(ByteVector bytes) {
  sOutcome outcome;
  cMemorySource source(std::make_shared<const ByteVector>(std::move(bytes)));
  outcome.report = RecoverCapture(source, [&outcome](const sRecoveredItem& item) {
    outcome.items.push_back({item.head.type,
                             item.head.time,
                             {item.packet.begin(), item.packet.end()},
                             item.head.extra});
    return true;
  });
  return outcome;
}

bool AreSame(const sBuiltItem& one, const sBuiltItem& other) {
  return one.type == other.type && one.time == other.time && one.packet == other.packet &&
         one.extra == other.extra;
}

std::size_t Missing(const std::vector<sBuiltItem>& some, const std::vector<sBuiltItem>& all) {
  auto next = some.begin();
  std::size_t missing = 0;
  for (const sBuiltItem& item : all) {
    if (next != some.end() && AreSame(*next, item)) {
      ++next;
    } else {
      ++missing;
    }
  }
  if (next != some.end()) {
    ADD_FAILURE() << "item " << next - some.begin() << " of type " << next->type << " at "
                  << next->time - kNoon
                  << " was not there: " << ::testing::PrintToString(next->packet);
  }
  return next == some.end() ? missing : all.size() + 1;
}

}  // namespace corvane
