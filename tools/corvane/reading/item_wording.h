#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "describe/description.h"
#include "reader/capture_file.h"

// Items in words: all that the commands show of what `describe` tells.
namespace corvane::tools {

// The name of an item type, one word: "signalling-log". "unknown" for types that nothing writes.
[[nodiscard]] std::string_view ItemTypeName(std::uint32_t type);

// A type that has a name.
struct sNamedItemType {
  std::uint32_t type = 0;
  std::string name;
};
// All of them, in ascending order.
[[nodiscard]] std::vector<sNamedItemType> NamedItemTypes();

// Appends what is in an item, in a few words and without a line break:
//
//   log 0xB0C0 LTE RRC  DL-DCCH  RRC connection reconfiguration  PCI 324 EARFCN 1825
//   event 1606 LTE RRC state: connected
//   message SSID 5 call manager high cm.c:123 "state 4"
//   log mask request, equipment ID 1, 12 log codes
//
// `description` is the item's, `isRebuilt` whether the recorder rebuilt it (convert/). Any bytes
// have words, which name as much as can be told. They are ASCII, but for the UTF-8 of text items.
void AppendWords(std::string& text, const sCaptureItem& item, const sDescription& description,
                 bool isRebuilt);

// The name of a log without its tail "OTA message", which goes without saying beside a message.
[[nodiscard]] std::string_view ShortLogName(std::string_view name);

// A log whose layout has a version that is not known: nothing but the version was described.
[[nodiscard]] bool IsOfUnknownVersion(const sDescription& description);

// True for the items whose first byte is a DIAG command.
[[nodiscard]] bool HasCommand(const sCaptureItem& item);

}  // namespace corvane::tools
