#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "describe/signalling.h"

// The field's names for numbers in DIAG packets. The tables are made from data/*.tsv when the
// project is built.
namespace corvane {

struct sLogCodeName {
  std::uint16_t code = 0;
  std::string_view key;   // "lte-rrc-ota-packet": lower case, hyphens
  std::string_view name;  // "LTE RRC OTA packet"
};

struct sEventName {
  std::uint16_t id = 0;
  std::string_view name;
};

// A range of subsystem IDs. Ranges may lie within others; the narrowest one names an ID.
struct sSsidName {
  std::uint16_t first = 0;
  std::uint16_t last = 0;
  std::string_view name;  // may be empty
};

// The tables, in ascending order of codes and IDs.
[[nodiscard]] std::span<const sLogCodeName> LogCodeNames();
[[nodiscard]] std::span<const sEventName> EventNames();
[[nodiscard]] std::span<const sSsidName> SsidNames();

// Null when there is no name.
[[nodiscard]] const sLogCodeName* FindLogCode(std::uint16_t code);
// Empty when there is no name.
[[nodiscard]] std::string_view EventName(std::uint16_t id);
[[nodiscard]] std::string_view SsidName(std::uint16_t ssid);

// The level of debug messages that a bit of their mask stands for, "high" for 2. Empty when it has
// no name: higher bits mean something else in each subsystem.
[[nodiscard]] std::string_view MessageLevelName(std::uint32_t level);

// "LTE", "WCDMA"; empty for none.
[[nodiscard]] std::string_view TechnologyName(eTechnology technology);

// Whether a log's layout has a version of two numbers, the major one in the upper 16 bits.
[[nodiscard]] bool HasMinorVersion(std::uint16_t logCode);
// The version of a log's layout: "26", "3.2".
[[nodiscard]] std::string VersionText(std::uint16_t logCode, std::uint32_t version);

}  // namespace corvane
