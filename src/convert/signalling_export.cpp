#include "convert/signalling_export.h"

#include <array>
#include <charconv>
#include <cstddef>

#include "capture/isf/layout.h"
#include "convert/item_description.h"
#include "convert/rebuilt_blocks.h"
#include "diag/packets.h"

namespace corvane {
namespace {

[[nodiscard]] bool IsOfHost(const sCaptureItem& item) {
  return item.type == isf::kRequestItem || item.type == isf::kSubsystemRequestItem;
}

// Whether an item can hold a log packet: most of a large capture's items need no description.
[[nodiscard]] bool MayBeLog(const sCaptureItem& item) {
  if (IsOfHost(item) || item.type == isf::kEventItem || item.type == isf::kInformationItem) {
    return false;
  }
  return item.bytes[0] == command::kLog || item.bytes[0] == command::kWrapper;
}

void AppendHex(std::string& text, std::uint16_t number) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  text += "0x";
  for (const unsigned shift : {12U, 8U, 4U, 0U}) {
    text += kDigits[(number >> shift) & 0xF];
  }
}

}  // namespace

cSignallingExport::cSignallingExport(const sExportOptions& wanted,
                                     std::unique_ptr<cFrameWriter> frames)
    : options(wanted), writer(std::move(frames)), clock(wanted.clock, wanted.leapSeconds) {}

void cSignallingExport::Add(const sCaptureItem& item) {
  if (item.type == isf::kInformationItem) {
    ApplySourceText(DescribeItem(item).text, source);
  }
  if (MayBeLog(item)) {
    AddDescribed(item, DescribeItem(item));
    return;
  }
  ++withoutSignalling;
}

void cSignallingExport::AddDescribed(const sCaptureItem& item, const sDescription& description) {
  if (!description.signalling) {
    ++withoutSignalling;
    return;
  }
  AddSignalling(item, description);
}

void cSignallingExport::AddSignalling(const sCaptureItem& item, const sDescription& description) {
  const bool rebuilt = IsRebuilt(item, description, source);
  if (rebuilt && !options.keepRebuilt) {
    ++rebuiltLeftOut;
    return;
  }
  sSource from = source;
  if (description.subscription) {
    from.subscription = description.subscription;
  }
  std::string comment = "item " + std::to_string(item.number) + ", ";
  AppendHex(comment, description.logCode.value_or(0));
  comment += ", " + SourceName(from, options.captureName);
  if (rebuilt) {
    comment += ", rebuilt by the recorder";
  }
  sFrame frame;
  frame.time = clock.TimeOf(item.time, description.modemTime);
  frame.source = &from;
  frame.link = description.signalling->link;
  frame.comment = comment;
  frame.signalling = &*description.signalling;
  frame.technology = description.technology;
  frame.cell = description.cell ? &*description.cell : nullptr;
  if (!writer->Add(frame)) {
    ++withoutSignalling;
  }
}

std::vector<std::string> cSignallingExport::Notes() const {
  std::vector<std::string> notes;
  if (rebuiltLeftOut != 0) {
    notes.push_back(std::to_string(rebuiltLeftOut) +
                    " system-information blocks that the recorder rebuilt are left out");
  }
  return notes;
}

}  // namespace corvane
