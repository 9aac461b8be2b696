#include "describe/system_information.h"

#include <optional>
#include <span>

#include "describe/message_types.h"
#include "platform/error_codes.h"

namespace corvane {
namespace {

// A choice of blocks: the alternatives of the first release, and behind an extension bit those of
// later ones.
struct sBlockChoice {
  unsigned bits;  // of the number of an alternative of the first release
  std::span<const std::string_view> first;
  std::span<const std::string_view> later;
};

constexpr std::string_view kLteFirst[] = {"SIB2", "SIB3", "SIB4", "SIB5",  "SIB6",
                                          "SIB7", "SIB8", "SIB9", "SIB10", "SIB11"};
constexpr std::string_view kLteLater[] = {
    "SIB12", "SIB13", "SIB14", "SIB15",  "SIB16", "SIB17", "SIB18", "SIB19", "SIB20", "SIB21",
    "SIB24", "SIB25", "SIB26", "SIB26a", "SIB27", "SIB28", "SIB29", "SIB30", "SIB31", "SIB32"};
constexpr sBlockChoice kLteBlocks = {4, kLteFirst, kLteLater};

constexpr std::string_view kNrFirst[] = {"SIB2", "SIB3", "SIB4", "SIB5",
                                         "SIB6", "SIB7", "SIB8", "SIB9"};
constexpr std::string_view kNrLater[] = {"SIB10", "SIB11", "SIB12", "SIB13", "SIB14", "SIB15",
                                         "SIB16", "SIB17", "SIB18", "SIB19", "SIB20", "SIB21"};
constexpr sBlockChoice kNrBlocks = {3, kNrFirst, kNrLater};

class cMessageBits {
 public:
  explicit cMessageBits(const sSignalling& message) : bits(BitsOf(message.message)) {}

  // Nothing behind the end of the message.
  [[nodiscard]] std::optional<unsigned> Field(unsigned count) {
    std::uint32_t value = 0;
    if (ReadBits32(bits, count, value) != kErrorSuccess) {
      return std::nullopt;
    }
    return value;
  }

  // Whether these bits follow, and nothing but zeros.
  [[nodiscard]] bool AreZero(unsigned count) { return Field(count) == 0U; }

 private:
  sBitReader bits;
};

[[nodiscard]] std::string_view NameAt(std::span<const std::string_view> names,
                                      std::optional<unsigned> place) {
  return place && *place < names.size() ? names[*place] : std::string_view();
}

// An alternative of a later release is a bit that says that its number is small, and six for it.
[[nodiscard]] std::string_view FirstBlock(cMessageBits& bits, const sBlockChoice& choice) {
  const auto isLater = bits.Field(1);
  if (isLater == 0U) {
    return NameAt(choice.first, bits.Field(choice.bits));
  }
  return isLater && bits.AreZero(1) ? NameAt(choice.later, bits.Field(6)) : std::string_view();
}

}  // namespace

sSystemInformationContent SystemInformationContent(const sSignalling& message) {
  const bool isLte = message.syntax == eSyntax::LteBcchDlSch;
  if (!isLte && message.syntax != eSyntax::NrBcchDlSch) {
    return {};
  }
  cMessageBits bits(message);
  // The message's class, its type and the choice of its extensions; then whether optional fields
  // follow behind the list, two of which NR has.
  if (!bits.AreZero(3) || !bits.Field(isLte ? 1 : 2)) {
    return {};
  }
  const auto count = bits.Field(5);  // less one
  const std::string_view first = FirstBlock(bits, isLte ? kLteBlocks : kNrBlocks);
  if (!count || first.empty()) {
    return {};
  }
  return {first, *count + 1};
}

}  // namespace corvane
