#pragma once

#include <CLI/App.hpp>
#include <string>
#include <utility>
#include <vector>

#include "corvane/command/nearest.h"

namespace corvane::tools {

// Values of an option by the names that the user gives them.
template <typename Value>
using tChoices = std::vector<std::pair<std::string, Value>>;

// "pcapng<between>gsmtap": the names in their order.
template <typename Value>
[[nodiscard]] std::string ChoiceNames(const tChoices<Value>& choices, const char* between) {
  std::string names;
  for (const auto& [name, value] : choices) {
    names += (names.empty() ? "" : between) + name;
  }
  return names;
}

// Adds an option that takes one of these names, and puts its value into `variable`, which must live
// until the arguments are parsed. The first choice is the default that the help tells. Another text
// is wrong usage: CLI::ValidationError, which lists the names and tells the nearest.
template <typename Value>
CLI::Option* AddChoiceOption(CLI::App& command, const std::string& option, Value& variable,
                             const tChoices<Value>& choices, const std::string& help) {
  const auto take = [&variable, option, choices](const std::string& text) {
    for (const auto& [name, value] : choices) {
      if (name == text) {
        variable = value;
        return;
      }
    }
    std::vector<std::string> names;
    for (const auto& [name, value] : choices) {
      names.push_back(name);
    }
    throw CLI::ValidationError(option, "\"" + text + "\" is none of " + ChoiceNames(choices, ", ") +
                                           DidYouMean(text, names));
  };
  return command.add_option_function<std::string>(option, take, help)
      ->type_name(ChoiceNames(choices, "|"))
      ->default_str(choices.front().first);
}

}  // namespace corvane::tools
