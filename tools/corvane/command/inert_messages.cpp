#include "corvane/command/inert_messages.h"

#include <iostream>
#include <string>

#include "convert/characters.h"

namespace corvane::tools {
namespace {

// Writes through to another buffer. A character of several bytes has to come in one piece.
class cFilter final : public std::streambuf {
 public:
  explicit cFilter(std::streambuf* wanted) : target(wanted) {}

 protected:
  std::streamsize xsputn(const char* bytes, std::streamsize size) override {
    std::string inert;
    AppendInert(inert, {bytes, static_cast<std::size_t>(size)}, "\n\t");
    const auto wanted = static_cast<std::streamsize>(inert.size());
    return target->sputn(inert.data(), wanted) == wanted ? size : 0;
  }

  int_type overflow(int_type byte) override {
    if (traits_type::eq_int_type(byte, traits_type::eof())) {
      return traits_type::not_eof(byte);
    }
    const char one = traits_type::to_char_type(byte);
    return xsputn(&one, 1) == 1 ? byte : traits_type::eof();
  }

  int sync() override { return target->pubsync(); }

 private:
  std::streambuf* const target;
};

}  // namespace

cInertMessages::cInertMessages()
    : filter(std::make_unique<cFilter>(std::cerr.rdbuf())), before(std::cerr.rdbuf(filter.get())) {}

cInertMessages::~cInertMessages() { std::cerr.rdbuf(before); }

}  // namespace corvane::tools
