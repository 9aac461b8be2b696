#pragma once

#include <span>
#include <string_view>

namespace corvane::tools {

// The page of a report, without what a capture fills in, in its order: some text, and the place
// behind it, if one is there.
struct sPagePiece {
  std::string_view text;
  std::string_view place;  // "title"; empty for none
};

// Made of page.html and what belongs to it when the program is built (scripts/make_report_page.py).
[[nodiscard]] std::span<const sPagePiece> PagePieces();

}  // namespace corvane::tools
