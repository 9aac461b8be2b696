#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

// Text as a page of HTML holds it.
namespace corvane::tools {

// How many bytes of a text a page shows as a rule.
inline constexpr std::size_t kMostShown = 300;

// Any bytes as text in UTF-8, as a script's data hold it: control characters and bytes that are no
// UTF-8 become visible, as "\x1B". No more than `most` bytes of the text are shown, and "..."
// behind them.
[[nodiscard]] std::string ShownText(std::string_view text, std::size_t most = kMostShown);

// The same as text between tags or in an attribute in quotation marks.
[[nodiscard]] std::string HtmlText(std::string_view text, std::size_t most = kMostShown);

// JSON as it may stand in a script element: no "<" is in it.
[[nodiscard]] std::string JsonInHtml(std::string_view json);

// "2024-05-17 12:34:56.789", of milliseconds since 1601-01-01 UTC.
[[nodiscard]] std::string HtmlTime(std::uint64_t time);

// "0.123 s", "12.3 s", "3:07:05", of milliseconds.
[[nodiscard]] std::string LengthText(std::uint64_t milliseconds);

enum class eColumn : std::uint8_t { Text, Number, Time };

struct sColumn {
  const char* title;
  eColumn kind = eColumn::Text;
};

// A table with a caption. Its cells are text; what is to be a tag is added with RawCell.
class cHtmlTable {
 public:
  // Longer ones scroll in a frame of their own.
  static constexpr std::size_t kMostUnframed = 15;

  // `html` is where it goes. `rows` is how many rows it will have.
  cHtmlTable(std::string& html, std::string_view caption, std::initializer_list<sColumn> titles,
             std::size_t rows);
  cHtmlTable(const cHtmlTable&) = delete;
  cHtmlTable& operator=(const cHtmlTable&) = delete;
  // Ends the table.
  ~cHtmlTable();

  // Begins a row.
  void Row();
  // The row's next cell. `name` is a class beside that of the column.
  void Cell(std::string_view text, std::string_view name = {});
  void RawCell(std::string_view inner, std::string_view name = {});
  // A row of text alone.
  void Row(std::initializer_list<std::string_view> cells);

 private:
  std::string& out;
  std::vector<eColumn> kinds;
  std::size_t column = 0;
};

}  // namespace corvane::tools
