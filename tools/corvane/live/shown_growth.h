#pragma once

#include <iosfwd>
#include <string>

#include "analysis/selected_items.h"
#include "analysis/selected_markers.h"
#include "corvane/live/live_export.h"
#include "corvane/reading/shown_items.h"

namespace corvane::tools {

// What messages call the output that is "-" on the command line.
inline constexpr char kStandardOutputName[] = "standard output";

// Hands the selected items of a capture that is being written to an export, and the markers between
// them. A marker that has no item behind it yet is shown once it is a second old: items that were
// recorded before it are there by then.
class cShownGrowth final : public cGrowthTaker {
 public:
  // What is not owned must outlive the object: `followed`, and `wanted`, which writes.
  cShownGrowth(const sShowing& showing, cItemFollower& followed, cItemExport& wanted);

  void BeginLook() override { markers.LookAgain(); }
  [[nodiscard]] bool TakeNext() override;
  [[nodiscard]] bool HasEnough() const override;
  void EndLook(bool isClosed) override;
  void Finish() override { exported.Finish(); }

  [[nodiscard]] sSelectionOutcome Outcome() const { return items.Outcome(); }

 private:
  void MarkUntil(std::uint64_t time);

  const std::uint64_t most;
  cItemExport& exported;
  cSelectedFollower items;
  cSelectedMarkers markers;
};

// Follows a capture to its end, or the user's. `command` and `outputName` are what messages call
// them. What is wrong and what was not shown is told on `errors`. Returns an exit code
// (command_line.h): 3 when it was stopped before the capture was closed, and 0 when nobody reads
// the output any more.
[[nodiscard]] int ShowGrowth(const char* command, const sShowing& showing,
                             const std::string& outputName, cItemFollower& follower,
                             cItemExport& exported, cLiveOutput& output, std::ostream& errors);

}  // namespace corvane::tools
