#include "describe/message_names.h"

#include <gtest/gtest.h>

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

TEST(MessageNamesTest, TheFirstMessageOfASyntaxIsWhole) {
  for (const sMessageRow& row : MessageTable()) {
    EXPECT_TRUE(FirstMessage(row.syntax).valid) << SyntaxName(row.syntax);
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

}  // namespace
}  // namespace corvane
