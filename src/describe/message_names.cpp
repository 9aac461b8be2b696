#include "describe/message_names.h"

namespace corvane {

std::string_view MessageName(eSyntax, std::span<const std::uint8_t>) { return {}; }

}  // namespace corvane
