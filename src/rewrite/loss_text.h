#pragma once

#include <cstdint>
#include <string>

#include "rewrite/block_recovery.h"

// What a recovery tells, in words.
namespace corvane {

// "1 item", "3 items"
[[nodiscard]] std::string Count(std::uint64_t count, const char* what);

// "item 17 is lost (40 bytes)", "3 of items 17 to 25 are lost (120 bytes)". Without `hasNumbers`
// the items' numbers in the file are not known: "1 item is lost (40 bytes)".
[[nodiscard]] std::string LossText(const sLostItems& lost, bool hasNumbers);

// Where they are: "item 17 at offset 57400", "from item 17 at offset 57400 to item 25 at offset
// 57460", or the offsets alone.
[[nodiscard]] std::string PlaceText(const sUnfitRecords& unfit);

}  // namespace corvane
