#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>

#include "convert/item_description.h"
#include "convert/rebuilt_blocks.h"
#include "convert/source_texts.h"
#include "corvane/command/command_line.h"
#include "corvane/reading/item_wording.h"
#include "corvane/command/readable_text.h"
#include "corvane/reading/reading_commands.h"
#include "reader/capture_file.h"
#include "reader/utc_time.h"

namespace corvane::tools {
namespace {

// One end of the range to list. Items are in file order, which is not always that of their times: a
// clock may be set back. So a time does not tell where to begin or to stop, it selects items.
struct sBound {
  std::uint64_t number;
  std::uint64_t time;
};

[[nodiscard]] bool ParseBound(const std::string& text, sBound& bound) {
  if (text.empty()) {
    return true;
  }
  if (const auto time = ParseUtc(text)) {
    bound.time = *time;
    return true;
  }
  const char* const end = text.data() + text.size();
  const auto [next, error] = std::from_chars(text.data(), end, bound.number);
  return error == std::errc() && next == end;
}

[[nodiscard]] bool IsListed(const sCaptureItem& item, const sListRequest& request,
                            const sBound& from, const sBound& to) {
  if (item.time < from.time || item.time > to.time) {
    return false;
  }
  return request.types.empty() ||
         std::find(request.types.begin(), request.types.end(), item.type) != request.types.end();
}

// The lines of the items, and what they need of the items before.
class cListing {
 public:
  cListing(const cCaptureFile& file, bool isHex)
      : numberWidth(static_cast<int>(std::to_string(file.NumbersEnd()).size())), hex(isHex) {}

  // Takes note of an item that is listed or not.
  void Pass(const sCaptureItem& item) {
    if (item.type == isf::kInformationItem) {
      ApplySourceText(DescribeItem(item).text, source);
    }
  }

  void Append(const sCaptureItem& item) {
    const auto out = std::back_inserter(text);
    fmt::format_to(out, "{:>{}}  {}  {:>2} {:<17}  ", item.number, numberWidth,
                   FormatUtc(item.time), item.type, ItemTypeName(item.type));
    if (HasCommand(item)) {
      fmt::format_to(out, "0x{:02X}", item.bytes[0]);
    } else {
      text += "   -";
    }
    fmt::format_to(out, "  {:>5}  ", item.bytes.size());
    const sDescription description = DescribeItem(item);
    AppendWords(text, item, description, IsRebuilt(item, description, source));
    text += '\n';
    if (hex) {
      AppendHexDump(text, item.bytes, "    ");
    }
  }

  // Lines that are not written yet.
  std::string text;

 private:
  int numberWidth;
  bool hex;
  sSource source;
};

// A capture that was imported says so in its first item. Nothing else is needed of what stands in
// front of the items that are listed.
void PassFirst(cCaptureFile& file, std::uint64_t from, cListing& listing) {
  sCaptureItem item;
  const auto first = file.NextItem(0);
  if (first && *first < from && !file.ReadItem(*first, item)) {
    listing.Pass(item);
  }
}

}  // namespace

int ListItems(const sListRequest& request, std::ostream& out, std::ostream& errors) {
  sBound from{0, 0};
  sBound to{UINT64_MAX, UINT64_MAX};
  for (const auto& [text, bound] : {std::pair(&request.from, &from), {&request.to, &to}}) {
    if (ParseBound(*text, *bound)) {
      continue;
    }
    errors << fmt::format("corvane list: \"{}\" is neither an item number nor a UTC time\n", *text);
    return kExitUsage;
  }
  sCaptureError error;
  const std::unique_ptr<cCaptureFile> file = cCaptureFile::Open(request.path, error);
  if (file == nullptr) {
    return ReportUnreadable("list", request.path, error, errors);
  }

  // Lines are handed on in pieces of this size: a stream call for each takes longer than the line.
  constexpr std::size_t kPiece = std::size_t{64} * 1024;
  cListing listing(*file, request.hex);
  PassFirst(*file, from.number, listing);
  std::optional<sCaptureError> unreadable;
  sCaptureItem item;
  for (auto number = file->NextItem(from.number); number && *number <= to.number && out;
       number = file->NextItem(*number + 1)) {
    auto wrong = file->ReadItem(*number, item);
    if (wrong) {
      unreadable = unreadable ? unreadable : std::move(wrong);
      continue;
    }
    listing.Pass(item);
    if (IsListed(item, request, from, to)) {
      listing.Append(item);
    }
    if (listing.text.size() >= kPiece) {
      out << listing.text;
      listing.text.clear();
    }
  }
  out << listing.text << std::flush;
  return ReportEnd("list", request.path, *file, unreadable, out, errors);
}

void AddListCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command = app.add_subcommand(
      "list",
      "Lists the items of a capture file, one a line: number, UTC time, item type, DIAG command, "
      "length in bytes, and what it is, in the field's words");
  const auto request = std::make_shared<sListRequest>();
  command->add_option("FILE", request->path, "The capture file")->required();
  command->add_flag("--hex", request->hex, "Show the bytes of each item too");
  command->add_option("--type", request->types, "Only items of these types (0 to 31)")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::Range(0, 31).description(""))
      ->type_name("N[,N]");
  command
      ->add_option(
          "--from", request->from,
          "First item: its number (from 0), or a UTC time such as 2024-05-17T12:34:56.789Z")
      ->type_name("ITEM|TIME");
  command->add_option("--to", request->to, "Last item, in the same way; it is listed too")
      ->type_name("ITEM|TIME");
  command->footer(kReadingExitCodes);
  command->callback([request, &exitCode] { exitCode = ListItems(*request, std::cout, std::cerr); });
}

}  // namespace corvane::tools
