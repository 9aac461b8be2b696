#include "describe/message_text.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <optional>
#include <utility>

namespace corvane {
namespace {

constexpr std::size_t kWidest = 99;

// What stands between "%" and its letter, and the letter.
struct sConversion {
  bool isLeft = false;
  bool hasPlus = false;
  bool hasBlank = false;
  bool isAlternate = false;
  bool hasZeros = false;
  std::size_t width = 0;
  std::optional<std::size_t> precision;
  char letter = 0;
};

[[nodiscard]] bool IsDigit(char character) { return character >= '0' && character <= '9'; }

// The conversions of a text, from behind the "%" on. Each Take moves `rest` behind what it took.
class cConversionReader {
 public:
  explicit cConversionReader(std::string_view text) : rest(text) {}

  // Nothing for a conversion that is not put in.
  [[nodiscard]] std::optional<sConversion> Take() {
    sConversion conversion;
    while (TakeFlag(conversion)) {
    }
    if (!TakeNumber(conversion.width) || !TakePrecision(conversion.precision)) {
      return std::nullopt;
    }
    PassLength();
    if (rest.empty() ||
        std::string_view("diuxXocps").find(rest.front()) == std::string_view::npos) {
      return std::nullopt;
    }
    conversion.letter = rest.front();
    rest.remove_prefix(1);
    return conversion;
  }

  [[nodiscard]] std::string_view Rest() const { return rest; }

 private:
  [[nodiscard]] bool TakeFlag(sConversion& conversion) {
    switch (rest.empty() ? '\0' : rest.front()) {
      case '-':
        conversion.isLeft = true;
        break;
      case '+':
        conversion.hasPlus = true;
        break;
      case ' ':
        conversion.hasBlank = true;
        break;
      case '#':
        conversion.isAlternate = true;
        break;
      case '0':
        conversion.hasZeros = true;
        break;
      default:
        return false;
    }
    rest.remove_prefix(1);
    return true;
  }

  // False for a number above kWidest.
  [[nodiscard]] bool TakeNumber(std::size_t& number) {
    number = 0;
    while (!rest.empty() && IsDigit(rest.front())) {
      number = number * 10 + static_cast<std::size_t>(rest.front() - '0');
      rest.remove_prefix(1);
      if (number > kWidest) {
        return false;
      }
    }
    return true;
  }

  [[nodiscard]] bool TakePrecision(std::optional<std::size_t>& precision) {
    if (rest.empty() || rest.front() != '.') {
      return true;
    }
    rest.remove_prefix(1);
    return TakeNumber(precision.emplace());
  }

  // All lengths mean 32 bits here.
  void PassLength() {
    for (const std::string_view length : {"I64", "I32"}) {
      if (rest.starts_with(length)) {
        rest.remove_prefix(length.size());
        return;
      }
    }
    while (!rest.empty() &&
           std::string_view("hlzjtqL").find(rest.front()) != std::string_view::npos) {
      rest.remove_prefix(1);
    }
  }

  std::string_view rest;
};

// Digits of a number, with room for 32 bits in any base from 8 on.
class cDigits {
 public:
  cDigits(std::uint32_t value, int base, bool isUpper) {
    end = std::to_chars(bytes.data(), bytes.data() + bytes.size(), value, base).ptr;
    for (char* digit = bytes.data(); isUpper && digit != end; ++digit) {
      *digit = *digit >= 'a' ? static_cast<char>(*digit - 'a' + 'A') : *digit;
    }
  }

  [[nodiscard]] std::string_view Text() const {
    return {bytes.data(), static_cast<std::size_t>(end - bytes.data())};
  }

 private:
  std::array<char, 11> bytes{};
  char* end = nullptr;
};

// `prefix` and `digits` with zeros between them, filled up to the width.
void AppendFilled(std::string& text, const sConversion& conversion, std::string_view prefix,
                  std::string_view digits) {
  const std::size_t precision = conversion.precision.value_or(0);
  std::size_t zeros = digits.size() < precision ? precision - digits.size() : 0;
  const std::size_t used = prefix.size() + zeros + digits.size();
  std::size_t blanks = used < conversion.width ? conversion.width - used : 0;
  if (conversion.hasZeros && !conversion.isLeft && !conversion.precision) {
    zeros += std::exchange(blanks, 0);
  }
  text.append(conversion.isLeft ? 0 : blanks, ' ');
  text.append(prefix);
  text.append(zeros, '0');
  text.append(digits);
  text.append(conversion.isLeft ? blanks : 0, ' ');
}

// printf shows nothing of a zero that is to have no digits.
[[nodiscard]] std::string_view DigitsOf(const sConversion& conversion, const cDigits& digits) {
  const bool isNothing = conversion.precision == 0 && digits.Text() == "0";
  return isNothing ? std::string_view() : digits.Text();
}

void AppendSigned(std::string& text, const sConversion& conversion, std::uint32_t argument) {
  const bool isNegative = (argument & 0x8000'0000) != 0;
  std::string_view sign;
  if (isNegative) {
    sign = "-";
  } else if (conversion.hasPlus) {
    sign = "+";
  } else if (conversion.hasBlank) {
    sign = " ";
  }
  const cDigits digits(isNegative ? 0 - argument : argument, 10, false);
  AppendFilled(text, conversion, sign, DigitsOf(conversion, digits));
}

void AppendUnsigned(std::string& text, const sConversion& conversion, std::uint32_t argument) {
  const bool isUpper = conversion.letter == 'X';
  if (conversion.letter == 'u') {
    AppendFilled(text, conversion, "", DigitsOf(conversion, cDigits(argument, 10, false)));
  } else if (conversion.letter == 'o') {
    // The zero in front is one of the digits.
    const cDigits digits(argument, 8, false);
    const std::string zero = conversion.isAlternate && digits.Text() != "0" ? "0" : "";
    const bool isNothing = !conversion.isAlternate && DigitsOf(conversion, digits).empty();
    AppendFilled(text, conversion, "", isNothing ? zero : zero + std::string(digits.Text()));
  } else {
    std::string_view prefix;
    if (conversion.isAlternate && argument != 0) {
      prefix = isUpper ? "0X" : "0x";
    }
    AppendFilled(text, conversion, prefix, DigitsOf(conversion, cDigits(argument, 16, isUpper)));
  }
}

// Pointers and strings are addresses. A string's precision is about the string, not its address.
void AppendAddress(std::string& text, sConversion conversion, std::uint32_t argument) {
  conversion.precision.reset();
  AppendFilled(text, conversion, "0x", cDigits(argument, 16, true).Text());
}

void AppendCharacter(std::string& text, sConversion conversion, std::uint32_t argument) {
  conversion.precision.reset();
  conversion.hasZeros = false;
  const auto character = static_cast<std::uint8_t>(argument);
  if (character >= 0x20 && character < 0x7F) {
    const char printed = static_cast<char>(character);
    AppendFilled(text, conversion, "", std::string_view(&printed, 1));
  } else {
    AppendFilled(text, conversion, character < 0x10 ? "\\x0" : "\\x",
                 cDigits(character, 16, true).Text());
  }
}

void AppendArgument(std::string& text, const sConversion& conversion, std::uint32_t argument) {
  switch (conversion.letter) {
    case 'd':
    case 'i':
      AppendSigned(text, conversion, argument);
      break;
    case 'c':
      AppendCharacter(text, conversion, argument);
      break;
    case 'p':
    case 's':
      AppendAddress(text, conversion, argument);
      break;
    default:
      AppendUnsigned(text, conversion, argument);
  }
}

}  // namespace

sMessageText FormatMessageText(std::string_view format, std::span<const std::uint32_t> arguments) {
  std::string text;
  std::size_t putIn = 0;
  std::string_view rest = format;
  for (std::size_t percent = rest.find('%'); percent != std::string_view::npos;
       percent = rest.find('%')) {
    text.append(rest.substr(0, percent));
    rest.remove_prefix(percent + 1);
    if (rest.starts_with('%')) {
      text += '%';
      rest.remove_prefix(1);
      continue;
    }
    cConversionReader reader(rest);
    const std::optional<sConversion> conversion = reader.Take();
    if (!conversion || putIn == arguments.size()) {
      return {std::string(format), 0};
    }
    AppendArgument(text, *conversion, arguments[putIn++]);
    rest = reader.Rest();
  }
  text.append(rest);
  return {std::move(text), putIn};
}

}  // namespace corvane
