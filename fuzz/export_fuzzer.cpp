// Exports arbitrary items in every format, and reads what was written with readers of its own.
// docs/fuzzing.md describes the input.
//
//   scripts/fuzz.sh export 1
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "capture/isf/layout.h"
#include "convert/export.h"
#include "fuzz/checks.h"
#include "fuzz/diag_model.h"
#include "fuzz/export_readers.h"
#include "fuzz/memory_sink.h"

namespace corvane {
namespace {

using View = ModelView;

// 2020-01-01, in milliseconds since 1601.
constexpr std::uint64_t kStart = 13'222'310'400'000;
// What no item takes more of, whatever is in it: names of sources and fields.
constexpr std::size_t kMostForItem = 10'000;
constexpr std::size_t kMostForByte = 2'000;

constexpr std::uint8_t kIsMarker = 0x80;
constexpr std::uint8_t kHasTime = 0x40;
constexpr std::uint8_t kIsPassed = 0x20;

// --- The input

struct sExported {
  std::vector<sCaptureItem> items;  // that were added
  std::size_t markers = 0;
  std::string written;
};

[[nodiscard]] View Take(View& input, std::size_t count) {
  const View taken = input.first(std::min(count, input.size()));
  input = input.subspan(taken.size());
  return taken;
}

[[nodiscard]] sExportOptions OptionsOf(std::uint8_t bits) {
  sExportOptions options;
  options.application = "fuzzer";
  options.events = (bits & 0x01) != 0;
  options.messages = (bits & 0x02) != 0;
  options.requests = (bits & 0x04) != 0;
  options.raw = (bits & 0x08) != 0;
  options.keepRebuilt = (bits & 0x10) != 0;
  options.clock = (bits & 0x20) != 0 ? eExportClock::Host : eExportClock::Modem;
  options.leapSeconds = (bits & 0x40) != 0 ? 18 : 0;
  return options;
}

// One item, its type and flags in a byte, its length in another.
void AddNext(View& input, cItemExport& target, sExported& exported, sCaptureItem& item) {
  const std::uint8_t flags = Take(input, 1)[0];
  const View size = Take(input, 1);
  item.type = flags % isf::kItemTypes;
  item.time += 10;
  item.extra.reset();
  if ((flags & kHasTime) != 0) {
    const View time = Take(input, 8);
    if (time.size() < 8) {
      return;
    }
    item.extra = ModelNumber(time, 0, 4);
    item.time = (std::uint64_t{ModelNumber(time, 4, 4)} << 32 | *item.extra) % isf::kLatestTime;
  }
  const View bytes = Take(input, size.empty() ? 0 : size[0]);
  item.bytes.assign(bytes.begin(), bytes.end());
  if (item.bytes.empty()) {
    return;
  }
  // An item ends where its memory does, so that a read behind it is seen.
  item.bytes.shrink_to_fit();
  if ((flags & kIsMarker) != 0) {
    target.Mark({item.time, {bytes.begin(), bytes.end()}});
    ++exported.markers;
  } else if ((flags & kIsPassed) != 0 && item.type == isf::kInformationItem) {
    target.Pass(item);
  } else {
    target.Add(item);
    exported.items.push_back(item);
  }
  ++item.number;
  item.offset += item.bytes.size() + 9;
}

[[nodiscard]] sExported Export(eExportFormat format, const sExportOptions& options, View input) {
  sExported exported;
  cTextSink sink;
  const std::unique_ptr<cItemExport> target = MakeExport(format, options, sink);
  sCaptureItem item;
  item.time = kStart;
  while (!input.empty()) {
    AddNext(input, *target, exported, item);
  }
  target->Finish();
  exported.written = sink.Text();
  for (const std::string& note : target->Notes()) {
    Require(IsUtf8(note) && note.size() < kMostForItem, "a note can be read");
  }
  return exported;
}

// --- The checks

[[nodiscard]] View BytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

[[nodiscard]] bool IsText(const sCaptureItem& item) {
  return item.type == isf::kInformationItem && item.bytes.size() >= 4 &&
         ModelNumber(item.bytes, 0, 4) == 0xFFFFFFC0;
}

void CheckPcapng(const sExported& exported, const sExportOptions& options) {
  const sReadPcapng read = ReadPcapng(BytesOf(exported.written));
  // Two of each source, and one that many share.
  Require(read.interfaces <= 2 * 256 + 2, "interfaces are limited");
  std::vector<View> raw;
  for (const sReadFrame& frame : read.frames) {
    if (frame.linkType == 147) {
      raw.emplace_back(frame.data);
    }
  }
  std::size_t expected = 0;
  for (const sCaptureItem& item : exported.items) {
    if (options.raw && !IsText(item)) {
      Require(expected < raw.size() && std::ranges::equal(raw[expected], item.bytes),
              "every packet is there as it is");
      ++expected;
    }
  }
  Require(raw.size() == expected, "only packets are shown as such");
}

void CheckJsonLines(const sExported& exported) {
  std::string_view rest = exported.written;
  std::size_t rows = 0;
  for (; !rest.empty(); ++rows) {
    const std::size_t end = rest.find('\n');
    Require(end != std::string_view::npos, "the last line is whole");
    const auto row = nlohmann::json::parse(rest.substr(0, end), nullptr, false);
    Require(row.is_object() && row.contains("sort") && row.contains("time"), "a line is an object");
    for (const auto& [name, value] : row.items()) {
      Require(FindItemField(name) != nullptr && (value.is_string() || value.is_number_unsigned()),
              "an object has known fields");
    }
    rest.remove_prefix(end + 1);
  }
  Require(rows == exported.items.size() + exported.markers, "every item has a line");
}

// Of seven bits, and none that a table has.
[[nodiscard]] bool IsControl(char byte) {
  return (byte >= 0 && byte < ' ' && byte != '\t' && byte != '\r' && byte != '\n') || byte == 0x7F;
}

void CheckCsv(const sExported& exported) {
  Require(IsUtf8(exported.written), "CSV is UTF-8");
  const auto rows = ReadCsv(exported.written);
  Require(rows.size() == 1 + exported.items.size() + exported.markers, "every item has a row");
  for (const auto& row : rows) {
    Require(row.size() == ItemFields().size(), "a row has every field");
    for (const std::string& field : row) {
      Require(field.find_first_of("=+-@\t\r") != 0, "no field is a formula");
      Require(std::ranges::none_of(field, IsControl), "no field obeys a terminal");
    }
  }
  Require(std::ranges::equal(rows[0], ItemFields(), {}, {}, &sItemField::name),
          "the first row has the names");
}

void CheckSeparated(const sExported& exported) {
  const std::string_view text = exported.written;
  Require(IsUtf8(text), "rows are UTF-8");
  const std::size_t rows = exported.items.size() + exported.markers;
  const auto count = [text](char wanted) {
    return static_cast<std::size_t>(std::ranges::count(text, wanted));
  };
  Require(count('\n') == rows && count('\t') == rows * (ItemFields().size() - 1),
          "every item has a line with every field");
  Require(std::ranges::none_of(text,
                               [](char character) {
                                 const auto byte = static_cast<unsigned char>(character);
                                 return (byte < ' ' && byte != '\n' && byte != '\t') ||
                                        byte == 0x7F;
                               }),
          "lines have no control characters");
}

// Frames one behind the other, each with a packet.
void CheckHdlc(const sExported& exported) {
  std::size_t frames = 0;
  ModelBytes plain;
  bool isEscaped = false;
  for (const std::uint8_t byte : BytesOf(exported.written)) {
    if (byte == 0x7E) {
      const auto packet = ModelChecked(plain);
      Require(!isEscaped && packet && !packet->empty(), "a frame is good");
      plain.clear();
      ++frames;
    } else if (byte == 0x7D && !isEscaped) {
      isEscaped = true;
    } else {
      plain.push_back(isEscaped ? byte ^ 0x20 : byte);
      isEscaped = false;
    }
  }
  Require(plain.empty() && frames <= exported.items.size(), "the stream is of whole frames");
}

void Check(eExportFormat format, const sExported& exported, const sExportOptions& options) {
  switch (format) {
    case eExportFormat::Pcapng:
      CheckPcapng(exported, options);
      break;
    case eExportFormat::Gsmtap:
      static_cast<void>(ReadGsmtapPcap(BytesOf(exported.written)));
      break;
    case eExportFormat::Hdlc:
      CheckHdlc(exported);
      break;
    case eExportFormat::Jsonl:
      CheckJsonLines(exported);
      break;
    case eExportFormat::Csv:
      CheckCsv(exported);
      break;
    case eExportFormat::Separated:
      CheckSeparated(exported);
      break;
  }
}

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvane;
  if (size < 2) {
    return 0;
  }
  const auto format = static_cast<eExportFormat>(data[0] % 6);
  const sExportOptions options = OptionsOf(data[1]);
  const sExported exported = Export(format, options, {data + 2, size - 2});
  Require(exported.written.size() <=
              kMostForItem * (1 + exported.items.size() + exported.markers) + kMostForByte * size,
          "an export is no larger than its items");
  Check(format, exported, options);
  return 0;
}
