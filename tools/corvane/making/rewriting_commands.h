#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "analysis/selection.h"

// The commands that make a capture file of others. Their result goes to `out`, and what is wrong to
// `errors`, a line led by the command's name. Each returns an exit code (command_line.h). The new
// file gets its name when it is complete; a file of that name is replaced only if that is wanted.
namespace corvane::tools {

struct sRecoverRequest {
  std::string input;
  std::string output;
  bool overwrite = false;
};

// Makes a complete capture of what can be recovered of a damaged, cut off or unclosed one
// (rewrite/recovery.h). Markers are copied. Without an item there is no new file.
[[nodiscard]] int RecoverFile(const sRecoverRequest& request, std::ostream& out,
                              std::ostream& errors);

struct sCutRequest {
  std::string input;
  std::string output;
  bool overwrite = false;
  sSelection selection;
};

// Makes a complete capture of the selected items of another. In front of an item whose connection
// and subscription are not those of the texts before it, the texts that tell them are repeated.
// Markers that stand in the selected stretch go along. When no item is selected, there is no new
// file.
[[nodiscard]] int CutFile(const sCutRequest& request, std::ostream& out, std::ostream& errors);

struct sMergeRequest {
  std::vector<std::string> inputs;
  std::string output;
  bool overwrite = false;
};

// Makes one complete capture of several (rewrite/merge.h), with all their markers.
[[nodiscard]] int MergeFiles(const sMergeRequest& request, std::ostream& out, std::ostream& errors);

}  // namespace corvane::tools
