#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "corvane/profile/section_checks.h"
#include "describe/names.h"
#include "filters/configuration_text.h"
#include "filters/mask_lists.h"

namespace corvane::tools {
namespace {

constexpr std::uint32_t kMaxEventId = 4095;
constexpr std::uint32_t kMaxRequestedEventId = 65607;
constexpr std::uint32_t kMax16 = 0xFFFF;
constexpr std::uint32_t kLevels = 32;

constexpr std::string_view kDecimalDigits = "0123456789";
constexpr std::string_view kHexadecimalDigits = "0123456789ABCDEFabcdef";

// What the library makes of a number, and how it is written.
struct sWrittenNumber {
  std::uint32_t value = 0;
  std::uint32_t base = 10;
  std::string_view text;    // without white space at its ends
  std::string_view digits;  // empty: there are none, and the value is 0
  std::string_view rest;    // what the library leaves out behind the digits
  bool isNegative = false;
  bool isPrefixed = false;  // with "0x"

  [[nodiscard]] bool IsSaturated() const {
    if (isNegative || value != std::numeric_limits<std::uint32_t>::max()) {
      return false;
    }
    const std::string_view significant =
        digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
    // Eight digits that are the largest number are F alone.
    return base == 16 ? significant.size() != 8 : significant != "4294967295";
  }
};

[[nodiscard]] sWrittenNumber ReadNumber(std::string_view text, std::uint32_t base) {
  sWrittenNumber number;
  number.value = ParseUnsigned32(text, base);
  number.base = base;
  number.text = Trimmed(text);
  std::string_view rest = number.text;
  number.isNegative = rest.starts_with('-');
  if (number.isNegative || rest.starts_with('+')) {
    rest.remove_prefix(1);
  }
  number.isPrefixed = base == 16 && (rest.starts_with("0x") || rest.starts_with("0X"));
  if (number.isPrefixed) {
    rest.remove_prefix(2);
  }
  const std::string_view known = base == 16 ? kHexadecimalDigits : kDecimalDigits;
  const std::size_t end = std::min(rest.find_first_not_of(known), rest.size());
  number.digits = rest.substr(0, end);
  number.rest = rest.substr(end);
  return number;
}

// A number as its section writes it.
[[nodiscard]] std::string Written(std::uint32_t value, std::uint32_t base) {
  return base == 16 ? fmt::format("0x{:04X}", value) : std::to_string(value);
}

// What to do about text behind a number.
[[nodiscard]] std::string AdviceOnRest(const sWrittenNumber& number) {
  if (number.base == 10 && number.digits == "0" &&
      (number.rest.starts_with('x') || number.rest.starts_with('X'))) {
    const sWrittenNumber meant = ReadNumber(number.text, 16);
    return fmt::format("this section is decimal: write {}", meant.value);
  }
  const std::string_view next = Trimmed(number.rest);
  const bool isRange = next.starts_with('-') || next.starts_with("..") || next.starts_with(':');
  if (isRange) {
    return "a range is not known: list each number (corvane profile make does)";
  }
  const bool isNumber =
      ReadNumber(next.substr(next.front() == ';' ? 1 : 0), number.base).digits.size() > 1;
  if (isNumber && (next.front() == ';' || next.size() != number.rest.size())) {
    return "put a comma between two numbers";
  }
  return fmt::format("write {}", Written(number.value, number.base));
}

class cItemsCheck {
 public:
  cItemsCheck(std::string_view configuration, const sProfileRequests& made,
              cProfileWarnings& collector)
      : text(configuration), requests(made), warnings(collector) {}

  void Run() {
    EachItem(kLogCodesSection, [this](std::string_view item) { CheckLogCode(item); });
    EachItem(kEventIdsSection, [this](std::string_view item) { CheckEventId(item); });
    EachItem(kMessageLevelsSection, [this](std::string_view item) { CheckMessageLevel(item); });
    EachItem(kMultiSimSection, [this](std::string_view item) { CheckMultiSim(item); });
    for (const std::string_view body : FindSectionBodies(text, kOtaTypesSection)) {
      warnings.Add(eProfileWarning::Value, body.data(), [] {
        return std::string("OTATypes switches nothing on: write its log codes into LogCodes");
      });
    }
  }

 private:
  template <typename Check>
  void EachItem(std::string_view section, const Check& check) {
    firstPlaces.clear();
    name = section;
    for (const std::string_view body : FindSectionBodies(text, section)) {
      if (const std::size_t nul = body.find('\0'); nul != std::string_view::npos) {
        warnings.Add(eProfileWarning::Number, body.data() + nul, [this] {
          return fmt::format("a NUL byte ends the items of this {} section: take it out", name);
        });
      }
      const std::vector<std::string_view> items = SplitSectionBody(body);
      if (items.empty() || (items.size() == 1 && Trimmed(items[0]).empty())) {
        CheckEmpty(body, !items.empty());
        continue;
      }
      for (const std::string_view item : items) {
        check(item);
      }
    }
  }

  // A section without items, or with blanks alone, which are one.
  void CheckEmpty(std::string_view body, bool hasBlanks) {
    warnings.Add(eProfileWarning::Number, body.data(), [&] {
      std::string effect;
      if (hasBlanks && name == kMessageLevelsSection) {
        effect = ", and its blanks count as a malformed item, which switches every message off";
      } else if (hasBlanks && name != kMultiSimSection) {
        effect = ", and its blanks are read as 0";
      }
      return fmt::format("{} has no items{}: take the section out", name, effect);
    });
  }

  // Compares what the library reads with what is written. Returns nothing when the number is not to
  // be looked at further.
  [[nodiscard]] std::optional<sWrittenNumber> CheckNumber(std::string_view item,
                                                          std::uint32_t base) {
    const sWrittenNumber number = ReadNumber(item, base);
    if (number.text.empty()) {
      warnings.Add(eProfileWarning::Number, item.data(), [this] {
        return fmt::format(
            "an item of {} is blank, and is read as 0: take out the comma next to it", name);
      });
      return std::nullopt;
    }
    const bool isGood = !number.digits.empty() && number.rest.empty() && !number.isNegative &&
                        !number.IsSaturated();
    if (!isGood) {
      warnings.Add(eProfileWarning::Number, number.text.data(),
                   [&] { return NumberWarning(number); });
      return std::nullopt;
    }
    return number;
  }

  [[nodiscard]] std::string NumberWarning(const sWrittenNumber& number) const {
    const std::string shown = fmt::format("{} in {}", Shown(number.text), name);
    if (number.digits.empty()) {
      return fmt::format("{} is no number, and is read as 0: write a {} number", shown,
                         number.base == 16 ? "hexadecimal" : "decimal");
    }
    const std::string value = Written(number.value, number.base);
    if (number.isNegative) {
      return fmt::format("{} is read as {}: write it without its minus sign", shown, value);
    }
    if (number.IsSaturated()) {
      return fmt::format("{} is too large, and is read as {}", shown, value);
    }
    return fmt::format("{} is read as {}, without {}: {}", shown, value, Shown(number.rest),
                       AdviceOnRest(number));
  }

  void CheckLogCode(std::string_view item) {
    const auto number = CheckNumber(item, 16);
    if (!number) {
      return;
    }
    const sLogCodeName* const decimal = MeantAsDecimal(*number);
    if (decimal != nullptr || number->value > kMax16 || number->digits.size() < 4) {
      warnings.Add(eProfileWarning::Value, number->text.data(),
                   [&] { return LogCodeWarning(*number, decimal); });
    }
    CheckDuplicate(number->value, *number);
  }

  [[nodiscard]] std::string LogCodeWarning(const sWrittenNumber& number,
                                           const sLogCodeName* decimal) const {
    const std::string shown = fmt::format("{} in LogCodes", Shown(number.text));
    const auto code = static_cast<std::uint16_t>(number.value);
    std::string effect;
    if (number.value > kMax16) {
      effect = requests.logCodes.contains(code)
                   ? fmt::format("has more than 16 bits, and asks for 0x{:04X}", code)
                   : "has more than 16 bits, and asks for nothing";
    } else if (decimal != nullptr) {
      effect = fmt::format("is hexadecimal, and asks for 0x{:04X}", code);
    } else {
      return fmt::format("{} has fewer than four digits: write 0x{:04X} if that is meant", shown,
                         code);
    }
    if (decimal == nullptr) {
      return fmt::format("{} {}: write four digits", shown, effect);
    }
    return fmt::format("{} {}: for {} write 0x{:04X}{}", shown, effect, decimal->name,
                       decimal->code,
                       number.value > kMax16 ? std::string()
                                             : fmt::format(", or 0x{:04X} if that is meant", code));
  }

  // The log code that a number names in decimal, where in hexadecimal it names none. Null when it
  // does not look as if it was written in decimal.
  [[nodiscard]] static const sLogCodeName* MeantAsDecimal(const sWrittenNumber& number) {
    const bool hasName =
        number.value <= kMax16 && FindLogCode(static_cast<std::uint16_t>(number.value)) != nullptr;
    if (hasName || number.isPrefixed ||
        number.digits.find_first_not_of(kDecimalDigits) != std::string_view::npos) {
      return nullptr;
    }
    const std::uint32_t decimal = ParseUnsigned32(number.digits, 10);
    return decimal > kMax16 ? nullptr : FindLogCode(static_cast<std::uint16_t>(decimal));
  }

  void CheckEventId(std::string_view item) {
    const auto number = CheckNumber(item, 10);
    if (!number) {
      return;
    }
    if (number->value > kMaxEventId) {
      warnings.Add(eProfileWarning::Value, number->text.data(), [&] {
        return fmt::format("event ID {} {}: take it out, the largest is 4095", number->value,
                           number->value > kMaxRequestedEventId
                               ? "is so large that no event is asked for at all"
                               : "switches every event off");
      });
    }
    CheckDuplicate(number->value, *number);
  }

  void CheckMessageLevel(std::string_view item) {
    const std::vector<std::string_view> pieces = SplitAtRuns(item, '/');
    if (pieces.size() != 2) {
      const std::string_view shown = Trimmed(item);
      const char* const where = shown.empty() ? item.data() : shown.data();
      warnings.Add(eProfileWarning::Number, where, [&] {
        return shown.empty()
                   ? std::string(
                         "a blank item of MessageLevels switches every message off: take "
                         "out the comma next to it")
                   : fmt::format(
                         "{} in MessageLevels is not SSID/level, and switches every message "
                         "off",
                         Shown(shown));
      });
      return;
    }
    if (std::count(item.begin(), item.end(), '/') != 1) {
      warnings.Add(eProfileWarning::Number, Trimmed(item).data(), [&] {
        return fmt::format("{} in MessageLevels is read as {}/{}: write one slash",
                           Shown(Trimmed(item)), ParseUnsigned32(pieces[0], 10),
                           ParseUnsigned32(pieces[1], 10));
      });
    }
    if (Trimmed(pieces[0]).empty() || Trimmed(pieces[1]).empty()) {
      warnings.Add(eProfileWarning::Number, Trimmed(item).data(), [&] {
        return fmt::format(
            "{} in MessageLevels is read as {}/{}: write a number on both sides of "
            "the slash",
            Shown(Trimmed(item)), ParseUnsigned32(pieces[0], 10), ParseUnsigned32(pieces[1], 10));
      });
      return;
    }
    const auto ssid = CheckNumber(pieces[0], 10);
    const auto level = CheckNumber(pieces[1], 10);
    if (ssid && level) {
      CheckLevelValues(*ssid, *level);
    }
  }

  void CheckLevelValues(const sWrittenNumber& ssid, const sWrittenNumber& level) {
    if (ssid.value > kMax16) {
      warnings.Add(eProfileWarning::Value, ssid.text.data(), [&] {
        return fmt::format(
            "subsystem {} has more than 16 bits, and is asked for as {}: the largest is 65535",
            ssid.value, ssid.value & kMax16);
      });
    }
    if (level.value >= kLevels) {
      warnings.Add(eProfileWarning::Value, level.text.data(), [&] {
        return fmt::format("level {} of subsystem {} is left out: levels are 0 to 31", level.value,
                           ssid.value);
      });
    }
    CheckDuplicate(std::uint64_t{ssid.value} << 32 | level.value, ssid);
  }

  void CheckMultiSim(std::string_view item) {
    const std::string_view shown = Trimmed(item);
    if (shown == kUnwrapItem) {
      return;
    }
    warnings.Add(eProfileWarning::Number, shown.empty() ? item.data() : shown.data(), [&] {
      return fmt::format("{} in MultiSim means nothing: the only item is \"unwrap\"", Shown(shown));
    });
  }

  void CheckDuplicate(std::uint64_t value, const sWrittenNumber& number) {
    const auto placed = firstPlaces.emplace(value, number.text.data());
    if (placed.second) {
      return;
    }
    const char* const first = placed.first->second;
    warnings.Add(eProfileWarning::Duplicate, number.text.data(), [&] {
      return fmt::format("{} is in {} on line {} already", Shown(number.text), name,
                         warnings.LineOf(first));
    });
  }

  const std::string_view text;
  const sProfileRequests& requests;
  cProfileWarnings& warnings;
  std::string_view name;  // of the section that is looked at
  std::unordered_map<std::uint64_t, const char*> firstPlaces;
};

}  // namespace

void CheckItems(std::string_view text, const sProfileRequests& requests,
                cProfileWarnings& warnings) {
  cItemsCheck(text, requests, warnings).Run();
}

}  // namespace corvane::tools
