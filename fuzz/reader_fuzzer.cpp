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
#include <tuple>

#include "corvane/reading/capture_summary.h"
#include "fuzz/file_script.h"
#include "reader/capture_file.h"

namespace corvane {
namespace {

// The file as the script has made it so far.
class cScriptSource final : public cByteSource {
 public:
  // `bytesRead` receives how many bytes were asked for.
  cScriptSource(const cFileScript& fileScript, std::uint64_t& bytesRead)
      : script(fileScript), read(bytesRead) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return script.File().size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    const std::vector<std::uint8_t>& file = script.File();
    if (offset >= file.size()) {
      return 0;
    }
    const auto start = static_cast<std::size_t>(offset);
    const std::size_t count = std::min(bytes.size(), file.size() - start);
    std::copy_n(file.begin() + static_cast<std::ptrdiff_t>(start), count, bytes.begin());
    read += count;
    return count;
  }

 private:
  const cFileScript& script;
  std::uint64_t& read;
};

void Require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

void CheckState(const cCaptureFile& file) {
  std::uint64_t items = 0;
  std::uint64_t end = 0;
  for (const sCaptureBlock& block : file.Blocks()) {
    Require(block.offset >= end && block.end >= block.offset && block.items <= block.entries);
    Require(block.follows == 0 || block.end <= block.follows);
    end = block.end;
    items += block.items;
  }
  Require(items == file.ItemCount());
  Require(file.ItemCount() + file.PassedOver() == file.NumbersEnd());
  Require(file.PassedOver() == 0 || file.State() == eCaptureState::Damaged);
  Require(file.UnclaimedBytes() <= file.Size() || file.Damage());
  Require(file.Damage().has_value() == (file.State() == eCaptureState::Damaged));
}

// What the directories alone say has to be what a look at everything says.
void CheckDirectories(cCaptureFile& file, cCaptureFile& quick) {
  Require(quick.ItemCount() == file.ItemCount() && quick.PassedOver() == file.PassedOver());
  Require(!quick.Damage() || file.Damage());
  std::uint64_t items = 0;
  for (const sTypeTotals& totals : quick.TotalsByType()) {
    Require(totals.bytes >= totals.items);
    items += totals.items;
  }
  Require(items == quick.ItemCount());
  const auto last = quick.LastItem();
  Require(last.has_value() == (items != 0));
  std::uint64_t time = 0;
  sCaptureItem item;
  if (last) {
    Require(*last < quick.NumbersEnd() && !quick.NextItem(*last + 1));
    const bool isWrong = quick.ReadTime(*last, time).has_value();
    Require(isWrong == file.ReadItem(*last, item).has_value());
    Require(isWrong || time == item.time);
  }
}

// Reads all that there is to read. Returns how many items that were.
std::uint64_t ReadEverything(cCaptureFile& file) {
  tools::cCaptureSummary summary;
  sCaptureItem item;
  std::uint64_t items = 0;
  for (auto number = file.NextItem(0); number; number = file.NextItem(*number + 1)) {
    ++items;
    Require(*number < file.NumbersEnd());
    if (file.ReadItem(*number, item)) {
      continue;
    }
    Require(item.number == *number);
    Require(!item.bytes.empty() && item.offset + item.bytes.size() < file.Size());
    summary.Add(item);
  }
  Require(items != 0 || summary.Format().empty());
  return items;
}

// What holds as long as nothing is changed any more that was read before.
void CheckOrder(cCaptureFile& file) {
  sCaptureItem item;
  std::uint64_t end = 0;
  for (auto number = file.NextItem(0); number; number = file.NextItem(*number + 1)) {
    if (file.ReadItem(*number, item)) {
      continue;
    }
    // In file order, and none inside another.
    Require(item.offset >= end);
    end = item.offset + item.bytes.size() + 1;
  }
}

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvane;
  cFileScript script(std::span(data, size));
  std::unique_ptr<cCaptureFile> file;
  sCaptureError error;
  std::uint64_t bytesRead = 0;
  while (script.Advance()) {
    bytesRead = 0;
    if (file == nullptr) {
      file = cCaptureFile::Open(std::make_unique<cScriptSource>(script, bytesRead), error);
    } else {
      file->Refresh();
    }
    // A few looks at everything, and small reads around each entry: no content makes it more.
    Require(bytesRead <= 100'000 + 100 * script.File().size());
    if (file != nullptr) {
      CheckState(*file);
    }
  }
  if (file == nullptr) {
    return 0;
  }
  // The script may have written over what the file was read from: it need only be read safely.
  std::ignore = ReadEverything(*file);
  file = cCaptureFile::Open(std::make_unique<cScriptSource>(script, bytesRead), error);
  if (file != nullptr) {
    CheckState(*file);
    Require(ReadEverything(*file) == file->ItemCount());
    CheckOrder(*file);
    const auto quick = cCaptureFile::Open(std::make_unique<cScriptSource>(script, bytesRead), error,
                                          eCheck::Directories);
    Require(quick != nullptr);
    CheckDirectories(*file, *quick);
  }
  return 0;
}
