#include "describe/message_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "describe/message_table.h"

namespace corvane {
namespace {

[[nodiscard]] std::string_view NameOf(const sMessageRow& row, std::span<const std::uint8_t> bytes) {
  return row.sibType ? SystemInformationBlockName(*row.sibType) : MessageName(row.syntax, bytes);
}

TEST(MessageNamesTest, EveryMessageHasTheNameThatWiresharkShows) {
  for (const sMessageRow& row : MessageTable()) {
    EXPECT_EQ(LettersAndDigits(NameOf(row, row.message)), LettersAndDigits(row.name))
        << SyntaxName(row.syntax) << ": " << row.name;
  }
}

TEST(MessageNamesTest, TheTableHasMessagesOfEverySyntax) {
  for (int number = 0; number <= static_cast<int>(eSyntax::Sip); ++number) {
    const auto syntax = static_cast<eSyntax>(number);
    if (syntax == eSyntax::NrReconfigurationComplete) {
      continue;  // Wireshark has no dissector for it
    }
    EXPECT_THAT(MessageTable(), testing::Contains(testing::Field(&sMessageRow::syntax, syntax)))
        << SyntaxName(syntax);
  }
}

// Every name but a SIB's is in the message: each message loses it somewhere when cut from the end.
TEST(MessageNamesTest, ACutMessageHasItsNameOrNone) {
  for (const sMessageRow& row : MessageTable()) {
    if (row.sibType) {
      continue;
    }
    const std::string_view whole = MessageName(row.syntax, row.message);
    for (std::size_t size = 0; size < row.message.size(); ++size) {
      // A copy of its own size, so that a read behind it is noticed.
      const ByteVector cut(row.message.begin(),
                           row.message.begin() + static_cast<std::ptrdiff_t>(size));
      const std::string_view name = MessageName(row.syntax, cut);
      EXPECT_TRUE(name.empty() || name == whole) << SyntaxName(row.syntax) << ": " << name;
    }
    EXPECT_EQ(MessageName(row.syntax, {}), "") << SyntaxName(row.syntax);
  }
}

TEST(MessageNamesTest, NamesAreInWords) {
  EXPECT_EQ(MessageName(eSyntax::LteDlDcch, ByteVector{0x20, 0x00}),
            "RRC connection reconfiguration");
  EXPECT_EQ(MessageName(eSyntax::LteBcchDlSch, ByteVector{0x40}),
            "System information block type 1");
  EXPECT_EQ(SystemInformationBlockName(30), "SysInfo type 5bis");
}

TEST(MessageNamesTest, ATypeOfBlockThatIsNotKnownHasNoName) {
  for (const int type : {31, 32, 65, 68, 255}) {
    EXPECT_EQ(SystemInformationBlockName(static_cast<std::uint8_t>(type)), "") << type;
  }
}

// 3GPP TS 25.331: the bit in front says that 36 bits come before the choice.
TEST(MessageNamesTest, IntegrityCheckInfoStandsBeforeTheType) {
  const ByteVector release = {0x80, 0, 0, 0, 0x03, 0xC0};
  EXPECT_EQ(MessageName(eSyntax::WcdmaDlDcch, release), "RRC connection release");
  const ByteVector cut(release.begin(), release.end() - 1);
  EXPECT_EQ(MessageName(eSyntax::WcdmaDlDcch, cut), "");
}

TEST(MessageNamesTest, ACipheredMessageHasNoName) {
  const ByteVector eps = {0x27, 1, 2, 3, 4, 5, 0x07, 0x42};
  EXPECT_EQ(MessageName(eSyntax::LteNas, eps), "");
  const ByteVector nr = {0x7E, 0x02, 1, 2, 3, 4, 5, 0x7E, 0x00, 0x42};
  EXPECT_EQ(MessageName(eSyntax::NrNas, nr), "");
}

// 3GPP TS 24.301 and 24.501, 9.3.1: types 2 and 4 are the ciphered ones.
TEST(MessageNamesTest, OnlySecurityHeaders2And4AreOfCipheredMessages) {
  for (std::uint8_t security = 0; security < 16; ++security) {
    const bool isCiphered = security == 2 || security == 4;
    const ByteVector eps = {
        static_cast<std::uint8_t>(security << 4 | 7), 1, 2, 3, 4, 5, 0x07, 0x42};
    EXPECT_EQ(IsCiphered(eSyntax::LteNas, eps), isCiphered) << int{security};
    const ByteVector nr = {0x7E, security, 1, 2, 3, 4, 5, 0x7E, 0x00, 0x42};
    EXPECT_EQ(IsCiphered(eSyntax::NrNas, nr), isCiphered) << int{security};
  }
}

TEST(MessageNamesTest, OnlyNasWithASecurityHeaderIsCiphered) {
  const ByteVector session = {0x22, 0x01, 0xC1};  // of bearer 2: no security header
  EXPECT_FALSE(IsCiphered(eSyntax::LteNas, session));
  const ByteVector session5gs = {0x2E, 0x02, 0x01, 0xC1};
  EXPECT_FALSE(IsCiphered(eSyntax::NrNas, session5gs));
  const ByteVector others = {0x27, 0x02, 1, 2, 3, 4, 5};
  EXPECT_FALSE(IsCiphered(eSyntax::LteDlDcch, others));
  EXPECT_FALSE(IsCiphered(eSyntax::NrNas, others));
  EXPECT_FALSE(IsCiphered(eSyntax::LteNas, {}));
}

TEST(MessageNamesTest, BehindASecurityHeaderStandsAPlainMessage) {
  for (const std::uint8_t security : ByteVector{0x17, 0x37, 0x57}) {
    const ByteVector eps = {security, 1, 2, 3, 4, 5, 0x07, 0x42};
    EXPECT_EQ(MessageName(eSyntax::LteNas, eps), "Attach accept");
    const ByteVector twice = {security, 1, 2, 3, 4, 5, security, 0x42};
    EXPECT_EQ(MessageName(eSyntax::LteNas, twice), "");
  }
  for (const std::uint8_t security : ByteVector{1, 3}) {
    const ByteVector nr = {0x7E, security, 1, 2, 3, 4, 5, 0x7E, 0x00, 0x42};
    EXPECT_EQ(MessageName(eSyntax::NrNas, nr), "Registration accept");
    const ByteVector twice = {0x7E, security, 1, 2, 3, 4, 5, 0x7E, security, 0x42};
    EXPECT_EQ(MessageName(eSyntax::NrNas, twice), "");
  }
}

TEST(MessageNamesTest, ReservedSecurityHeadersHaveNoName) {
  for (int security = 6; security < 12; ++security) {
    const ByteVector eps = {
        static_cast<std::uint8_t>(security << 4 | 7), 1, 2, 3, 4, 5, 0x07, 0x42};
    EXPECT_EQ(MessageName(eSyntax::LteNas, eps), "") << security;
  }
  for (std::uint8_t security = 5; security < 16; ++security) {
    const ByteVector nr = {0x7E, security, 0x42, 2, 3, 4, 5, 0x7E, 0x00, 0x42};
    EXPECT_EQ(MessageName(eSyntax::NrNas, nr), "") << security;
  }
}

// 3GPP TS 24.007, 11.2.3: bits 7 and 8 of the type count messages, and a transaction identifier of
// seven goes on in one more octet.
TEST(MessageNamesTest, CountersAndLongTransactionsDoNotHideTheType) {
  for (const std::uint8_t count : ByteVector{0x00, 0x40, 0x80, 0xC0}) {
    const ByteVector setup = {0x83, static_cast<std::uint8_t>(0x05 | count)};
    EXPECT_EQ(MessageName(eSyntax::GsmLayer3, setup), "Setup");
    const ByteVector attach = {0x08, static_cast<std::uint8_t>(0x02 | count)};
    EXPECT_EQ(MessageName(eSyntax::GsmLayer3, attach), count == 0 ? "Attach accept" : "");
  }
  EXPECT_EQ(MessageName(eSyntax::GsmLayer3, ByteVector{0xF3, 0x87, 0x05}), "Setup");
  EXPECT_EQ(MessageName(eSyntax::GsmLayer3, ByteVector{0x73, 0x05}), "");
  // Mobility management has a skip indicator there.
  EXPECT_EQ(MessageName(eSyntax::GsmLayer3, ByteVector{0x75, 0x08}), "Location updating request");
}

TEST(MessageNamesTest, OptionalOctetsOfAControlBlockArePassed) {
  const auto nameOf = [](ByteVector block) {
    return MessageName(eSyntax::GprsRlcMacDownlink, block);
  };
  constexpr std::uint8_t kRelease = 8 << 2;
  EXPECT_EQ(nameOf({0x40, kRelease}), "Packet TBF release");
  EXPECT_EQ(nameOf({0x80, 0x02, kRelease}), "Packet TBF release");
  EXPECT_EQ(nameOf({0x80, 0x03, 0x00, kRelease}), "Packet TBF release");
  // The second segment of a message, a data block, and the reserved payload type.
  EXPECT_EQ(nameOf({0x80, 0x82, kRelease, kRelease, kRelease}), "");
  EXPECT_EQ(nameOf({0x00, kRelease, kRelease}), "");
  EXPECT_EQ(nameOf({0xC0, kRelease, kRelease}), "");
  EXPECT_EQ(MessageName(eSyntax::GprsRlcMacUplink, ByteVector{0x80, 0x04, 0x04}), "");
}

[[nodiscard]] ByteVector Ipv6Packet(std::uint8_t next, std::initializer_list<std::uint8_t> rest) {
  ByteVector packet(40);
  packet[0] = 0x60;
  packet[6] = next;
  packet.insert(packet.end(), rest);
  return packet;
}

TEST(MessageNamesTest, AnIpPacketIsNamedByWhatItCarries) {
  ByteVector packet(20);
  packet[0] = 0x45;
  packet[9] = 143;  // a protocol that is not in the table
  EXPECT_EQ(MessageName(eSyntax::Ip, packet), "IPv4");
  EXPECT_EQ(MessageName(eSyntax::Ip, Ipv6Packet(59, {})), "IPv6");
  // A later fragment has no headers of what it carries.
  EXPECT_EQ(MessageName(eSyntax::Ip, Ipv6Packet(44, {17, 0, 0, 8, 0, 0, 0, 1})), "IPv6 UDP");
  EXPECT_EQ(MessageName(eSyntax::Ip, Ipv6Packet(44, {0, 0, 1, 0, 0, 0, 0, 1})), "IPv6");
  // An extension that does not end in the packet.
  EXPECT_EQ(MessageName(eSyntax::Ip, Ipv6Packet(0, {17, 1, 0, 0, 0, 0, 0, 0})), "");
  packet[0] = 0x55;
  EXPECT_EQ(MessageName(eSyntax::Ip, packet), "");
}

TEST(MessageNamesTest, SipIsNamedByItsStartLine) {
  const auto nameOf = [](std::string_view text) {
    return MessageName(eSyntax::Sip, ByteVector(text.begin(), text.end()));
  };
  EXPECT_EQ(nameOf("REGISTER sip:example.org SIP/2.0\r\n"), "REGISTER");
  EXPECT_EQ(nameOf("REGISTERED sip:example.org SIP/2.0\r\n"), "");
  EXPECT_EQ(nameOf("SIP/2.0 200 Fine\r\n"), "200 OK");
  EXPECT_EQ(nameOf("SIP/2.0 200\r\n"), "200 OK");
  EXPECT_EQ(nameOf("SIP/2.0 299 Odd\r\n"), "Response");
  EXPECT_EQ(nameOf("SIP/2.0 2000 Odd\r\n"), "");
  EXPECT_EQ(nameOf("SIP/2.0x200 Odd\r\n"), "");
  EXPECT_EQ(nameOf("SIP/2.0 2x0 Odd\r\n"), "");
}

// Octets in front of those that tell the type, in messages that have some.
[[nodiscard]] std::vector<ByteVector> Fronts(eSyntax syntax) {
  switch (syntax) {
    case eSyntax::GsmPseudoLength:
      return {{0x49}};
    case eSyntax::LteNasPlain:
    case eSyntax::LteNas:
      return {{}, {0x52}, {0x17, 1, 2, 3, 4, 5}};
    case eSyntax::NrNas:
      return {{}, {0x7E}, {0x2E, 1}};
    case eSyntax::Ip:
      return {{0x45, 0, 0, 0, 0, 0, 0, 0}, {0x60, 0, 0, 0, 0}};
    default:
      return {{}};
  }
}

// The names of all messages that differ in two octets behind those fronts: in the upper twelve of
// their bits, or in the lower twelve.
[[nodiscard]] std::set<std::string_view> AllNames(eSyntax syntax) {
  std::set<std::string_view> names;
  for (const ByteVector& front : Fronts(syntax)) {
    ByteVector message = front;
    message.resize(std::max<std::size_t>(front.size() + 2, syntax == eSyntax::Ip ? 40 : 0));
    for (unsigned bits = 0; bits < 0x10000; bits += bits < 0x1000 ? 1 : 16) {
      message[front.size()] = static_cast<std::uint8_t>(bits >> 8);
      message[front.size() + 1] = static_cast<std::uint8_t>(bits);
      names.insert(MessageName(syntax, message));
    }
  }
  return names;
}

// The syntax of what stands behind a pseudo length or a security header, or whose header is left
// out.
[[nodiscard]] eSyntax WithoutHeader(eSyntax syntax) {
  switch (syntax) {
    case eSyntax::GsmPseudoLength:
      return eSyntax::GsmLayer3;
    case eSyntax::LteNas:
      return eSyntax::LteNasPlain;
    case eSyntax::NrReconfigurationComplete:
      return eSyntax::NrUlDcch;
    default:
      return syntax;
  }
}

// What MessageName may say beyond what tshark was asked.
TEST(MessageNamesTest, NoNameIsMissingInTheTable) {
  std::map<eSyntax, std::set<std::string>> known;
  for (const sMessageRow& row : MessageTable()) {
    known[WithoutHeader(row.syntax)].insert(LettersAndDigits(row.name));
  }
  for (int number = 0; number <= static_cast<int>(eSyntax::Sip); ++number) {
    const auto syntax = static_cast<eSyntax>(number);
    for (const std::string_view name : AllNames(syntax)) {
      EXPECT_TRUE(name.empty() || known[WithoutHeader(syntax)].contains(LettersAndDigits(name)))
          << SyntaxName(syntax) << ": " << name;
    }
  }
}

// Each in memory of its own size, so that a read behind it is noticed.
TEST(MessageNamesTest, WhatFollowsTheTypeDoesNotChangeAName) {
  std::minstd_rand random(1);
  const auto octet = [&random] { return static_cast<std::uint8_t>(random() >> 8); };
  for (int number = 0; number <= static_cast<int>(eSyntax::Sip); ++number) {
    const auto syntax = static_cast<eSyntax>(number);
    for (int round = 0; round < 1000; ++round) {
      ByteVector message(random() % 48);
      std::ranges::generate(message, octet);
      const std::string_view name = MessageName(syntax, message);
      ByteVector longer = message;
      longer.push_back(octet());
      EXPECT_TRUE(name.empty() || MessageName(syntax, longer) == name)
          << SyntaxName(syntax) << ": " << name;
    }
  }
}

}  // namespace
}  // namespace corvane
