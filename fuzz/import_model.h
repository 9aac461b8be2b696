#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "fuzz/diag_model.h"

// What an import has to make of a stream, worked out a second time: whole streams in memory, one
// step after the other, and nothing of the code under test.
namespace corvane {

struct sImportModel {
  std::size_t packets = 0;    // in good frames
  std::size_t badFrames = 0;  // one that is cut off by the end included
  std::size_t left = 0;       // packets, and event reports, that a capture does not hold
  // The items' bytes. Of a text its characters, without header, zero and the upper bytes.
  std::vector<std::vector<std::uint8_t>> items;
};

[[nodiscard]] sImportModel ModelImport(std::span<const std::uint8_t> stream, bool dropsWrapped);

}  // namespace corvane
