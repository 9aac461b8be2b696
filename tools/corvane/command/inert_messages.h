#pragma once

#include <memory>
#include <streambuf>

namespace corvane::tools {

// While it lives, what is written to standard error (std::cerr) ends lines there, goes to tab
// stops, and does nothing else to a terminal: messages name files, and say what is wrong with their
// contents, and both may come from a stranger. A character that acts on text (convert/characters.h)
// and a byte that is no UTF-8 are written as "\x1B" or "\u202E".
class cInertMessages {
 public:
  cInertMessages();
  cInertMessages(const cInertMessages&) = delete;
  cInertMessages& operator=(const cInertMessages&) = delete;
  ~cInertMessages();

 private:
  const std::unique_ptr<std::streambuf> filter;
  std::streambuf* const before;
};

}  // namespace corvane::tools
