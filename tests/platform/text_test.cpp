#include "platform/text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/bounded_copy_end.h"

namespace corvane {
namespace {

TEST(BoundedCopyTest, TheSourceIsCopiedWithItsTerminator) {
  char destination[8] = "zzzzzzz";
  CopyBounded(destination, sizeof(destination), "abc");
  EXPECT_STREQ(destination, "abc");
}

TEST(BoundedCopyTest, AnEmptySourceIsCopied) {
  char destination[1] = {'z'};
  CopyBounded(destination, sizeof(destination), "");
  EXPECT_EQ(destination[0], '\0');
}

TEST(BoundedCopyTest, ASourceOfOneCharacterLessThanTheSizeFits) {
  char destination[64];
  const std::string source(63, 'x');
  CopyBounded(destination, sizeof(destination), source.c_str());
  EXPECT_EQ(destination, source);
}

TEST(BoundedCopyTest, NothingBehindTheBoundIsWritten) {
  char destination[6] = "zzzzz";
  CopyBounded(destination, 4, "abc");
  EXPECT_EQ(std::memcmp(destination, "abc\0z", 6), 0);
}

// GoogleTest runs suites of this name first, before others have started threads.
TEST(BoundedCopyDeathTest, ASourceOfAsManyCharactersAsTheSizeEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  char destination[64];
  const std::string source(64, 'x');
  EXPECT_EXIT(CopyBounded(destination, sizeof(destination), source.c_str()), IsEndOfOverlongCopy,
              "");
}

TEST(BoundedCopyDeathTest, AMuchLongerSourceEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  char destination[64];
  const std::string source(5000, 'x');
  EXPECT_EXIT(CopyBounded(destination, sizeof(destination), source.c_str()), IsEndOfOverlongCopy,
              "");
}

}  // namespace
}  // namespace corvane
