#pragma once

#include <CLI/App.hpp>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace corvane::tools {

// What `corvane list` was asked for.
struct sListRequest {
  std::string path;
  std::vector<std::uint32_t> types;  // item types to list; empty: all
  std::string from;                  // first item: a number or a UTC time; empty: the first
  std::string to;                    // last item, included; empty: the last
  bool hex = false;                  // each item's bytes too
};

// Adds `corvane list`. Contract as in AddInfoCommand.
void AddListCommand(CLI::App& app, int& exitCode);

// Lists items on `out`, one a line; what is wrong goes to `errors`. Returns the exit code.
[[nodiscard]] int ListItems(const sListRequest& request, std::ostream& out, std::ostream& errors);

}  // namespace corvane::tools
