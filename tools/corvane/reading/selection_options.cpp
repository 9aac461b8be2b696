#include "corvane/reading/selection_options.h"

#include <fmt/format.h>

#include <functional>
#include <ostream>
#include <utility>
#include <vector>

#include "capture/isf/layout.h"
#include "common/quantities.h"
#include "corvane/command/named_numbers.h"
#include "corvane/reading/item_wording.h"
#include "corvane/reading/open_capture.h"
#include "reader/utc_time.h"

namespace corvane::tools {
namespace {

constexpr char kGroup[] = "Selecting items";

using tProblem = std::optional<std::string>;

[[nodiscard]] std::string_view TrimBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// Adds an option that takes words with commas between them, and may be given again. `take` is
// called for each word and returns what is wrong with it.
CLI::Option* AddListOption(CLI::App& command, const std::string& option, const std::string& help,
                           const std::function<tProblem(std::string_view)>& take) {
  const auto takeAll = [option, take](const std::vector<std::string>& values) {
    for (const std::string& value : values) {
      std::string_view rest = value;
      for (bool isMore = true; isMore;) {
        const std::size_t comma = rest.find(',');
        const std::string_view word = TrimBlanks(rest.substr(0, comma));
        isMore = comma != std::string_view::npos;
        rest.remove_prefix(isMore ? comma + 1 : rest.size());
        const tProblem problem = word.empty() ? "a value is empty" : take(word);
        if (problem) {
          throw CLI::ValidationError(option, *problem);
        }
      }
    }
  };
  return command.add_option_function<std::vector<std::string>>(option, takeAll, help)
      ->allow_extra_args(false)
      ->group(kGroup);
}

[[nodiscard]] tProblem TakeType(std::string_view word, std::vector<std::uint32_t>& types) {
  std::optional<std::uint32_t> type = ParseUnsigned<std::uint32_t>(word);
  if (type && *type >= isf::kItemTypes) {
    return fmt::format("there is no item type {}: they go from 0 to {}", word, isf::kItemTypes - 1);
  }
  if (!type) {
    const std::vector<sNamedItemType> known = NamedItemTypes();
    std::vector<std::string> names;
    for (const sNamedItemType& one : known) {
      names.push_back(one.name);
    }
    std::string problem;
    const auto found = FindName(names, word, "item types", problem);
    if (!found) {
      return problem;
    }
    type = known[*found].type;
  }
  types.push_back(*type);
  return std::nullopt;
}

// False for a text that is no bound.
[[nodiscard]] bool TakeBound(std::string_view text, bool isUpper, sSelectionBound& bound) {
  if (TakeTime(text, isUpper, bound)) {
    return true;
  }
  bound.number = ParseUnsigned<std::uint64_t>(text);
  return !bound.IsOpen();
}

CLI::Option* AddBoundOption(CLI::App& command, const std::string& option, const std::string& help,
                            bool isUpper, sSelectionBound& bound) {
  const auto take = [option, isUpper, &bound](const std::string& text) {
    if (!TakeBound(text, isUpper, bound)) {
      throw CLI::ValidationError(
          option, fmt::format("\"{}\" is neither an item number nor a UTC time, nor one counted "
                              "from the start (+90s)",
                              text));
    }
  };
  return command.add_option_function<std::string>(option, take, help)
      ->type_name("ITEM|TIME")
      ->group(kGroup);
}

void AddKindOptions(CLI::App& command, sSelection& selection) {
  AddListOption(command, "--type",
                "Items of these types: numbers from 0 to 31, or names: short-log, packet, request, "
                "event, log, message, information, signalling-log, subsystem, subsystem-request",
                [&selection](std::string_view word) { return TakeType(word, selection.types); })
      ->type_name("TYPE[,TYPE]");
  AddListOption(
      command, "--log-code",
      "Log packets of these codes: 0xB0C0 or B0C0, ranges (0xB0C0-0xB0FF), or names: any part of "
      "one that no other has (lte-rrc-ota)",
      [&selection](std::string_view word) { return TakeLogCodes(word, selection.logCodes); })
      ->type_name("CODE[,CODE]");
  AddListOption(command, "--event",
                "Events of these IDs: 1606, ranges (1600-1699), or names (lte-rrc-state-change)",
                [&selection](std::string_view word) { return TakeEvents(word, selection.events); })
      ->type_name("EVENT[,EVENT]");
  AddListOption(command, "--ssid",
                "Debug messages of these subsystems: IDs, ranges (9500-9521), or names",
                [&selection](std::string_view word) { return TakeSsids(word, selection.ssids); })
      ->type_name("SSID[,SSID]");
}

void AddNarrowingOptions(CLI::App& command, sSelection& selection) {
  AddListOption(command, "--level",
                "Only debug messages of these levels: low, medium, high, error, fatal, or numbers "
                "of bits, 0 to 31",
                [&selection](std::string_view word) { return TakeLevel(word, selection.levels); })
      ->type_name("LEVEL[,LEVEL]");
  const auto takeDirection = [&selection](const std::string& word) {
    if (word != "from" && word != "to") {
      throw CLI::ValidationError("--direction",
                                 fmt::format("\"{}\" is neither from nor to (the modem)", word));
    }
    selection.direction = word == "to" ? eDirection::ToModem : eDirection::FromModem;
  };
  command
      .add_option_function<std::string>("--direction", takeDirection,
                                        "Only packets from the modem, or to it")
      ->type_name("from|to")
      ->group(kGroup);
  const auto takeText = [&selection](const std::string& text) {
    if (text.empty()) {
      throw CLI::ValidationError("--contains", "the text is empty");
    }
    selection.contains = text;
  };
  command
      .add_option_function<std::string>(
          "--contains", takeText,
          "Only texts of the recorder and debug messages with this in their text; capital and "
          "small letters differ")
      ->type_name("TEXT")
      ->group(kGroup);
}

}  // namespace

bool TakeTime(std::string_view text, bool isUpper, sSelectionBound& bound) {
  bound = {};
  if (const auto stretch = ParseUtcStretch(text)) {
    bound.time = isUpper ? stretch->last : stretch->first;
  } else if (const auto ofDay = ParseTimeOfDay(text)) {
    bound.timeOfDay = ofDay->sinceMidnight;
    bound.clockAhead = ofDay->ahead;
  } else if (text.starts_with('+')) {
    if (const auto length = ParseDuration(text.substr(1))) {
      bound.sinceStart = static_cast<std::uint64_t>(length->count());
    }
  }
  return !bound.IsOpen();
}

void AddSelectionOptions(CLI::App& command, sSelection& selection) {
  AddKindOptions(command, selection);
  AddNarrowingOptions(command, selection);
  AddBoundOption(command, "--from",
                 "First item: its number (from 0), a UTC time (2024-05-17T12:34:56.789Z, "
                 "\"2024-05-17 14:34+02:00\", 2024-05-17), a time on the first item's day (12:34, "
                 "12:34+02:00), or one counted from the first item (+90s, +1.5m; ms, s, m, h)",
                 false, selection.from);
  AddBoundOption(command, "--to",
                 "Last item, in the same way; it is selected too, and so is the whole of a day. A "
                 "time without a day that is earlier than that of --from is one of the next day",
                 true, selection.to);
  command
      .add_flag("--invert", selection.invert,
                "All other items: those that the options above do not select; --from and --to stay "
                "as they are")
      ->group(kGroup);
}

void ReportNothingSelected(const char* command, const std::string& path,
                           const sSelectionOutcome& outcome, std::ostream& errors) {
  if (outcome.selected != 0 || !outcome.isChoosy) {
    return;
  }
  errors << fmt::format("corvane {}: {}: no item is selected{}\n", command, InputName(path),
                        outcome.isCrossed ? ": --from is behind --to" : "");
}

}  // namespace corvane::tools
