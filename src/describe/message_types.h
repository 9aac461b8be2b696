#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "describe/signalling.h"
#include "ota/bit_cursor.h"

// How the tables of message names are read, one file of tables for each family of messages. Every
// function gives an empty name for a message that is too short or of a type that it does not know.
namespace corvane {

using MessageBytes = std::span<const std::uint8_t>;

// The alternatives of a choice of messages, in their order.
using MessageTypes = std::span<const std::string_view>;

// A message type that is an octet, or a part of one.
struct sTypeName {
  std::uint8_t type = 0;
  std::string_view name;
};

[[nodiscard]] std::string_view NameOfType(std::span<const sTypeName> types, std::uint8_t type);

// The outermost choices of an LTE or NR channel: one bit says whether the message is of `types`, or
// of a later release, which has a choice of its own or none that is known.
struct sMessageClass {
  MessageTypes types;
  std::string_view laterName;            // where `later` is null
  const sMessageClass* later = nullptr;  // lasts for ever
};

// A cursor over the bits of `message`, most significant first, as packed encodings have them. A
// message is too long for it from half a gigabyte on: the bits behind are out of reach.
[[nodiscard]] sBitReader BitsOf(MessageBytes message);

// Reads a choice as the unaligned packed encoding rules (ITU-T X.691) have it: as many bits as the
// last alternative's number takes. The second reads a whole message's from its first bit on.
[[nodiscard]] std::string_view ReadMessageType(sBitReader& bits, MessageTypes types);
[[nodiscard]] std::string_view ReadMessageClass(MessageBytes message, const sMessageClass& channel);

// One function for each family of syntaxes; see MessageName.
[[nodiscard]] std::string_view GsmMessageName(eSyntax syntax, MessageBytes message);
[[nodiscard]] std::string_view GprsMessageName(eSyntax syntax, MessageBytes message);
[[nodiscard]] std::string_view WcdmaRrcMessageName(eSyntax syntax, MessageBytes message);
[[nodiscard]] std::string_view LteRrcMessageName(eSyntax syntax, MessageBytes message);
[[nodiscard]] std::string_view LteNbRrcMessageName(eSyntax syntax, MessageBytes message);
[[nodiscard]] std::string_view NrRrcMessageName(eSyntax syntax, MessageBytes message);
[[nodiscard]] std::string_view NasMessageName(eSyntax syntax, MessageBytes message);
[[nodiscard]] std::string_view IpMessageName(eSyntax syntax, MessageBytes message);
[[nodiscard]] std::string_view SipMessageName(eSyntax syntax, MessageBytes message);

}  // namespace corvane
