// Reads capture files that are damaged in any way, also while they grow, and describes their items.
// An input is a script (file_script.h).
//
//   cmake --preset fuzz && cmake --build --preset fuzz --target reader_fuzzer
//   mkdir -p build/fuzz/found/reader
//   build/fuzz/bin/reader_fuzzer -max_total_time=10 build/fuzz/found/reader fuzz/corpus/reader
//
// The committed corpus is what make_reader_corpus writes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include "corvane/capture_summary.h"
#include "corvane/item_description.h"
#include "fuzz/file_script.h"
#include "reader/capture_file.h"

namespace corvane {
namespace {

// The file as the script has made it so far.
class cScriptSource final : public cByteSource {
 public:
  explicit cScriptSource(const cFileScript& fileScript) : script(fileScript) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return script.File().size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    const std::vector<std::uint8_t>& file = script.File();
    if (offset >= file.size()) {
      return 0;
    }
    const auto start = static_cast<std::size_t>(offset);
    const std::size_t count = std::min(bytes.size(), file.size() - start);
    std::copy_n(file.begin() + static_cast<std::ptrdiff_t>(start), count, bytes.begin());
    return count;
  }

 private:
  const cFileScript& script;
};

void Require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

void CheckState(const cCaptureFile& file) {
  std::uint64_t items = 0;
  for (const sCaptureBlock& block : file.Blocks()) {
    items += block.items;
  }
  Require(items == file.ItemCount());
  Require(file.UnclaimedBytes() <= file.Size() || file.Damage());
  Require(file.Damage().has_value() == (file.State() == eCaptureState::Damaged));
}

void ReadEverything(cCaptureFile& file) {
  tools::cCaptureSummary summary;
  sCaptureItem item;
  for (std::uint64_t number = 0; number < file.ItemCount(); ++number) {
    if (file.ReadItem(number, item)) {
      continue;
    }
    Require(!item.bytes.empty() && item.offset + item.bytes.size() < file.Size());
    Require(!tools::DescribeItem(item).empty());
    summary.Add(item);
  }
  Require(file.ItemCount() != 0 || summary.Format().empty());
}

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvane;
  cFileScript script(std::span(data, size));
  std::unique_ptr<cCaptureFile> file;
  sCaptureError error;
  while (script.Advance()) {
    if (file == nullptr) {
      file = cCaptureFile::Open(std::make_unique<cScriptSource>(script), error);
    } else {
      file->Refresh();
    }
    if (file != nullptr) {
      CheckState(*file);
    }
  }
  if (file != nullptr) {
    ReadEverything(*file);
  }
  return 0;
}
