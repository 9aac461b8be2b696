#pragma once

#include <string>
#include <string_view>

#include "analysis/cells_seen.h"
#include "describe/description.h"

// Cells in words.
namespace corvane::tools {

// Appends which cell on which carrier it is, `before` in front of it, in the words of its network:
// "PCI 324 EARFCN 1825", "PSC 291 UARFCN 10713", "BSIC 43 ARFCN 871". Nothing when neither is
// known.
void AppendCarrier(std::string& text, std::string_view before, eTechnology technology,
                   const sCell& cell);

// Appends all that is known of a cell, each group of words behind two blanks.
void AppendCell(std::string& text, eTechnology technology, const sCell& cell);

// Appends a table with a line for each cell; nothing when there was none.
void AppendCellTable(std::string& text, const cCellsSeen& cells);

}  // namespace corvane::tools
