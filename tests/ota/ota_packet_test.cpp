#include "ota/ota_packet.h"

#include <gtest/gtest.h>

#include "ota/bits.h"
#include "ota/ota_messages.h"

namespace corvane {
namespace {

TEST(ViewOtaPacket, ShowsChannelBearerAndMessage) {
  const OwnedBuffer item = Item(LogPacket(0x83, 0x91, {0xAA, 0xBB, 0xCC}));
  const auto packet = ViewOtaPacket(*item);
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->channel, 0x83);
  EXPECT_EQ(packet->rbId, 0x91);
  EXPECT_EQ(packet->message, item->data + 20);
  EXPECT_EQ(packet->bitCount, 24u);
}

TEST(ViewOtaPacket, RefusesAPacketThatEndsWithItsOtaHeader) {
  Bytes bytes = LogPacket(kFach, 7, {});
  ASSERT_EQ(bytes.size(), 20u);
  EXPECT_FALSE(ViewOtaPacket(*Item(bytes)));
  // One byte more, of no message, is enough.
  bytes.push_back(0xFF);
  const auto packet = ViewOtaPacket(*Item(bytes));
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->bitCount, 0u);
}

TEST(ViewOtaPacket, RefusesEveryItemCutWithinItsMessage) {
  const Bytes whole = LogPacket(kFach, 7, {1, 2, 3, 4, 5});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(ViewOtaPacket(*Item(cut))) << size;
  }
  EXPECT_TRUE(ViewOtaPacket(*Item(whole)));
}

// The largest item there is: 16620 bytes of message.
TEST(ViewOtaPacket, TakesAMessageThatFillsTheLargestItem) {
  const auto item = Item(LogPacket(kFach, 7, Bytes(16620, 0x5A)));
  const auto packet = ViewOtaPacket(*item);
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->bitCount, 16620u * 8);
}

}  // namespace
}  // namespace corvane
