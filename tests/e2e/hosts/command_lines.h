#pragma once

#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

// What the host programs of the end-to-end tests have in common: one command a line on standard
// input, its fields separated by tabs; answers and events as lines on standard output.
namespace corvane::test {

// The next command's fields, or none at the end of the input.
inline std::vector<std::string> NextCommand() {
  std::string line;
  std::vector<std::string> fields;
  if (!std::getline(std::cin, line)) {
    return fields;
  }
  if (!line.empty() && line.back() == '\r') {
    line.pop_back();
  }
  std::istringstream parts(line);
  for (std::string field; std::getline(parts, field, '\t');) {
    fields.push_back(field);
  }
  if (fields.empty()) {
    fields.emplace_back();
  }
  return fields;
}

// Every line leaves at once, also the library's own, which go through the same stream: the other
// end is a pipe and waits for it.
inline void UnbufferOutput() { std::setvbuf(stdout, nullptr, _IONBF, 0); }

// One whole line in one piece, from whichever thread.
inline void Say(const std::string& line) { std::fputs((line + "\n").c_str(), stdout); }

}  // namespace corvane::test
