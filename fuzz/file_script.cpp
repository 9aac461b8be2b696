#include "fuzz/file_script.h"

#include <algorithm>

#include "diag/little_endian.h"

namespace corvane {
namespace {

constexpr std::uint8_t kMostLiterals = 0x7F;
constexpr std::uint8_t kZeros = 0x80;
constexpr std::uint8_t kFullDirectory = 0x81;
constexpr std::uint8_t kRead = 0x82;
constexpr std::uint8_t kOverwrite = 0x83;
constexpr std::size_t kOverwritten = 8;

[[nodiscard]] std::size_t ZerosAt(std::span<const std::uint8_t> bytes) {
  const auto end = std::find_if(bytes.begin(), bytes.end(), [](auto byte) { return byte != 0; });
  return static_cast<std::size_t>(end - bytes.begin());
}

}  // namespace

bool cFileScript::Advance() {
  if (rest.empty()) {
    return false;
  }
  while (!rest.empty() && file.size() <= kLargestFile) {
    const std::uint8_t step = rest[0];
    rest = rest.subspan(1);
    if (step == kRead) {
      return true;
    }
    if (!CarryOut(step)) {
      rest = {};
    }
  }
  rest = file.size() <= kLargestFile ? rest : std::span<const std::uint8_t>();
  return true;
}

bool cFileScript::CarryOut(std::uint8_t step) {
  if (step <= kMostLiterals) {
    const std::size_t count = std::size_t{step} + 1;
    if (!Has(count)) {
      return false;
    }
    file.insert(file.end(), rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(count));
    rest = rest.subspan(count);
  } else if (step == kZeros) {
    if (!Has(2)) {
      return false;
    }
    file.insert(file.end(), Load16(rest.data()), 0);
    rest = rest.subspan(2);
  } else if (step == kFullDirectory) {
    AppendFullDirectory();
  } else if (step == kOverwrite) {
    if (!Has(4 + kOverwritten)) {
      return false;
    }
    Overwrite(Load32(rest.data()), rest.subspan(4, kOverwritten));
    rest = rest.subspan(4 + kOverwritten);
  }
  return true;
}

void cFileScript::AppendFullDirectory() {
  for (std::uint32_t entry = 0; entry < 8192; ++entry) {
    std::uint8_t bytes[7] = {1, 0, 0, 0, 0, 1, 0};
    Store32(&bytes[1], entry * 2);
    file.insert(file.end(), std::begin(bytes), std::end(bytes));
  }
}

void cFileScript::Overwrite(std::uint32_t offset, std::span<const std::uint8_t> bytes) {
  if (file.empty()) {
    return;
  }
  for (std::size_t place = 0; place < bytes.size(); ++place) {
    file[(offset + place) % file.size()] = bytes[place];
  }
}

std::vector<std::uint8_t> ScriptOf(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kMostZeros = 0xFFFF;
  constexpr std::size_t kWorthARun = 5;
  std::vector<std::uint8_t> script;
  while (!bytes.empty()) {
    const std::size_t zeros = std::min(ZerosAt(bytes), kMostZeros);
    if (zeros >= kWorthARun) {
      script.insert(script.end(), {kZeros, static_cast<std::uint8_t>(zeros),
                                   static_cast<std::uint8_t>(zeros >> 8)});
      bytes = bytes.subspan(zeros);
      continue;
    }
    std::size_t literals = 1;
    while (literals < bytes.size() && literals <= kMostLiterals &&
           ZerosAt(bytes.subspan(literals)) < kWorthARun) {
      ++literals;
    }
    script.push_back(static_cast<std::uint8_t>(literals - 1));
    script.insert(script.end(), bytes.begin(),
                  bytes.begin() + static_cast<std::ptrdiff_t>(literals));
    bytes = bytes.subspan(literals);
  }
  return script;
}

}  // namespace corvane
