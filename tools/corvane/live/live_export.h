#pragma once

#include <iosfwd>
#include <optional>

#include "convert/export.h"
#include "corvane/live/live_output.h"
#include "corvane/making/export_command.h"
#include "reader/item_follower.h"

// The export of a capture that is still being written.
namespace corvane::tools {

enum class eLiveEnd {
  Closed,         // the capture was closed, and all of it is written
  StopRequested,  // by the user, or by who started the program
  ReaderIsGone,   // nobody reads the output any more
  Enough,         // no more is wanted
  Lost,           // the capture cannot be followed any further: cItemFollower::Trouble()
  Failed,         // the output cannot be written: cByteSink::Problem()
};

// What a wait of the output's means for the export; nothing while it goes on.
[[nodiscard]] std::optional<eLiveEnd> EndOf(eWake wake);

// Takes what a followed capture has grown by, and writes what comes of it.
class cGrowthTaker {
 public:
  cGrowthTaker() = default;
  cGrowthTaker(const cGrowthTaker&) = delete;
  cGrowthTaker& operator=(const cGrowthTaker&) = delete;
  virtual ~cGrowthTaker() = default;

  // Between the follower's look and the items that it found.
  virtual void BeginLook() {}
  // Takes the next item that was there at the last look; false when there is none.
  [[nodiscard]] virtual bool TakeNext() = 0;
  // Nothing more is wanted, whatever comes.
  [[nodiscard]] virtual bool HasEnough() const { return false; }
  // Behind the items of a look; `isClosed` when there will be no others.
  virtual void EndLook(bool /*isClosed*/) {}
  // Writes what was held back.
  virtual void Finish() = 0;
};

// Hands on what the capture has grown by to `taker`, which writes to `output`, and flushes that.
// Returns how it ended, or nothing while it goes on.
[[nodiscard]] std::optional<eLiveEnd> HandOn(cItemFollower& capture, cGrowthTaker& taker,
                                             cLiveOutput& output);
// The same with all items for `exported`.
[[nodiscard]] std::optional<eLiveEnd> HandOn(cItemFollower& capture, cItemExport& exported,
                                             cLiveOutput& output);

// Hands on whatever the capture grows by, ten times a second, until that ends. What was held back
// is written then, as far as somebody reads it.
[[nodiscard]] eLiveEnd FollowCapture(cItemFollower& capture, cGrowthTaker& taker,
                                     cLiveOutput& output);
[[nodiscard]] eLiveEnd FollowCapture(cItemFollower& capture, cItemExport& exported,
                                     cLiveOutput& output);

// `corvane export --follow`: an export into its stream that ends with the capture. What is wrong
// and what was not shown is told on `errors`. Returns an exit code (command_line.h): 3 when it was
// stopped before the capture was closed, and 0 when nobody reads the stream any more.
[[nodiscard]] int FollowExport(const sExportRequest& request, std::ostream& errors);

}  // namespace corvane::tools
