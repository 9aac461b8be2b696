#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace corvane::tools {

// What `corvane verify` was asked for.
struct sVerifyFiles {
  std::vector<std::string> paths;
  bool onlyFirst = false;  // of each file the first violation only
  bool contents = false;   // packets against the types of their items too
  bool json = false;
  std::size_t jobs = 1;  // files at a time, 1 or more
};

// Names every violation of the capture format in these files, a line each, and gives each file a
// verdict. The results go to `out`, as they come; those of several files at a time may be mixed,
// line by line. A file that cannot be read is told on `errors`. Returns the worst file's exit code
// (command_line.h).
[[nodiscard]] int VerifyFiles(const sVerifyFiles& request, std::ostream& out, std::ostream& errors);

}  // namespace corvane::tools
