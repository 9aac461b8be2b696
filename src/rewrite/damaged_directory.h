#pragma once

#include <cstdint>
#include <span>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"
#include "reader/directory.h"

namespace corvane {

// Judges a directory as JudgeDirectory does (reader/directory.h), of which a whole stretch may have
// been overwritten. An entry at the edge of such a stretch, of which nothing but the length is
// wrong, has no good neighbour that speaks against it: it is bad when its record would swallow
// others whose entries agree with each other. So are entries that lead past such records, as those
// do that were copied from a later place of the directory.
[[nodiscard]] sJudgedDirectory JudgeDamagedDirectory(
    std::span<const std::uint8_t, isf::kDirectorySize> directory, const sDirectoryPlace& place,
    cByteSource& source);

}  // namespace corvane
