#include "corvane/live/shown_growth.h"

#include <fmt/format.h>

#include <ostream>

#include "capture/isf/layout.h"
#include "corvane/command/command_line.h"
#include "corvane/reading/reading_commands.h"
#include "corvane/reading/selection_options.h"
#include "platform/clock.h"

namespace corvane::tools {
namespace {

constexpr std::uint64_t kMarkerAge = 1000;  // milliseconds

[[nodiscard]] std::uint64_t Now() { return SystemFileTime() / isf::kFileTimeUnitsPerMillisecond; }

}  // namespace

cShownGrowth::cShownGrowth(const sShowing& showing, cItemFollower& followed, cItemExport& wanted)
    : most(showing.most.value_or(UINT64_MAX)),
      exported(wanted),
      items(followed, showing.selection),
      markers(showing.path) {
  items.TellPassed([&wanted](const sCaptureItem& item) { wanted.Pass(item); });
  sCaptureError ignored;  // the follower tells of it
  const auto file = cCaptureFile::Open(showing.path, ignored, eCheck::Directories);
  if (file != nullptr && showing.selection.from.number) {
    markers.PassBefore(*file, cSelectionMatcher(showing.selection, std::nullopt));
  }
}

bool cShownGrowth::HasEnough() const {
  return items.Outcome().selected >= most || items.IsPastEnd();
}

bool cShownGrowth::TakeNext() {
  const cSelectedFollower::eStep step = items.Step();
  if (step == cSelectedFollower::eStep::Selected) {
    MarkUntil(items.Current().Item().time);
    exported.Add(items.Current().Item());
  }
  return step != cSelectedFollower::eStep::None;
}

void cShownGrowth::EndLook(bool isClosed) {
  if (!HasEnough()) {
    MarkUntil(isClosed ? UINT64_MAX : Now() - kMarkerAge);
  }
}

void cShownGrowth::MarkUntil(std::uint64_t time) {
  while (items.Matcher()) {
    const auto marker = markers.NextUntil(time, *items.Matcher());
    if (!marker) {
      break;
    }
    exported.Mark(*marker);
  }
}

int ShowGrowth(const char* command, const sShowing& showing, const std::string& outputName,
               cItemFollower& follower, cItemExport& exported, cLiveOutput& output,
               std::ostream& errors) {
  cShownGrowth growth(showing, follower, exported);
  const eLiveEnd end = FollowCapture(follower, growth, output);
  if (end == eLiveEnd::ReaderIsGone) {
    return kExitGood;  // whoever read had enough
  }
  if (end == eLiveEnd::Failed) {
    errors << fmt::format("corvane {}: {} cannot be written: {}\n", command, outputName,
                          output.Problem());
    return kExitFailed;
  }
  for (const std::string& note : exported.Notes()) {
    errors << fmt::format("corvane {}: {}\n", command, note);
  }
  ReportNothingSelected(command, showing.path, growth.Outcome(), errors);
  if (end == eLiveEnd::Lost) {
    return ReportUnreadable(command, showing.path, *follower.Trouble(), errors);
  }
  if (follower.File() == nullptr) {
    errors << fmt::format("corvane {}: {}: nothing was recorded yet\n", command, showing.path);
    return kExitUnclosed;
  }
  return ReportState(command, showing.path, *follower.File(), follower.Unreadable(), errors);
}

}  // namespace corvane::tools
