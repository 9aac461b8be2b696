#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "diag/hdlc.h"
#include "diag/made_packets.h"
#include "support/reference_crc.h"

namespace corvane {
namespace {

// Random packets and random bytes through framing and unframing. The generator's seed is fixed and
// printed with a failure; its numbers are the same on every platform (the distributions of the
// standard library are not, so none is used).
class RandomFramesTest : public testing::Test {
 protected:
  static constexpr std::uint32_t kSeed = 20240611;

  RandomFramesTest() { RecordProperty("seed", static_cast<int>(kSeed)); }

  // A number below `bound`.
  std::uint32_t Below(std::uint32_t bound) {
    return static_cast<std::uint32_t>(generator()) % bound;
  }

  // Bytes in which flags and escapes stand close together, or evenly random ones.
  ByteVector RandomBytes(std::size_t size) {
    static constexpr std::uint8_t kNotable[] = {0x7D, 0x7E, 0x5D, 0x5E, 0x00};
    const bool dense = Below(2) == 0;
    ByteVector bytes(size);
    for (std::uint8_t& byte : bytes) {
      byte = dense ? kNotable[Below(5)] : static_cast<std::uint8_t>(Below(256));
    }
    return bytes;
  }

  std::mt19937 generator{kSeed};
  testing::ScopedTrace trace{__FILE__, __LINE__, "seed " + std::to_string(kSeed)};
};

struct sExpected {
  bool null = true;
  std::uint32_t consumed = 0;
  ByteVector payload;
};

// The rules of unframing once more, without regard to speed.
sExpected ExpectedOf(const ByteVector& received) {
  ByteVector bytes = received;
  if (bytes[0] == 0x7E) {
    bytes.erase(bytes.begin());
  }

  std::size_t length = 0;
  for (std::size_t flag = 0; flag < bytes.size() && length == 0; ++flag) {
    const bool last = flag + 1 == bytes.size();
    const bool ends = last || (flag >= 3 && bytes[flag - 1] != 0x7D);
    if (bytes[flag] == 0x7E && ends) {
      length = flag + 1;
    }
  }
  if (length == 0) {
    return {};
  }

  sExpected expected;
  expected.consumed = static_cast<std::uint32_t>(length);
  ByteVector unstuffed;
  bool escaped = false;
  for (std::size_t i = 0; i + 1 < length; ++i) {
    const bool last = i + 2 == length;
    if (bytes[i] == 0x7D && !escaped && !last) {
      escaped = true;
      continue;
    }
    unstuffed.push_back(static_cast<std::uint8_t>(escaped ? bytes[i] ^ 0x20 : bytes[i]));
    escaped = false;
  }
  if ((ReferenceCrc(unstuffed) ^ 0xFFFF) != 0xF0B8) {
    return expected;
  }
  expected.null = false;
  unstuffed.resize(unstuffed.size() - 2);
  expected.payload = unstuffed;
  return expected;
}

void ExpectUnframedByTheRules(const ByteVector& received) {
  const sExpected expected = ExpectedOf(received);
  std::uint32_t consumed = 0;
  const OwnedBuffer packet = UnframePacket(MakePacket(received).get(), &consumed);
  EXPECT_EQ(packet == nullptr, expected.null) << testing::PrintToString(received);
  EXPECT_EQ(consumed, expected.consumed) << testing::PrintToString(received);
  EXPECT_EQ(ContentOf(packet), expected.payload) << testing::PrintToString(received);
  const std::size_t lead = received[0] == 0x7E ? 1 : 0;
  EXPECT_EQ(FrontFrameSize(received), expected.consumed == 0 ? 0 : lead + expected.consumed)
      << testing::PrintToString(received);
}

TEST_F(RandomFramesTest, PacketsComeBackFromTheirFrames) {
  for (int round = 0; round < 3000; ++round) {
    const ByteVector payload = RandomBytes(1 + Below(round % 50 == 0 ? 8000 : 300));
    const std::uint32_t origin = Below(2) == 0 ? kOriginDevice : kOriginLibrary;
    const OwnedBuffer frame = FramePacket(MakePacket(payload, origin).get());
    ASSERT_NE(frame, nullptr);
    ASSERT_TRUE(frame->IsUsable());
    EXPECT_EQ(std::count(frame->data, frame->data + frame->size, 0x7E), 1);

    std::uint32_t consumed = 0;
    const OwnedBuffer packet = UnframePacket(frame.get(), &consumed);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(ContentOf(packet), payload);
    EXPECT_EQ(packet->origin, origin);
    EXPECT_EQ(consumed, frame->size);
  }
}

TEST_F(RandomFramesTest, RandomBytesOfEverySizeAreTakenApartByTheRules) {
  for (std::uint32_t size = 1; size <= 64; ++size) {
    for (int round = 0; round < 300; ++round) {
      ExpectUnframedByTheRules(RandomBytes(size));
    }
  }
  for (const std::uint32_t size : {100U, 255U, 256U, 1000U, 4096U, 8192U, 16639U, 16640U}) {
    for (int round = 0; round < 10; ++round) {
      ExpectUnframedByTheRules(RandomBytes(size));
    }
  }
}

TEST_F(RandomFramesTest, MutatedFramesAreTakenApartByTheRules) {
  for (int round = 0; round < 5000; ++round) {
    const ByteVector payload = RandomBytes(1 + Below(40));
    ByteVector bytes = ContentOf(FramePacket(MakePacket(payload).get()));
    if (Below(2) == 0) {
      bytes.insert(bytes.begin(), 0x7E);
    }
    for (std::uint32_t mutations = Below(4); mutations > 0 && !bytes.empty(); --mutations) {
      const auto where = bytes.begin() + Below(static_cast<std::uint32_t>(bytes.size()));
      switch (Below(4)) {
        case 0:
          *where = RandomBytes(1)[0];
          break;
        case 1:
          bytes.insert(where, RandomBytes(1)[0]);
          break;
        case 2:
          bytes.erase(where);
          break;
        default:
          bytes.erase(where, bytes.end());
          break;
      }
    }
    if (!bytes.empty()) {
      ExpectUnframedByTheRules(bytes);
    }
  }
}

TEST_F(RandomFramesTest, AWalkOverRandomFramesFindsEveryPacketInOrder) {
  for (int round = 0; round < 200; ++round) {
    std::vector<ByteVector> sent;
    ByteVector stream;
    if (Below(2) == 0) {
      stream.push_back(0x7E);
    }
    for (std::uint32_t packets = 1 + Below(20); packets > 0; --packets) {
      sent.push_back(RandomBytes(1 + Below(60)));
      stream = stream + ContentOf(FramePacket(MakePacket(sent.back()).get()));
    }

    std::vector<ByteVector> received;
    while (true) {
      std::uint32_t consumed = 0;
      const OwnedBuffer packet = UnframePacket(MakePacket(stream).get(), &consumed);
      if (consumed == 0) {
        break;
      }
      ASSERT_LE(consumed, stream.size());
      received.push_back(ContentOf(packet));
      stream.erase(stream.begin(), stream.begin() + consumed);
    }
    EXPECT_EQ(received, sent);
    // Nothing is left, or the closing flag of the last frame.
    EXPECT_LE(stream.size(), 1U);
  }
}

}  // namespace
}  // namespace corvane
