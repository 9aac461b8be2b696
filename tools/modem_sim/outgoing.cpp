#include "modem_sim/outgoing.h"

#include <algorithm>

namespace corvane::modem_sim {

cOutputQueue::cOutputQueue(std::uint64_t seed, const sWriteOptions& writeOptions)
    : options(writeOptions), random(seed, eDraw::FaultDetail, ~std::uint64_t{0}) {
  StartChunk();
}

void cOutputQueue::StartChunk() {
  if (options.maxChunk > 0) {
    chunkEnd = written + random.Between(options.minChunk, options.maxChunk);
  }
}

void cOutputQueue::Push(ByteView more, std::uint64_t ticket, const std::vector<std::size_t>& cuts,
                        bool withNext) {
  const std::uint64_t begin = End();
  for (const std::size_t cut : cuts) {
    cutPositions.push_back(begin + cut);
  }
  AppendBytes(bytes, more);
  marks.push_back({End(), ticket});
  if (!withNext) {
    heldFrom.reset();
  } else if (!heldFrom) {
    heldFrom = begin;
  }
}

void cOutputQueue::Release() { heldFrom.reset(); }

ByteView cOutputQueue::Ready(Clock::time_point now) const {
  if (now < notBefore) {
    return {};
  }
  std::uint64_t end = End();
  if (heldFrom) {
    end = std::min(end, *heldFrom);
  }
  if (!cutPositions.empty()) {
    end = std::min(end, cutPositions.front());
  }
  if (chunkEnd) {
    end = std::min(end, *chunkEnd);
  }
  return ByteView(bytes).subspan(head, static_cast<std::size_t>(end - written));
}

std::vector<std::uint64_t> cOutputQueue::Written(std::size_t count, Clock::time_point now) {
  constexpr std::size_t kCompactAt = 65536;
  head += count;
  written += count;
  if (head == bytes.size() || head >= kCompactAt) {
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(head));
    head = 0;
  }
  if (!cutPositions.empty() && cutPositions.front() == written) {
    cutPositions.pop_front();
    notBefore = now + options.gap;
  }
  if (chunkEnd && *chunkEnd == written) {
    notBefore = now + options.gap;
    StartChunk();
  }
  std::vector<std::uint64_t> done;
  while (!marks.empty() && marks.front().end <= written) {
    done.push_back(marks.front().ticket);
    marks.pop_front();
  }
  return done;
}

std::optional<Clock::time_point> cOutputQueue::NextDue(Clock::time_point now) const {
  if (Size() == 0 || now >= notBefore) {
    return std::nullopt;
  }
  return notBefore;
}

void cReplyDesk::Submit(sReply reply, Clock::time_point due) {
  const auto place = std::upper_bound(
      waiting.begin(), waiting.end(), due,
      [](Clock::time_point time, const sWaiting& entry) { return time < entry.due; });
  waiting.insert(place, {due, std::move(reply)});
}

std::vector<sReply> cReplyDesk::TakeDue(Clock::time_point now) {
  std::vector<sReply> due;
  if (holding) {
    return due;
  }
  const auto end = std::find_if(waiting.begin(), waiting.end(),
                                [&](const sWaiting& entry) { return entry.due > now; });
  for (auto entry = waiting.begin(); entry != end; ++entry) {
    due.push_back(std::move(entry->reply));
  }
  waiting.erase(waiting.begin(), end);
  return due;
}

std::optional<Clock::time_point> cReplyDesk::NextDue() const {
  if (holding || waiting.empty()) {
    return std::nullopt;
  }
  return waiting.front().due;
}

}  // namespace corvane::modem_sim
