#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "describe/signalling.h"

namespace corvane {

// The name of a message: the outermost choice of an RRC message, the type of a NAS or RR message,
// the method or status of SIP. As Wireshark shows it, but in words: "RRC connection
// reconfiguration" where that has "RRCConnectionReconfiguration". Empty when the message is too
// short, ciphered, or of a type that is not known.
//
// `message` is as its syntax has it. A whole system information block of WCDMA has its type beside
// it: SystemInformationBlockName.
[[nodiscard]] std::string_view MessageName(eSyntax syntax, std::span<const std::uint8_t> message);

// Whether a security header says that a NAS message of LTE or NR is ciphered. Such a message has no
// name.
[[nodiscard]] bool IsCiphered(eSyntax syntax, std::span<const std::uint8_t> message);

// The name of a type of WCDMA's system information blocks (3GPP TS 25.331 SIB-Type, kSib11bis or
// kSib19): "SysInfo type 5bis". Empty for a type that is not known.
[[nodiscard]] std::string_view SystemInformationBlockName(std::uint8_t sibType);

}  // namespace corvane
