#include "corvane/live/live_export.h"

#include <fmt/format.h>

#include <chrono>
#include <memory>
#include <ostream>
#include <string>

#include "corvane/command/command_line.h"
#include "corvane/live/shown_growth.h"
#include "corvane/reading/reading_commands.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;

// How many items are handed on between two questions whether a stop was requested.
constexpr int kItemsAtOnce = 4096;

// How the export ended when the output can take no more, or nothing.
[[nodiscard]] std::optional<eLiveEnd> FailureOf(cLiveOutput& output) {
  if (output.IsGood()) {
    return std::nullopt;
  }
  if (output.ReaderIsGone()) {
    return eLiveEnd::ReaderIsGone;
  }
  // A write that was given up because of a stop is no failure.
  return EndOf(output.Wait(milliseconds(0))).value_or(eLiveEnd::Failed);
}

// Every item, for an export.
class cAllItems final : public cGrowthTaker {
 public:
  cAllItems(cItemFollower& followed, cItemExport& wanted) : capture(followed), exported(wanted) {}

  bool TakeNext() override {
    if (!capture.Next(item)) {
      return false;
    }
    exported.Add(item);
    return true;
  }
  void Finish() override { exported.Finish(); }

 private:
  cItemFollower& capture;
  cItemExport& exported;
  sCaptureItem item;
};

[[nodiscard]] std::unique_ptr<cLiveOutput> OpenStream(const std::string& path,
                                                      std::string& problem) {
  return path == "-" ? MakeLiveStandardOutput() : OpenLiveOutput(path, problem);
}

}  // namespace

std::optional<eLiveEnd> EndOf(eWake wake) {
  switch (wake) {
    case eWake::StopRequested:
      return eLiveEnd::StopRequested;
    case eWake::ReaderIsGone:
      return eLiveEnd::ReaderIsGone;
    default:
      return std::nullopt;
  }
}

std::optional<eLiveEnd> HandOn(cItemFollower& capture, cGrowthTaker& taker, cLiveOutput& output) {
  const eFollowing state = capture.Look();
  taker.BeginLook();
  for (int count = 1; output.IsGood() && !taker.HasEnough() && taker.TakeNext(); ++count) {
    if (count % kItemsAtOnce != 0) {
      continue;
    }
    if (const auto end = EndOf(output.Wait(milliseconds(0)))) {
      return end;
    }
  }
  taker.EndLook(state == eFollowing::Closed);
  output.Flush();
  if (const auto end = FailureOf(output)) {
    return end;
  }
  if (taker.HasEnough()) {
    return eLiveEnd::Enough;
  }
  switch (state) {
    case eFollowing::Closed:
      return eLiveEnd::Closed;
    case eFollowing::Lost:
      return eLiveEnd::Lost;
    default:
      return std::nullopt;
  }
}

std::optional<eLiveEnd> HandOn(cItemFollower& capture, cItemExport& exported, cLiveOutput& output) {
  cAllItems all(capture, exported);
  return HandOn(capture, all, output);
}

eLiveEnd FollowCapture(cItemFollower& capture, cGrowthTaker& taker, cLiveOutput& output) {
  output.Flush();  // what the format begins with: its reader waits for it
  std::optional<eLiveEnd> end;
  while (!end) {
    end = HandOn(capture, taker, output);
    if (!end) {
      end = EndOf(output.Wait(milliseconds(kLookInterval)));
    }
  }
  taker.Finish();
  output.Flush();
  return *end;
}

eLiveEnd FollowCapture(cItemFollower& capture, cItemExport& exported, cLiveOutput& output) {
  cAllItems all(capture, exported);
  return FollowCapture(capture, all, output);
}

int FollowExport(const sExportRequest& request, std::ostream& errors) {
  cItemFollower follower(request.path);
  // What cannot be followed leaves no file behind.
  if (follower.Look() == eFollowing::Lost) {
    return ReportUnreadable("export", request.path, *follower.Trouble(), errors);
  }
  if (const auto obstacle = ObstacleTo(request)) {
    errors << fmt::format("corvane export: {}\n", *obstacle);
    return kExitFailed;
  }
  std::string problem;
  const std::unique_ptr<cLiveOutput> output = OpenStream(request.stream, problem);
  if (output == nullptr && problem.empty()) {
    return kExitUnclosed;
  }
  if (output == nullptr) {
    errors << fmt::format("corvane export: {}\n", problem);
    return kExitFailed;
  }
  const std::unique_ptr<cItemExport> exported =
      MakeExport(request.format, request.options, *output);
  const std::string name = request.stream == "-" ? kStandardOutputName : request.stream;
  return ShowGrowth("export", {request.path, request.selection}, name, follower, *exported, *output,
                    errors);
}

}  // namespace corvane::tools
