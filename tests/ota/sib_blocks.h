#pragma once

#include <map>
#include <ostream>
#include <tuple>

#include "ota/bits.h"

namespace corvane {

// A block under reassembly: its bits from the start of its buffer, the five header bytes included.
struct sBlock {
  unsigned expected = 0;
  unsigned received = 0;
  Bits bits;

  friend bool operator==(const sBlock&, const sBlock&) = default;
  friend std::ostream& operator<<(std::ostream& out, const sBlock& block) {
    return out << block.received << " of " << block.expected << " segments, " << block.bits.size()
               << " bits " << block.bits;
  }
};
using BlockKey = std::tuple<int, int, int>;  // marker, radio bearer, SIB type
using BlockMap = std::map<BlockKey, sBlock>;

}  // namespace corvane
