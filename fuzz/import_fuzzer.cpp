// Imports raw streams that are damaged in any way, into a capture file in memory.
//
//   cmake --preset fuzz && cmake --build --preset fuzz --target import_fuzzer
//   mkdir -p build/fuzz/found/import
//   build/fuzz/bin/import_fuzzer -max_total_time=10 build/fuzz/found/import fuzz/corpus/import
//
// The committed corpus is what make_import_corpus.py writes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <span>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "convert/import.h"
#include "fuzz/checks.h"
#include "fuzz/import_model.h"
#include "reader/capture_file.h"

namespace corvane {
namespace {

constexpr std::uint8_t kDropsWrapped = 0x01;
constexpr std::uint8_t kIsPackets = 0x02;
constexpr unsigned kPieceShift = 2;

// Frames packets, each of which is led by its length in two bytes, so that a fuzzer need not find
// their checksums.
[[nodiscard]] std::vector<std::uint8_t> FramePackets(std::span<const std::uint8_t> input) {
  std::vector<std::uint8_t> stream;
  while (input.size() > 2) {
    const std::size_t length =
        std::min<std::size_t>(input[0] + 256u * input[1] + 1, input.size() - 2);
    const auto frame = ModelFrame(input.subspan(2, length));
    stream.insert(stream.end(), frame.begin(), frame.end());
    input = input.subspan(2 + length);
  }
  return stream;
}

struct sImported {
  sImportReport report;
  std::vector<std::uint8_t> file;
};

[[nodiscard]] sImported Import(std::span<const std::uint8_t> stream, bool dropsWrapped,
                               std::size_t piece) {
  std::stringbuf memory(std::ios::in | std::ios::out | std::ios::binary);
  // The store wants a file that is open; what it writes goes into the memory.
  auto file = std::make_unique<std::ofstream>("/dev/null", std::ios::binary);
  static_cast<std::ios&>(*file).rdbuf(&memory);
  cImport import(std::move(file), {"fuzz", dropsWrapped ? eWrapped::Drop : eWrapped::Open});
  while (!stream.empty()) {
    const std::size_t length = std::min(piece, stream.size());
    Require(import.Feed(stream.first(length)) == 0, "memory takes all of the stream");
    stream = stream.subspan(length);
  }
  Require(import.Finish() == 0, "memory takes the end of the stream");
  const std::string written = memory.str();
  return {import.Report(), {written.begin(), written.end()}};
}

// The text items as the model has them.
[[nodiscard]] std::vector<std::uint8_t> PacketOf(const sCaptureItem& item) {
  if (item.type != isf::kInformationItem) {
    return item.bytes;
  }
  const std::string text = isf::LoadTextItem(item.bytes).value_or("");
  return {text.begin(), text.end()};
}

void CheckFile(const sImported& imported, const sImportModel& model) {
  sCaptureError error;
  const auto file = cCaptureFile::Open(std::make_unique<cBytesSource>(imported.file), error);
  Require(file != nullptr && file->IsComplete(), "the capture is complete");
  Require(file->ItemCount() == model.items.size(), "the capture has the expected items");
  sCaptureItem item;
  for (std::uint64_t number = 0; number < model.items.size(); ++number) {
    Require(!file->ReadItem(number, item), "every item can be read");
    Require(PacketOf(item) == model.items[number], "every item is the expected one");
    const std::uint64_t time = item.time * isf::kFileTimeUnitsPerMillisecond;
    Require(time >= cItemTimes::Unknown(), "no item is older than the clocks of modems");
  }
}

void CheckReport(const sImportReport& report, const sImportModel& model) {
  Require(report.packets == model.packets, "good frames are counted");
  Require(report.badFrames == model.badFrames, "bad frames are counted");
  Require(report.firstBadFrames.size() == std::min<std::uint64_t>(report.badFrames, 10),
          "the first bad frames are kept");
  Require(report.items == model.items.size(), "items are counted");
  std::uint64_t left = report.tooLong + report.brokenReports;
  for (const std::uint64_t count : report.refused) {
    left += count;
  }
  Require(left == model.left, "what is left out is counted");
  Require(report.unstamped + report.nonsensicalTimes < report.items,
          "a text has no stamp to count");
}

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvane;
  if (size == 0) {
    return 0;
  }
  const std::span<const std::uint8_t> input(data + 1, size - 1);
  const bool dropsWrapped = (data[0] & kDropsWrapped) != 0;
  const std::size_t piece = data[0] >> kPieceShift;
  const std::vector<std::uint8_t> stream =
      (data[0] & kIsPackets) != 0 ? FramePackets(input) : std::vector(input.begin(), input.end());
  const sImported imported = Import(stream, dropsWrapped, piece == 0 ? SIZE_MAX : piece);
  const sImportModel model = ModelImport(stream, dropsWrapped);
  CheckReport(imported.report, model);
  CheckFile(imported, model);
  return 0;
}
