#pragma once

#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "corvane/making/new_file.h"
#include "reader/markers.h"
#include "rewrite/capture_writer.h"

namespace corvane::tools {

// The capture file that a command makes of others, and the file of markers beside it. Both get
// their names when they are complete, and nothing of them is left unless Complete was called.
// Markers of an older file that is replaced go with it.
class cCaptureOutput {
 public:
  cCaptureOutput(std::string path, bool mayReplace);

  // Makes the file. Returns why it cannot be made, as a sentence for the user, or nothing: it is
  // one of `inputs` or no file, or is there already and may not be replaced.
  [[nodiscard]] std::optional<std::string> Begin(const std::vector<std::string>& inputs);

  // Where the items go, once Begin found nothing against it.
  [[nodiscard]] cCaptureWriter& Writer() { return *writer; }
  // Why something could not be written, as a sentence for the user.
  [[nodiscard]] std::string WriteProblem() const;

  // Adds a marker behind those that the capture has.
  void AddMarker(const sMarker& marker);

  // Finishes and names the files. Returns why that failed, as a sentence for the user.
  [[nodiscard]] std::optional<std::string> Complete();

 private:
  [[nodiscard]] std::optional<std::string> CompleteMarkers();

  const std::string name;
  const bool replaces;
  cNewFile file;
  cNewFile markerFile;
  std::ofstream stream;
  std::ofstream markers;
  bool hasMarkers = false;
  std::optional<cCaptureWriter> writer;
};

// Removes the markers of a capture that was replaced, which are none of the new one's. Returns why
// that failed, as a sentence for the user; without markers it does not.
[[nodiscard]] std::optional<std::string> RemoveMarkers(const std::string& capture);

}  // namespace corvane::tools
