#pragma once

#include <iosfwd>
#include <string>

#include "convert/export.h"

// `corvane export`: a capture in another format.
namespace corvane::tools {

struct sExportRequest {
  std::string path;    // of the capture
  std::string output;  // the file to make; empty: `stream` is written instead
  std::string stream;  // a pipe or file that is written as it is, "-" is standard output
  bool overwrite = false;
  eExportFormat format = eExportFormat::Pcapng;
  sExportOptions options;
};

// Exports the items that are there. What is wrong and what was not shown is told on `errors`.
// Returns an exit code (command_line.h).
[[nodiscard]] int ExportCapture(const sExportRequest& request, std::ostream& errors);

}  // namespace corvane::tools
