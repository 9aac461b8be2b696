#include "corvane/making/unfinished_file.h"

#include <algorithm>
#include <array>
#include <atomic>

namespace corvane::tools {
namespace {

enum class eSlot : int { Free, Changing, Used };

// Memory of its own: a signal handler takes no lock, and what it reads is never given back.
struct sSlot {
  std::array<char, cUnfinishedFile::kLongestPath + 1> path{};
  std::atomic<eSlot> state = eSlot::Free;
};
static_assert(std::atomic<eSlot>::is_always_lock_free);

std::array<sSlot, cUnfinishedFile::kMostFiles> slots;

[[nodiscard]] bool Take(sSlot& slot) {
  eSlot expected = eSlot::Free;
  return slot.state.compare_exchange_strong(expected, eSlot::Changing);
}

}  // namespace

cUnfinishedFile::cUnfinishedFile(const std::string& path) : slot(kMostFiles) {
  if (path.size() > kLongestPath) {
    return;
  }
  const auto found = std::find_if(slots.begin(), slots.end(), Take);
  if (found == slots.end()) {
    return;
  }
  *std::copy(path.begin(), path.end(), found->path.begin()) = '\0';
  found->state = eSlot::Used;
  slot = static_cast<std::size_t>(found - slots.begin());
  HandleEnds();
}

cUnfinishedFile::~cUnfinishedFile() {
  if (slot != kMostFiles) {
    slots[slot].state = eSlot::Free;
  }
}

void RemoveUnfinishedFiles() {
  for (const sSlot& slot : slots) {
    if (slot.state == eSlot::Used) {
      RemoveOpenFile(slot.path.data());
    }
  }
}

}  // namespace corvane::tools
