#include "diag/little_endian.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

namespace corvane {
namespace {

constexpr std::array<std::uint8_t, 9> kBytes = {0xFF, 0x81, 0x92, 0xA3, 0xB4,
                                                0xC5, 0xD6, 0xE7, 0xF8};

TEST(LittleEndianTest, NumbersAreReadLowByteFirstAtAnyAlignment) {
  EXPECT_EQ(Load16(&kBytes[1]), 0x9281);
  EXPECT_EQ(Load32(&kBytes[1]), 0xB4A39281);
  EXPECT_EQ(Load64(&kBytes[1]), 0xF8E7D6C5B4A39281);
}

TEST(LittleEndianTest, NumbersAreWrittenLowByteFirstAndNothingBeside) {
  std::array<std::uint8_t, 10> bytes{};
  Store16(&bytes[1], 0x9281);
  EXPECT_EQ(bytes, (std::array<std::uint8_t, 10>{0, 0x81, 0x92}));
  Store32(&bytes[1], 0xB4A39281);
  EXPECT_EQ(bytes, (std::array<std::uint8_t, 10>{0, 0x81, 0x92, 0xA3, 0xB4}));
  Store64(&bytes[1], 0xF8E7D6C5B4A39281);
  EXPECT_EQ(bytes,
            (std::array<std::uint8_t, 10>{0, 0x81, 0x92, 0xA3, 0xB4, 0xC5, 0xD6, 0xE7, 0xF8, 0}));
}

}  // namespace
}  // namespace corvane
