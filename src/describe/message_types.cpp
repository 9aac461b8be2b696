#include "describe/message_types.h"

#include <algorithm>
#include <bit>

#include "platform/error_codes.h"

namespace corvane {
namespace {

constexpr std::uint32_t kMostBytes = UINT32_MAX / 8;

// The number of the alternative chosen, or `types.size()` when the bits end before it.
[[nodiscard]] std::size_t ReadChoice(sBitReader& bits, MessageTypes types) {
  const auto width = static_cast<std::uint32_t>(std::bit_width(types.size() - 1));
  std::uint8_t chosen = 0;
  if (width > 0 && ReadBits8(bits, width, chosen) != kErrorSuccess) {
    return types.size();
  }
  return chosen;
}

}  // namespace

std::string_view NameOfType(std::span<const sTypeName> types, std::uint8_t type) {
  const auto found = std::ranges::find(types, type, &sTypeName::type);
  return found == types.end() ? std::string_view() : found->name;
}

sBitReader BitsOf(MessageBytes message) {
  const auto count = std::min<std::size_t>(message.size(), kMostBytes);
  return {message.data(), 0, static_cast<std::uint32_t>(count) * 8, kMostSignificantBitFirst};
}

std::string_view ReadMessageType(sBitReader& bits, MessageTypes types) {
  const std::size_t chosen = ReadChoice(bits, types);
  return chosen < types.size() ? types[chosen] : std::string_view();
}

std::string_view ReadMessageClass(MessageBytes message, const sMessageClass& channel) {
  sBitReader bits = BitsOf(message);
  const sMessageClass* level = &channel;
  for (;;) {
    std::uint8_t isLater = 0;
    if (ReadBits8(bits, 1, isLater) != kErrorSuccess) {
      return {};
    }
    if (isLater == 0) {
      return ReadMessageType(bits, level->types);
    }
    if (level->later == nullptr) {
      return level->laterName;
    }
    level = level->later;
  }
}

}  // namespace corvane
