#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "reader/capture_file.h"

// The commands that read a capture file. Their result goes to `out`, and what is wrong to `errors`,
// a line led by the command's name and the file's. Each returns an exit code (command_line.h).
namespace corvane::tools {

// Describes the capture file at `path` by its header, directories, block index and trailer, which
// takes moments for a file of any size. What shows only in its records goes unnoticed, a time that
// cannot be among it (eCheck::Directories). `deep` reads and describes every item too.
[[nodiscard]] int ShowInfo(const std::string& path, bool deep, std::ostream& out,
                           std::ostream& errors);

// What `corvane list` was asked for.
struct sListRequest {
  std::string path;
  std::vector<std::uint32_t> types;  // item types to list; empty: all
  std::string from;                  // first item: a number or a UTC time; empty: the first
  std::string to;                    // last item, included; empty: the last
  bool hex = false;                  // each item's bytes too
};

// Lists items, one a line.
[[nodiscard]] int ListItems(const sListRequest& request, std::ostream& out, std::ostream& errors);

// The exit codes for the user.
inline constexpr char kReadingExitCodes[] =
    "Exit codes: 0 the file is complete; 1 it is damaged or cannot be read (what is good of it is\n"
    "still shown); 2 wrong usage; 3 it was not closed: its capture is still running, or ended\n"
    "without closing it, or the file is cut off behind its last record (nothing contradicts the\n"
    "items shown).";

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
