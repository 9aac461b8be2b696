#pragma once

#include <iosfwd>
#include <string>

#include "analysis/selection.h"

// `corvane report`: a page that shows a capture at a glance.
namespace corvane::tools {

struct sReportRequest {
  std::string path;    // of the capture
  std::string output;  // the page to make
  bool overwrite = false;
  sSelection selection;
  std::string selectionText;  // the options that it came from; empty for every item
};

// Makes the page. What is wrong is told on `errors`. Returns an exit code (command_line.h): a
// capture that is damaged gets a page all the same.
[[nodiscard]] int MakeReport(const sReportRequest& request, std::ostream& errors);

}  // namespace corvane::tools
