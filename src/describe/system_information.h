#pragma once

#include <cstddef>
#include <string_view>

#include "describe/signalling.h"

namespace corvane {

// What an LTE or NR message "System information" (3GPP TS 36.331, 38.331) holds. Only the first
// block tells its type without being decoded.
struct sSystemInformationContent {
  // "SIB2"; lasts for ever. Empty when the message is none, too short, or of an unknown release.
  std::string_view firstBlock;
  std::size_t blocks = 0;  // how many there are
};

[[nodiscard]] sSystemInformationContent SystemInformationContent(const sSignalling& message);

}  // namespace corvane
