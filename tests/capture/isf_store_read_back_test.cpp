#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "capture/isf/layout.h"
#include "capture/store_fixture.h"
#include "platform/error_codes.h"
#include "reader/capture_file.h"
#include "support/controllable_clock.h"

namespace corvane {
namespace {

constexpr std::uint64_t kStartMilliseconds = 13'350'000'000'000;

// What the store writes, read by the reader of capture files.
class IsfStoreReadBackTest : public cStoreTest {
 protected:
  [[nodiscard]] static ByteVector NumberedPacket(std::uint32_t i) {
    ByteVector packet = {0x0A, static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i / 256)};
    packet.resize(3 + i % 5);
    return packet;
  }

  // Adds items `first` to `count` - 1, one millisecond apart.
  void AddNumbered(std::uint32_t first, std::uint32_t count) {
    for (std::uint32_t i = first; i < count; ++i) {
      SetClockFromStart(i);
      ASSERT_EQ(Add(NumberedPacket(i)), kErrorSuccess) << i;
    }
  }

  [[nodiscard]] std::unique_ptr<cCaptureFile> Open() const {
    sCaptureError error;
    auto capture = cCaptureFile::Open(scratch.Path(kFileName), error);
    EXPECT_NE(capture, nullptr);
    return capture;
  }

  static void ExpectItem(cCaptureFile& capture, std::uint64_t number,
                         const sCaptureItem& expected) {
    sCaptureItem item;
    ASSERT_FALSE(capture.ReadItem(number, item)) << number;
    ASSERT_EQ(item.number, number);
    ASSERT_EQ(item.type, expected.type) << number;
    ASSERT_EQ(item.time, expected.time) << number;
    ASSERT_EQ(item.extra, expected.extra) << number;
    ASSERT_EQ(item.bytes, expected.bytes) << number;
  }

  static void ExpectNumberedItems(cCaptureFile& capture, std::uint32_t count) {
    EXPECT_FALSE(capture.Damage());
    EXPECT_EQ(capture.UnclaimedBytes(), 0U);
    ASSERT_EQ(capture.ItemCount(), count);
    EXPECT_EQ(capture.Blocks().size(), (count + 8191) / 8192);
    for (std::uint32_t i = 0; i < count; ++i) {
      ExpectItem(capture, i,
                 {.time = kStartMilliseconds + i,
                  .type = isf::kPacketItem,
                  .extra = std::nullopt,
                  .bytes = NumberedPacket(i)});
      if (HasFatalFailure()) {
        return;
      }
    }
  }

  void ExpectClosedFileOf(std::uint32_t count) {
    AddNumbered(0, count);
    store.Close();
    const auto capture = Open();
    ASSERT_NE(capture, nullptr);
    EXPECT_TRUE(capture->IsComplete());
    ExpectNumberedItems(*capture, count);
  }
};

TEST_F(IsfStoreReadBackTest, AClosedFileWithoutItemsIsComplete) { ExpectClosedFileOf(0); }

TEST_F(IsfStoreReadBackTest, AClosedFileOfOneItemIsComplete) { ExpectClosedFileOf(1); }

TEST_F(IsfStoreReadBackTest, AClosedFileOf8192ItemsIsComplete) { ExpectClosedFileOf(8192); }

TEST_F(IsfStoreReadBackTest, AClosedFileOf8193ItemsIsComplete) { ExpectClosedFileOf(8193); }

TEST_F(IsfStoreReadBackTest, AClosedFileOf20000ItemsIsComplete) { ExpectClosedFileOf(20000); }

TEST_F(IsfStoreReadBackTest, EveryTimeWidthAndTheExtraFieldInTwoBlocksAreReadBack) {
  constexpr std::uint32_t kExtra = 0x332211;
  constexpr std::int64_t kMilliseconds[] = {1, 1000, 100'000, -1};
  const ByteVector request = {0x4B, 0x09, 0x00, 0x00, 0x11, 0x22, 0x33};
  const ByteVector log = LogPacket(0x412F, 20);
  std::vector<sCaptureItem> expected;
  // The request tells the value of the extra field that the logs have from then on.
  const auto addOneOfEach = [&] {
    for (const std::int64_t at : kMilliseconds) {
      SetClockFromStart(at);
      ASSERT_EQ(Add(log), kErrorSuccess);
      expected.push_back({.time = kStartMilliseconds + static_cast<std::uint64_t>(at),
                          .type = isf::kSignallingLogItem,
                          .extra = kExtra,
                          .bytes = log});
    }
  };
  SetClockFromStart(0);
  ASSERT_EQ(AddRequest(request), kErrorSuccess);
  expected.push_back({.time = kStartMilliseconds,
                      .type = isf::kSubsystemRequestItem,
                      .extra = std::nullopt,
                      .bytes = request});
  addOneOfEach();
  SetClockFromStart(0);
  while (expected.size() < 8193) {
    ASSERT_EQ(Add({0x0A}), kErrorSuccess);
    expected.push_back({.time = kStartMilliseconds,
                        .type = isf::kPacketItem,
                        .extra = std::nullopt,
                        .bytes = {0x0A}});
  }
  addOneOfEach();
  store.Close();

  const auto capture = Open();
  ASSERT_NE(capture, nullptr);
  EXPECT_TRUE(capture->IsComplete());
  EXPECT_FALSE(capture->Damage());
  EXPECT_EQ(capture->UnclaimedBytes(), 0U);
  EXPECT_EQ(capture->Blocks().size(), 2U);
  ASSERT_EQ(capture->ItemCount(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_NO_FATAL_FAILURE(ExpectItem(*capture, i, expected[i]));
  }
}

TEST_F(IsfStoreReadBackTest, AFileThatIsStillWrittenIsReadUpToItsNewestItem) {
  for (std::uint32_t count = 0; count < 20; ++count) {
    const auto capture = Open();
    ASSERT_NE(capture, nullptr);
    EXPECT_EQ(capture->State(), eCaptureState::Unclosed);
    ExpectNumberedItems(*capture, count);
    AddNumbered(count, count + 1);
  }
}

TEST_F(IsfStoreReadBackTest, AFileThatIsStillWrittenIsReadAcrossTheEndOfABlock) {
  AddNumbered(0, 8191);
  for (std::uint32_t count = 8191; count < 8195; ++count) {
    const auto capture = Open();
    ASSERT_NE(capture, nullptr);
    EXPECT_EQ(capture->State(), eCaptureState::Unclosed);
    ExpectNumberedItems(*capture, count);
    AddNumbered(count, count + 1);
  }
}

}  // namespace
}  // namespace corvane
