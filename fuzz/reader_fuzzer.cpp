// Reads capture files that are damaged in any way, also while they grow, describes, lists and
// counts their items, and holds them to the rules of the format. An input is a script
// (file_script.h).
//
//   cmake --preset fuzz && cmake --build --preset fuzz --target reader_fuzzer
//   mkdir -p build/fuzz/found/reader
//   build/fuzz/bin/reader_fuzzer -max_total_time=10 build/fuzz/found/reader fuzz/corpus/reader
//
// The committed corpus is what make_reader_corpus writes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>

#include "analysis/verification.h"
#include "corvane/reading/capture_statistics.h"
#include "corvane/reading/capture_summary.h"
#include "corvane/reading/item_lines.h"
#include "corvane/reading/statistics_output.h"
#include "fuzz/checks.h"
#include "fuzz/file_script.h"
#include "fuzz/memory_sink.h"
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

void CheckState(const cCaptureFile& file) {
  std::uint64_t items = 0;
  std::uint64_t end = 0;
  for (const sCaptureBlock& block : file.Blocks()) {
    Require(block.offset >= end && block.end >= block.offset && block.items <= block.entries,
            "blocks follow each other");
    Require(block.follows == 0 || block.end <= block.follows, "a block ends before the next");
    end = block.end;
    items += block.items;
  }
  Require(items == file.ItemCount(), "the items are those of the blocks");
  Require(file.ItemCount() + file.PassedOver() == file.NumbersEnd(),
          "every number is an item or passed over");
  Require(file.PassedOver() == 0 || file.State() == eCaptureState::Damaged,
          "only damage is passed over");
  Require(file.UnclaimedBytes() <= file.Size() || file.Damage(), "unclaimed bytes are the file's");
  Require(file.Damage().has_value() == (file.State() == eCaptureState::Damaged), "damage is told");
}

// What the directories alone say has to be what a look at everything says.
void CheckDirectories(cCaptureFile& file, cCaptureFile& quick) {
  Require(quick.ItemCount() == file.ItemCount() && quick.PassedOver() == file.PassedOver(),
          "directories alone tell the same items");
  Require(!quick.Damage() || file.Damage(), "what directories show is damage");
  std::uint64_t items = 0;
  for (const sTypeTotals& totals : quick.TotalsByType()) {
    Require(totals.bytes >= totals.items, "an item has a byte or more");
    items += totals.items;
  }
  Require(items == quick.ItemCount(), "every item has a type");
  const auto last = quick.LastItem();
  Require(last.has_value() == (items != 0), "items have a last one");
  std::uint64_t time = 0;
  sCaptureItem item;
  if (last) {
    Require(*last < quick.NumbersEnd() && !quick.NextItem(*last + 1), "the last item is the last");
    const bool isWrong = quick.ReadTime(*last, time).has_value();
    Require(isWrong == file.ReadItem(*last, item).has_value(), "its time can be read where it can");
    Require(isWrong || time == item.time, "its time is its own");
  }
}

// Reads all that there is to read. Returns how many items that were.
std::uint64_t ReadEverything(cCaptureFile& file) {
  tools::cCaptureSummary summary;
  sCaptureItem item;
  std::uint64_t items = 0;
  for (auto number = file.NextItem(0); number; number = file.NextItem(*number + 1)) {
    ++items;
    Require(*number < file.NumbersEnd(), "numbers have an end");
    if (file.ReadItem(*number, item)) {
      continue;
    }
    Require(item.number == *number, "an item has its number");
    Require(!item.bytes.empty() && item.offset + item.bytes.size() < file.Size(),
            "an item lies in the file");
    summary.Add(item);
  }
  Require(items != 0 || summary.Format().empty(), "nothing is told of nothing");
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
    Require(item.offset >= end, "items are in order");
    end = item.offset + item.bytes.size() + 1;
  }
}

// --- What `corvane list`, `stats` and `verify` make of the file

// One line an item, of printable text, and no longer than the item explains.
void CheckLines(cCaptureFile& file) {
  cTextSink sink;
  tools::cItemLines lines(4, false, sink);
  sCaptureItem item;
  std::size_t items = 0;
  std::size_t bytes = 0;
  for (auto number = file.NextItem(0); number; number = file.NextItem(*number + 1)) {
    if (!file.ReadItem(*number, item)) {
      lines.Add(item);
      ++items;
      bytes += item.bytes.size();
    }
  }
  const std::string& text = sink.Text();
  Require(static_cast<std::size_t>(std::ranges::count(text, '\n')) == items, "an item is a line");
  Require(text.size() <= 1000 * items + 104 * bytes, "lines are no longer than their items");
  Require(std::ranges::none_of(text,
                               [](char character) {
                                 const auto byte = static_cast<unsigned char>(character);
                                 return (byte < ' ' && byte != '\n') || byte == 0x7F;
                               }),
          "lines can be printed");
}

void CheckStatistics(cCaptureFile& file) {
  const tools::sStatisticsRequest request;
  tools::cCaptureStatistics statistics(request);
  sCaptureItem item;
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;
  for (auto number = file.NextItem(0); number; number = file.NextItem(*number + 1)) {
    if (!file.ReadItem(*number, item)) {
      statistics.Add(item);
      ++items;
      bytes += item.bytes.size();
    }
  }
  const cStatistics& counts = statistics.Counts();
  std::uint64_t ofTypes = 0;
  for (const sItemTotals& totals : counts.Types()) {
    ofTypes += totals.items;
  }
  Require(counts.All().items == items && counts.All().bytes == bytes && ofTypes == items,
          "every item is counted once");
  std::ostringstream json;
  const tools::sStatisticsSubject subject{"fuzzed.isf", "damaged", items};
  tools::WriteStatisticsJson(subject, statistics, request, json);
  Require(nlohmann::json::parse(json.str(), nullptr, false).is_object(),
          "statistics are an object of JSON");
  std::ostringstream text;
  tools::WriteStatisticsText(subject, statistics, request, text);
  Require(!text.str().empty(), "statistics are tables");
}

// Whether a rule is one of single items or of joined captures, which the reader of a file that is
// not closed leaves alone.
bool IsLeftAlone(eRule rule) {
  switch (rule) {
    case eRule::Joined:
    case eRule::BaseTime:
    case eRule::PacketLength:
    case eRule::ItemType:
    case eRule::ExtraField:
    case eRule::ItemTime:
    case eRule::TimeWidth:
      return true;
    default:
      return false;
  }
}

// What the reader takes for damage breaks a rule, and nothing else does.
void CheckRules(const cCaptureFile& file, std::unique_ptr<cByteSource> source) {
  std::uint64_t found = 0;
  std::uint64_t leftAlone = 0;
  sVerifyRequest request;
  request.onViolation = [&](const sViolation& violation) {
    Require(violation.offset <= file.Size() && !violation.problem.empty(),
            "a rule is broken at a place of the file");
    ++found;
    leftAlone += !file.IsClosed() && IsLeftAlone(violation.rule) ? 1U : 0U;
    return true;
  };
  const sVerified verified = VerifyCapture(std::move(source), request);
  Require(verified.items == file.ItemCount() && verified.size == file.Size() &&
              verified.closed == file.IsClosed() && verified.violations == found,
          "what keeps the rules is what can be read");
  const bool isDamaged = file.State() == eCaptureState::Damaged;
  Require(isDamaged ? found != 0 : found == leftAlone, "a damaged file is one that breaks a rule");
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
    Require(bytesRead <= 100'000 + 100 * script.File().size(), "a look does not read without end");
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
    Require(ReadEverything(*file) == file->ItemCount(), "every item is found");
    CheckOrder(*file);
    const auto quick = cCaptureFile::Open(std::make_unique<cScriptSource>(script, bytesRead), error,
                                          eCheck::Directories);
    Require(quick != nullptr, "directories alone are enough to open a file");
    CheckDirectories(*file, *quick);
    CheckLines(*file);
    CheckStatistics(*file);
    CheckRules(*file, std::make_unique<cScriptSource>(script, bytesRead));
  }
  return 0;
}
