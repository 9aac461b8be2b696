#include "modem_sim/reply_desk.h"

#include <algorithm>

namespace corvane::modem_sim {

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
