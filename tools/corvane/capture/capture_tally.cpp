#include "corvane/capture/capture_tally.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "corvane/command/readable_text.h"
#include "corvane/reading/item_wording.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;

void Insert(std::set<std::string>& names, std::string name) {
  if (names.size() < sVerdict::kMostNames) {
    names.insert(std::move(name));
  }
}

// Adds the requests of one connection, or of all.
void AddRequests(sVerdict& verdict, const cRequestReplies& requests,
                 std::optional<std::uint64_t> connection) {
  const auto counts = [&](const sRequest& request) {
    return !connection || request.connection == *connection;
  };
  for (const sRequest& request : requests.Refused()) {
    if (counts(request)) {
      Insert(verdict.refusedNames, request.refusal.empty()
                                       ? request.name
                                       : fmt::format("{} ({})", request.name, request.refusal));
    }
  }
  for (const sRequest& request : requests.Unanswered()) {
    if (counts(request)) {
      Insert(verdict.unansweredNames, request.name);
    }
  }
  if (!connection) {
    verdict.sent += requests.Totals().sent;
    verdict.answered += requests.Totals().answered;
    verdict.refused += requests.Totals().refused;
  }
}

// What was sent to the newest connection, and what became of it. The last replies may have come
// after the capture was last looked at.
[[nodiscard]] sRequestTotals NewestTotals(const cCaptureFollower& follower) {
  const std::vector<sSetUp>& setUps = follower.Requests().SetUps();
  const bool hasRequests = !setUps.empty() && (setUps.back().connection == 0 ||
                                               setUps.back().connection == follower.Connections());
  return hasRequests ? setUps.back().totals : sRequestTotals{};
}

[[nodiscard]] std::uint64_t InMilliseconds(milliseconds time) {
  return static_cast<std::uint64_t>(time.count());
}

// "18 ms", or "0.9 s to 1.1 s"
[[nodiscard]] std::string Range(std::uint64_t shortest, std::uint64_t longest) {
  const std::string low = FormatLength(shortest);
  const std::string high = FormatLength(longest);
  return low == high ? high : fmt::format("{} to {}", low, high);
}

[[nodiscard]] std::string Plural(std::uint64_t count, const char* what) {
  return fmt::format("{} {}{}", FormatCount(count), what, count == 1 ? "" : "s");
}

[[nodiscard]] std::string DescribeTypes(const cCaptureTally& tally) {
  std::string text;
  for (std::uint32_t type = 0; type < isf::kItemTypes; ++type) {
    if (const std::uint64_t count = tally.ItemsByType()[type]; count != 0) {
      text +=
          fmt::format("{}{} {}", text.empty() ? "" : ", ", FormatCount(count), ItemTypeName(type));
    }
  }
  return text;
}

[[nodiscard]] std::string DescribeChanges(const cCaptureTally& tally) {
  const sFileChange& shortest = tally.ShortestChange();
  const sFileChange& longest = tally.LongestChange();
  std::string text =
      fmt::format("{}; each change took {}", Plural(tally.FileCount(), "file"),
                  Range(InMilliseconds(shortest.change), InMilliseconds(longest.change)));
  if (longest.silence) {
    text += fmt::format(", and nothing was received for {} around it",
                        Range(shortest.silence.value_or(*longest.silence), *longest.silence));
  }
  return text;
}

[[nodiscard]] std::string DescribeSilences(const cCaptureTally& tally) {
  std::uint64_t longest = 0;
  for (const sSilence& silence : tally.Silences()) {
    longest = std::max(longest, silence.to > silence.from ? silence.to - silence.from : 0);
  }
  if (tally.SilenceCount() == 0) {
    return "no gap";
  }
  return fmt::format("{}, the longest {}", Plural(tally.SilenceCount(), "gap"),
                     FormatLength(longest));
}

// "18 requests", or "6 of 19 requests"
[[nodiscard]] std::string DescribeSent(const sVerdict& verdict) {
  const std::string all = Plural(verdict.sent + verdict.notSent, "request");
  return verdict.notSent == 0 ? all : fmt::format("{} of {}", FormatCount(verdict.sent), all);
}

}  // namespace

std::vector<std::string> DescribeVerdict(const sVerdict& verdict) {
  if (verdict.sent == 0 && !verdict.isStuck) {
    return {};
  }
  std::string line = fmt::format("Set-up {}: {} sent, {} answered, {} refused, {} unanswered",
                                 verdict.isComplete ? "complete"
                                 : verdict.isStuck  ? "stuck"
                                                    : "not complete",
                                 DescribeSent(verdict), FormatCount(verdict.answered),
                                 FormatCount(verdict.refused), FormatCount(verdict.Unanswered()));
  std::vector<std::string> lines = {std::move(line)};
  for (const std::string& name : verdict.refusedNames) {
    lines.push_back("  refused: " + name);
  }
  for (const std::string& name : verdict.unansweredNames) {
    lines.push_back("  unanswered: " + name);
  }
  return lines;
}

sVerdict VerdictOf(const cRequestReplies& requests, const sSetUpProgress& setUp) {
  sVerdict verdict;
  verdict.wanted = setUp.wanted;
  verdict.sent = setUp.sent;
  verdict.answered = setUp.answered;
  verdict.refused = setUp.refused;
  verdict.notSent = setUp.wanted - std::min(setUp.wanted, setUp.sent);
  verdict.isComplete = setUp.IsComplete();
  verdict.isStuck = setUp.IsStuck();
  if (const sSetUp* const present = requests.Present()) {
    AddRequests(verdict, requests, present->connection);
  }
  return verdict;
}

void cCaptureTally::AddFile(const sFileTally& file, cCaptureFollower& follower,
                            const sSetUpProgress& last) {
  if (file.isKept) {
    AddKeptFile(file, follower);
  }
  connections += follower.Connections();
  const auto first = follower.FirstReceived();
  if (first && lastReceived) {
    AddSilenceOfChange(*lastReceived, *first);
  }
  if (const auto newest = follower.LastReceived()) {
    lastReceived = newest;
  }
  silenceCount += follower.SilenceCount();
  for (const sSilence& silence : follower.Silences()) {
    if (silences.size() < cCaptureFollower::kMostSilences) {
      silences.push_back(silence);
    }
  }
  AddRequests(verdict, follower.Requests(), std::nullopt);
  verdict.wanted = last.wanted;
  if (follower.Connections() != 0) {
    const sRequestTotals newest = NewestTotals(follower);
    verdict.notSent = last.wanted - std::min(last.wanted, newest.sent);
    verdict.isComplete = last.wanted != 0 && verdict.notSent == 0 && newest.Unanswered() == 0;
  }
  verdict.isComplete = verdict.isComplete || last.IsComplete();
  verdict.isStuck = !verdict.isComplete && last.IsStuck();
}

void cCaptureTally::AddKeptFile(const sFileTally& file, const cCaptureFollower& follower) {
  ++files;
  newestFiles.push_back(file);
  if (newestFiles.size() > kMostFiles) {
    newestFiles.erase(newestFiles.begin());
  }
  items += file.items;
  bytes += file.bytes;
  for (std::uint32_t type = 0; type < isf::kItemTypes; ++type) {
    byType[type] += follower.ItemsByType()[type];
  }
  received += follower.Received();
}

void cCaptureTally::AddChange(milliseconds change) {
  if (++changeCount == 1) {
    longestChange.change = shortestChange.change = change;
    return;
  }
  longestChange.change = std::max(longestChange.change, change);
  shortestChange.change = std::min(shortestChange.change, change);
}

void cCaptureTally::AddEnd(std::uint64_t time) {
  if (lastReceived) {
    AddSilence(*lastReceived, time);
  }
}

// Adds it where it is long enough.
void cCaptureTally::AddSilence(std::uint64_t from, std::uint64_t to) {
  constexpr auto kShortest = static_cast<std::uint64_t>(kPatience.count());
  if (to < from || to - from < kShortest) {
    return;
  }
  ++silenceCount;
  if (silences.size() < cCaptureFollower::kMostSilences) {
    silences.push_back({from, to});
  }
}

void cCaptureTally::AddSilenceOfChange(std::uint64_t from, std::uint64_t to) {
  if (to < from) {
    return;
  }
  AddSilence(from, to);
  const std::uint64_t silence = to - from;
  longestChange.silence = std::max(longestChange.silence.value_or(silence), silence);
  shortestChange.silence = std::min(shortestChange.silence.value_or(silence), silence);
}

std::string FormatLength(std::uint64_t milliseconds) {
  return milliseconds < 1000 ? fmt::format("{} ms", milliseconds)
                             : fmt::format("{:.1f} s", static_cast<double>(milliseconds) / 1000.0);
}

std::vector<std::string> DescribeCapture(const cCaptureTally& tally,
                                         const sPrintedCounts& printed) {
  std::vector<std::string> lines;
  lines.push_back("Items: " + DescribeTypes(tally));
  lines.push_back(fmt::format("{}, {}, {}", Plural(tally.Connections(), "connection"),
                              Plural(printed.badFrames, "bad frame"), DescribeSilences(tally)));
  if (printed.refused != 0) {
    lines.push_back(fmt::format("{} of the device refused: no item can be made of {}",
                                Plural(printed.refused, "packet"),
                                printed.refused == 1 ? "it" : "them"));
  }
  if (tally.ChangeCount() != 0) {
    lines.push_back(DescribeChanges(tally));
  }
  return lines;
}

}  // namespace corvane::tools
