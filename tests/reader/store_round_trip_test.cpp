#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <mutex>
#include <thread>

#include "capture/isf/store.h"
#include "reader/capture_builder.h"
#include "reader/capture_file.h"
#include "support/controllable_clock.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

// The store and the reader, back to back. What the store writes in one go is read back by its own
// tests.
class StoreRoundTripTest : public ::testing::Test {
 protected:
  StoreRoundTripTest() {
    SetFileTime(kClockStart);
    store.Attach(std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc));
  }

  std::uint32_t Add(const Bytes& packet, std::uint32_t origin = kOriginDevice,
                    std::uint32_t type = kAutomaticType) {
    const cBufferReference item(std::make_unique<sSharedBuffer>(
        packet.data(), static_cast<std::int32_t>(packet.size()), origin));
    const std::lock_guard guard(store.storeLock);
    return store.AddItem(&*item, type);
  }

  // A packet of the device that is recorded as it is, with type 1.
  [[nodiscard]] static Bytes PlainPacket(std::uint32_t number) {
    Bytes packet = NumberedPacket(number);
    packet[0] = 0x29;
    return packet;
  }

  [[nodiscard]] std::unique_ptr<cCaptureFile> Open() const {
    sCaptureError error;
    auto file = cCaptureFile::Open(path, error);
    EXPECT_NE(file, nullptr) << error.Text();
    return file;
  }

  cTempDirectory folder;
  std::string path = folder.Path("drive.isf");
  cISFStore store{{.now = ControllableFileTime}};
};

TEST_F(StoreRoundTripTest, TypesAndExtraFieldsAreReadBack) {
  Bytes featureQuery(28);
  featureQuery[0] = 0x63;
  featureQuery[27] = 12;
  ASSERT_EQ(Add(featureQuery, kOriginLibrary), 0U);
  ASSERT_EQ(Add(Hex("4B 09 00 00 56 34 12"), kOriginLibrary), 0U);
  ASSERT_EQ(Add(Hex("10 00 0C 00 0C 00 04 10 00 00 00 00 00 00 00 00")), 0U);
  ASSERT_EQ(Add(Hex("10 00 0C 00 0C 00 2F 41 00 00 00 00 00 00 00 00")), 0U);
  ASSERT_EQ(Add(TextItem("Port COM7 connected"), kOriginLibrary, 7), 0U);
  store.Close();
  const auto file = Open();
  ASSERT_EQ(file->ItemCount(), 5U);
  const std::uint32_t types[] = {2, 10, 8, 8, 7};
  const std::optional<std::uint32_t> extras[] = {{}, {}, 12, 0x123456, {}};
  sCaptureItem item;
  for (std::size_t number = 0; number < std::size(types); ++number) {
    ASSERT_EQ(file->ReadItem(number, item), std::nullopt);
    EXPECT_EQ(item.type, types[number]) << number;
    EXPECT_EQ(item.extra, extras[number]) << number;
  }
}

TEST_F(StoreRoundTripTest, AReaderAtWorkWhileTheStoreWritesSeesNoDamage) {
  constexpr std::uint32_t kItems = 20'000;
  std::atomic<bool> written = false;
  std::atomic<std::uint32_t> added = 0;
  std::thread writer([&] {
    for (std::uint32_t number = 0; number < kItems; ++number) {
      if (Add(PlainPacket(number)) == 0) {
        ++added;
      }
    }
    store.Close();
    written = true;
  });
  const auto file = Open();
  sCaptureItem item;
  for (bool last = false; !last && file != nullptr && !HasFailure();) {
    last = written;
    const std::uint32_t atLeast = added;
    file->Refresh();
    EXPECT_EQ(file->Damage(), std::nullopt);
    EXPECT_GE(file->ItemCount(), atLeast);
    if (file->ItemCount() == 0) {
      continue;
    }
    const auto newest = static_cast<std::uint32_t>(file->ItemCount() - 1);
    EXPECT_EQ(file->ReadItem(newest, item), std::nullopt);
    EXPECT_EQ(item.bytes, PlainPacket(newest));
  }
  writer.join();
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(file->IsComplete());
  EXPECT_EQ(file->ItemCount(), kItems);
}

}  // namespace
}  // namespace corvane
