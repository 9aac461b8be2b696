#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "reader/capture_file.h"
#include "rewrite/capture_writer.h"

namespace corvane {

// A capture that is merged into another.
struct sMergeInput {
  std::string path;
  std::string name;  // what the texts of the merged capture call it, ASCII; no other has it
};

// Why captures could not be merged.
struct sMergeProblem {
  std::string path;  // of the capture that is the reason; empty when it is the output
  sCaptureError error;
};

// Merges captures in the order of time: of the items that come next in each capture, the earliest
// is written first, and of those at the same time that of the capture that was named first. So the
// items of one capture keep their own order, also where a clock was set back between them. Each
// item is preceded by texts that tell its capture, port and subscription wherever these change.
//
// A capture is opened when its first item is due, and closed behind its last one: captures that
// follow each other in time are open one by one. No more than kMostOpen may be open at once.
class cMerge {
 public:
  static constexpr std::size_t kMostOpen = 100;

  // Is told of each capture that was read to its end: what of it could not be read, if anything.
  using tDone = std::function<void(const sMergeInput& input, const cCaptureFile& file,
                                   const std::optional<sCaptureError>& unreadable)>;
  // Is told how many items were read.
  using tProgress = std::function<void(std::uint64_t items)>;

  // Opens a capture, as cCaptureFile::Open does; each twice.
  using tOpen = std::function<std::unique_ptr<cCaptureFile>(const std::string& path,
                                                            sCaptureError& error, eCheck check)>;

  cMerge(std::vector<sMergeInput> captures, tOpen opener, tDone whenDone)
      : inputs(std::move(captures)), open(std::move(opener)), done(std::move(whenDone)) {}

  // Looks where each capture begins in time. To be called first. Returns which one is no capture.
  [[nodiscard]] std::optional<sMergeProblem> Begin();
  // How many items there are to merge.
  [[nodiscard]] std::uint64_t ItemsToMerge() const { return all; }

  // Writes all items, but does not finish the writer.
  [[nodiscard]] std::optional<sMergeProblem> Run(cCaptureWriter& writer, const tProgress& progress);

 private:
  struct sStart {
    std::uint64_t time = 0;  // of the first item
    std::size_t input = 0;

    friend auto operator<=>(const sStart&, const sStart&) = default;
  };

  std::vector<sMergeInput> inputs;
  tOpen open;
  tDone done;
  std::vector<sStart> starts;  // of the captures that have items
  std::uint64_t all = 0;
};

}  // namespace corvane
