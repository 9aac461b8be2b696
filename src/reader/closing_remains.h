#pragma once

#include <cstdint>
#include <vector>

#include "reader/block_chain.h"
#include "reader/byte_source.h"

namespace corvane {

// What there is of the block index and the trailer of a file whose trailer is not whole.
struct sClosingRemains {
  enum class eWhat : std::uint8_t {
    Nothing,
    CutIndex,       // the index up to its end, or to an entry before
    CutTrailer,     // the index and less than a trailer
    DamagedTrailer  // the index and as many bytes as a trailer has
  };
  eWhat what = eWhat::Nothing;
  std::uint64_t end = 0;  // file position behind what is good of the index

  // "the trailer is cut off"; not for nothing.
  [[nodiscard]] const char* Text() const;
};

// Looks at the bytes from `offset`, behind the last record, to `size`, the end of the file: they
// are the index of `blocks` as far as they reach, and at least its first entry.
[[nodiscard]] sClosingRemains FindClosingRemains(cByteSource& source,
                                                 const std::vector<sCaptureBlock>& blocks,
                                                 std::uint64_t offset, std::uint64_t size);

}  // namespace corvane
