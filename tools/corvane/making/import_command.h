#pragma once

#include <iosfwd>
#include <string>

#include "convert/import.h"

// `corvane import`: a raw DIAG stream, as other recorders write it, becomes a capture.
namespace corvane::tools {

struct sImportRequest {
  std::string input;   // the stream's file, "-" is standard input
  std::string output;  // the capture file to make
  bool overwrite = false;
  eWrapped wrapped = eWrapped::Open;
};

// Makes the capture file. What became of the stream goes to `out`; what could not be imported, and
// why there is no capture file, to `errors`. Returns an exit code (command_line.h): a stream with
// bad frames is imported all the same.
[[nodiscard]] int ImportStream(const sImportRequest& request, std::ostream& out,
                               std::ostream& errors);

}  // namespace corvane::tools
