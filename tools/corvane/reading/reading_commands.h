#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "convert/byte_sink.h"
#include "convert/item_fields.h"
#include "corvane/reading/shown_items.h"
#include "reader/capture_file.h"

// The commands that read a capture file. Their result goes to `out`, and what is wrong to `errors`,
// a line led by the command's name and the file's. Each returns an exit code (command_line.h).
namespace corvane::tools {

// Describes the capture file at `path` by its header, directories, block index and trailer, which
// takes moments for a file of any size. What shows only in its records goes unnoticed, a time that
// cannot be among it (eCheck::Directories). `deep` reads and describes every item too.
[[nodiscard]] int ShowInfo(const std::string& path, bool deep, std::ostream& out,
                           std::ostream& errors);

enum class eListForm {
  Lines,      // for a reader: docs/capture-format.md
  Separated,  // fields, and a separator between them
  Json,       // an object a line
  Csv,
  Count,  // only how many there are
};

// What `corvane list` was asked for.
struct sListRequest {
  sShowing showing;
  std::optional<std::uint64_t> last = {};  // no more items than these, the last
  eListForm form = eListForm::Lines;
  // Rows have these fields, in this order; none: all of them.
  std::vector<const sItemField*> fields = {};
  std::string separator = "\t";
  bool hex = false;  // behind the lines each item's bytes too
};

// Lists items.
[[nodiscard]] int ListItems(const sListRequest& request, cByteSink& out, std::ostream& errors);

// Their exit codes, as AddHelp takes them.
[[nodiscard]] inline std::vector<const char*> ReadingExitCodes() {
  return {"0 the file is complete",
          "1 it is damaged or cannot be read; what is good of it is still shown", "2 wrong usage",
          "3 it was not closed: its capture is still running, or ended without closing it, or the "
          "file is cut off behind its last record; nothing contradicts the items shown"};
}

// How these commands end. The file could not be opened at all:
[[nodiscard]] int ReportUnreadable(const char* command, const std::string& path,
                                   const sCaptureError& error, std::ostream& errors);

// The file was read to its end, and what there is was written to `out`. `unreadable` is the first
// item that could not be read.
[[nodiscard]] int ReportEnd(const char* command, const std::string& path, const cCaptureFile& file,
                            const std::optional<sCaptureError>& unreadable, const std::ostream& out,
                            std::ostream& errors);
// The same where the output is none of a stream's, or was found good.
[[nodiscard]] int ReportState(const char* command, const std::string& path,
                              const cCaptureFile& file,
                              const std::optional<sCaptureError>& unreadable, std::ostream& errors);

}  // namespace corvane::tools
