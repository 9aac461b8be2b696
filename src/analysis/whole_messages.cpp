#include "analysis/whole_messages.h"

namespace corvane {

std::span<const sWholeMessage> cWholeMessages::Add(std::uint64_t item,
                                                   const sDescription& description,
                                                   const sSource& source) {
  found.clear();
  if (!description.signalling) {
    return found;
  }
  if (description.signalling->segment == eSegment::Whole) {
    found.push_back({&*description.signalling, 1});
  }
  joined = {segments.Add(source, item, description), blocks.Add(source, item, description)};
  for (const std::optional<sJoinedMessage>& message : joined) {
    if (message) {
      found.push_back({&message->signalling, message->items.size()});
    }
  }
  return found;
}

}  // namespace corvane
