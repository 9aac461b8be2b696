#pragma once

#include <CLI/App.hpp>
#include <iosfwd>
#include <optional>
#include <string>

#include "analysis/selection.h"
#include "convert/export.h"

// `corvane export`: a capture in another format.
namespace corvane::tools {

struct sExportRequest {
  std::string path;    // of the capture
  std::string output;  // the file to make; empty: `stream` is written instead
  std::string stream;  // a pipe or file that is written as it is, "-" is standard output
  bool overwrite = false;
  bool follow = false;  // goes on with what is written to the capture; needs `stream`
  eExportFormat format = eExportFormat::Pcapng;
  sExportOptions options;
  sSelection selection;
};

// Why the output may not be opened for writing, as a sentence for the user, or nothing: it is the
// capture itself, by whatever name, or the stream is a file that is there and may not be replaced,
// or the name is none. Of a file to make cNewFile tells that it is there. Changes nothing.
[[nodiscard]] std::optional<std::string> ObstacleTo(const sExportRequest& request);

// Exports the selected items that are there. What is wrong and what was not shown is told on
// `errors`. Returns an exit code (command_line.h).
[[nodiscard]] int ExportCapture(const sExportRequest& request, std::ostream& errors);

// Adds the options that tell what of a capture is shown, and how.
void AddContentOptions(CLI::App& command, sExportOptions& options);

// What a capture's packets are said to come from as long as it does not tell: its file name, in
// UTF-8.
[[nodiscard]] std::string CaptureNameOf(const std::string& path);

}  // namespace corvane::tools
