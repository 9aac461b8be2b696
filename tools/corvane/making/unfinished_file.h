#pragma once

#include <cstddef>
#include <string>

namespace corvane::tools {

// A file that is being made. As long as the object lives, the file is removed when the program is
// ended from outside: by SIGINT (Ctrl-C), SIGTERM or SIGHUP, which then end the program as they do
// without it; on Windows by Ctrl-C, Ctrl-Break or the closing of the console. What ends a program
// without asking it (SIGKILL, TerminateProcess, a power failure) leaves the file.
//
// At most kMostFiles at once are removed, and none whose path has more than kLongestPath bytes.
class cUnfinishedFile {
 public:
  // The file need not be there yet.
  explicit cUnfinishedFile(const std::string& path);
  cUnfinishedFile(const cUnfinishedFile&) = delete;
  cUnfinishedFile& operator=(const cUnfinishedFile&) = delete;
  ~cUnfinishedFile();

  static constexpr std::size_t kMostFiles = 4;
  static constexpr std::size_t kLongestPath = 4095;

 private:
  std::size_t slot;  // kMostFiles: none was free
};

// As long as it lives, an end from outside waits, as far as this thread would be told of it: a file
// is made and gets its cUnfinishedFile in one step. One at a time.
class cHeldBackEnd {
 public:
  cHeldBackEnd();
  cHeldBackEnd(const cHeldBackEnd&) = delete;
  cHeldBackEnd& operator=(const cHeldBackEnd&) = delete;
  ~cHeldBackEnd();
};

// Removes those that there are, open or not. What a signal handler may call.
void RemoveUnfinishedFiles();

// --- What the systems do, each in its own way.

// Removes the file at `path`, which the program may have open. A signal handler may call it.
void RemoveOpenFile(const char* path);
// From now on RemoveUnfinishedFiles is called when the program is ended from outside, unless
// somebody else handles that, or it is ignored (nohup).
void HandleEnds();

}  // namespace corvane::tools
