#pragma once

#include <iosfwd>
#include <optional>

#include "convert/export.h"
#include "corvane/making/export_command.h"
#include "corvane/live/live_output.h"
#include "reader/item_follower.h"

// The export of a capture that is still being written.
namespace corvane::tools {

enum class eLiveEnd {
  Closed,         // the capture was closed, and all of it is written
  StopRequested,  // by the user, or by who started the program
  ReaderIsGone,   // nobody reads the output any more
  Lost,           // the capture cannot be followed any further: cItemFollower::Trouble()
  Failed,         // the output cannot be written: cByteSink::Problem()
};

// What a wait of the output's means for the export; nothing while it goes on.
[[nodiscard]] std::optional<eLiveEnd> EndOf(eWake wake);

// Hands on what the capture has grown by: its new items to `exported`, which writes to `output`,
// and flushes that. Returns how the export ended, or nothing while it goes on.
[[nodiscard]] std::optional<eLiveEnd> HandOn(cItemFollower& capture, cItemExport& exported,
                                             cLiveOutput& output);

// Hands on whatever the capture grows by, ten times a second, until the export ends. What
// `exported` has held back is written then, as far as somebody reads it.
[[nodiscard]] eLiveEnd FollowCapture(cItemFollower& capture, cItemExport& exported,
                                     cLiveOutput& output);

// `corvane export --follow`: an export into its stream that ends with the capture. What is wrong
// and what was not shown is told on `errors`. Returns an exit code (command_line.h): 3 when it was
// stopped before the capture was closed, and 0 when nobody reads the stream any more.
[[nodiscard]] int FollowExport(const sExportRequest& request, std::ostream& errors);

}  // namespace corvane::tools
