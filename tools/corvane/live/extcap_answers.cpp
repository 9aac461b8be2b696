#include "corvane/live/extcap_answers.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>

namespace corvane::tools {
namespace {

// A value cannot hold the braces that end it, or a line break.
[[nodiscard]] std::string Clean(std::string_view text) {
  std::string clean(text);
  for (char& character : clean) {
    if (character == '{') {
      character = '(';
    } else if (character == '}') {
      character = ')';
    } else if (static_cast<unsigned char>(character) < ' ') {
      character = ' ';
    }
  }
  return clean;
}

[[nodiscard]] std::string Pair(std::string_view name, std::string_view value) {
  return fmt::format("{{{}={}}}", name, Clean(value));
}

void WriteChoicesOf(const sExtcapOption& option, std::size_t number, std::ostream& out) {
  for (const sExtcapChoice& choice : option.choices) {
    out << fmt::format("value {{arg={}}}{}{}{}\n", number, Pair("value", choice.value),
                       Pair("display", choice.display),
                       Pair("default", choice.isDefault ? "true" : "false"));
  }
}

}  // namespace

void WriteInterfaces(const std::vector<sExtcapInterface>& interfaces, std::string_view version,
                     std::ostream& out) {
  out << fmt::format("extcap {}{}\n", Pair("version", version), Pair("display", "Corvane"));
  for (const sExtcapInterface& shown : interfaces) {
    out << fmt::format("interface {}{}\n", Pair("value", shown.name),
                       Pair("display", shown.display));
  }
}

void WriteLinkTypes(std::ostream& out) {
  out << "dlt {number=252}{name=WIRESHARK_UPPER_PDU}{display=Exported PDUs}\n";
}

void WriteOptions(const std::vector<sExtcapOption>& options, std::ostream& out) {
  for (std::size_t number = 0; number < options.size(); ++number) {
    const sExtcapOption& option = options[number];
    out << fmt::format("arg {{number={}}}{}{}{}{}{}\n", number, Pair("call", option.call),
                       Pair("display", option.display), Pair("tooltip", option.tooltip),
                       Pair("type", option.type), option.more);
    WriteChoicesOf(option, number, out);
  }
}

void WriteChoices(const std::vector<sExtcapOption>& options, std::string_view call,
                  std::ostream& out) {
  const auto named = std::find_if(options.begin(), options.end(), [call](const auto& option) {
    return option.call == call || option.call.substr(2) == call;
  });
  if (named != options.end()) {
    WriteChoicesOf(*named, static_cast<std::size_t>(named - options.begin()), out);
  }
}

}  // namespace corvane::tools
