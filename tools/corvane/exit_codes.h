#pragma once

namespace corvane::tools {

// What a command's exit code tells the caller.
inline constexpr int kExitGood = 0;
inline constexpr int kExitFailed = 1;  // damaged or unreadable file, or the result could not be had
inline constexpr int kExitUsage = 2;   // the command line makes no sense
inline constexpr int kExitUnclosed = 3;  // all that was read is good, but the file was not closed

// The same for the user, for the commands that read a capture file.
inline constexpr char kReadingExitCodes[] =
    "Exit codes: 0 the file is complete; 1 it is damaged or cannot be read (what is good of it is\n"
    "still shown); 2 wrong usage; 3 it was not closed: its capture is still running, or ended\n"
    "without closing it, or the file is cut off behind its last record (every item shown is good).";

}  // namespace corvane::tools
