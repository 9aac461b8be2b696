#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string_view>

namespace corvane {

// What the modem is asked to report, as read from a configuration's sections.
using EventIdSet = std::set<std::uint32_t>;
// A log code holds its equipment ID in bits 12..15 and its item number in bits 0..11.
using LogCodeSet = std::set<std::uint32_t>;
using OtaTypeSet = std::set<std::uint32_t>;
// Subsystem ID (SSID) to the levels (bit numbers) wanted of it.
using MessageLevelMap = std::map<std::uint32_t, std::set<std::uint32_t>>;

// Each parser takes the whole text of a configuration and reads its own sections. They never
// report an error: a number that does not parse counts as 0, duplicates collapse, and a section
// that is missing or unterminated is empty (filters/configuration_text.h).

// Section "EventIDs", decimal.
[[nodiscard]] EventIdSet ParseEventIDs(std::string_view text);

// Section "LogCodes", hexadecimal with or without "0x".
[[nodiscard]] LogCodeSet ParseLogCodes(std::string_view text);

// Section "OTATypes", hexadecimal; of an item only its first piece between slashes counts. An item
// of slashes, or of slashes and white space, contributes nothing.
[[nodiscard]] OtaTypeSet ParseOTATypes(std::string_view text);

// Section "MessageLevels", items of the form SSID/level, both decimal. One item that has not
// exactly two pieces between slashes empties the whole map.
[[nodiscard]] MessageLevelMap ParseMessageLevels(std::string_view text);

// Section "MultiSim": true when one of its items is the word "unwrap", in these letters, with any
// white space around it. Other items change nothing.
[[nodiscard]] bool ParseMultiSim(std::string_view text);

}  // namespace corvane
