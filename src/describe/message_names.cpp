#include "describe/message_names.h"

#include "describe/message_types.h"

namespace corvane {

std::string_view MessageName(eSyntax syntax, std::span<const std::uint8_t> message) {
  for (const auto nameOfFamily :
       {GsmMessageName, GprsMessageName, WcdmaRrcMessageName, LteRrcMessageName,
        LteNbRrcMessageName, NrRrcMessageName, NasMessageName, IpMessageName, SipMessageName}) {
    if (const std::string_view name = nameOfFamily(syntax, message); !name.empty()) {
      return name;
    }
  }
  return {};
}

}  // namespace corvane
