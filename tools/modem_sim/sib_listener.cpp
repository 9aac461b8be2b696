#include "modem_sim/sib_broadcast.h"

namespace corvane::modem_sim {

std::vector<Bytes> cSibListener::Hear(const sSibMessage& message) {
  std::vector<Bytes> blocks;
  for (const sSibMessage::sPart& part : message.parts) {
    if (HearPart(part)) {
      blocks.push_back(WholeBlockPacket(part.block->channel, part.block->bearer,
                                        part.block->sibType, part.block->data));
    }
  }
  return blocks;
}

bool cSibListener::HearPart(const sSibMessage::sPart& part) {
  if (part.role == eSibRole::Complete) {
    return true;
  }
  const SibKey key = part.block->Key();
  const std::size_t segments = part.block->ends.size();
  if (part.role == eSibRole::First) {
    // A block of one segment leaves alone what else there is under its key.
    if (segments == 1) {
      return true;
    }
    progress[key] = {part.block, 1};
    ended[key] = false;
    return false;
  }
  const auto entry = progress.find(key);
  const bool inOrder = entry != progress.end() && entry->second.block == part.block &&
                       entry->second.next == part.segment;
  const bool complete = inOrder && part.segment + 1 == segments;
  if (inOrder) {
    ++entry->second.next;
  }
  if (entry != progress.end() && (!inOrder || complete)) {
    progress.erase(entry);
  }
  // Whatever a host had of a block, its last segment makes an end of it.
  if (part.role == eSibRole::Last) {
    progress.erase(key);
    ended[key] = true;
  }
  return complete;
}

bool cSibListener::MayHoldSegments(const SibKey& key) const {
  const auto entry = ended.find(key);
  return entry == ended.end() ? nothingIsCertain : !entry->second;
}

void cSibListener::Forget() {
  progress.clear();
  ended.clear();
  nothingIsCertain = true;
}

}  // namespace corvane::modem_sim
