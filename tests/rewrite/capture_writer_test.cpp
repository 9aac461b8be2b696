#include "rewrite/capture_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <tuple>

#include "capture/isf/store.h"
#include "reader/capture_builder.h"
#include "support/controllable_clock.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

[[nodiscard]] ByteVector BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// What the writer makes of these items.
[[nodiscard]] ByteVector WriteAll(const std::vector<sBuiltItem>& items) {
  std::stringstream stream;
  cCaptureWriter writer(stream);
  for (const sBuiltItem& item : items) {
    EXPECT_TRUE(writer.Add({item.type, item.time, item.extra}, item.packet));
  }
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(writer.Items(), items.size());
  return BytesOf(stream.str());
}

[[nodiscard]] ByteVector Build(const std::vector<sBuiltItem>& items) {
  cCaptureBuilder builder;
  for (const sBuiltItem& item : items) {
    builder.Add(item);
  }
  return builder.Closed();
}

// What the writer makes of a capture's items.
[[nodiscard]] ByteVector Rewrite(const ByteVector& capture) {
  const sOpened opened = OpenBytes(capture);
  std::stringstream stream;
  cCaptureWriter writer(stream);
  sCaptureItem item;
  for (auto number = opened.file->NextItem(0); number;
       number = opened.file->NextItem(*number + 1)) {
    EXPECT_EQ(opened.file->ReadItem(*number, item), std::nullopt);
    EXPECT_TRUE(writer.Add({item.type, item.time, item.extra}, item.bytes));
  }
  EXPECT_TRUE(writer.Finish());
  return BytesOf(stream.str());
}

TEST(CaptureWriterTest, AFileWithoutItemsIsHeaderAndTrailer) {
  EXPECT_EQ(WriteAll({}), Hex("08 31 60 AB 00 00 00 00 00 00 00 00 00 00 00 00 07 31 60 AB"));
}

TEST(CaptureWriterTest, ItemsKeepTypeTimeExtraFieldAndBytes) {
  EXPECT_EQ(Rewrite(SmallCapture().Closed()), SmallCapture().Closed());
}

TEST(CaptureWriterTest, BlocksAreLinkedAndIndexed) {
  EXPECT_EQ(Rewrite(TwoBlocks().Closed()), TwoBlocks().Closed());
  const ByteVector three = BuildNumbered(2 * 8192 + 1).Closed();
  EXPECT_TRUE(Rewrite(three) == three);
  // The last block is full, and none follows it.
  const ByteVector two = BuildNumbered(2 * 8192).Closed();
  EXPECT_TRUE(Rewrite(two) == two);
}

TEST(CaptureWriterTest, TimesTakeTheWidthThatTheyNeed) {
  std::vector<sBuiltItem> items;
  for (const std::uint64_t delta :
       {0ULL, 254ULL, 255ULL, 65'534ULL, 65'535ULL, 0xFFFF'FFFEULL, 0xFFFF'FFFFULL}) {
    items.push_back({1, kNoon + delta, {0x42}, {}});
  }
  items.push_back({1, kNoon - 1, {0x42}, {}});  // the clock was set back
  items.push_back({1, 0, {0x42}, {}});
  items.push_back({1, 1'844'674'407'370'955, {0x42}, {}});
  EXPECT_EQ(WriteAll(items), Build(items));
}

TEST(CaptureWriterTest, TakesWhatTheFormatHasRoomFor) {
  const std::vector<sBuiltItem> items = {{31, kNoon, ByteVector(65'535, 0x11), {}},
                                         {3, kNoon + 1, {0xFF}, 0xFFFFFFFF}};
  EXPECT_TRUE(WriteAll(items) == Build(items));
}

TEST(CaptureWriterTest, RefusesWhatTheFormatHasNoRoomFor) {
  std::stringstream stream;
  cCaptureWriter writer(stream);
  EXPECT_FALSE(writer.Add({32, kNoon, {}}, ByteVector{1}));
  EXPECT_FALSE(writer.Add({1, 1'844'674'407'370'956, {}}, ByteVector{1}));
  EXPECT_FALSE(writer.Add({1, kNoon, {}}, ByteVector{}));
  EXPECT_FALSE(writer.Add({1, kNoon, {}}, ByteVector(65'536)));
  EXPECT_TRUE(writer.IsGood());
  EXPECT_TRUE(writer.Finish());
  EXPECT_EQ(BytesOf(stream.str()), WriteAll({}));
}

TEST(CaptureWriterTest, AFileOfTheStoreKeepsItsBytes) {
  const cTempDirectory folder;
  const std::string path = folder.Path("drive.isf");
  {
    SetFileTime(kClockStart);
    cISFStore store({.now = ControllableFileTime});
    store.Attach(std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc));
    const std::lock_guard guard(store.storeLock);
    for (std::uint32_t number = 0; number < 9000; ++number) {
      ByteVector packet = NumberedPacket(number);
      packet[0] = static_cast<std::uint8_t>(number % 0x60);
      const cBufferReference item(std::make_unique<sSharedBuffer>(
          packet.data(), static_cast<std::int32_t>(packet.size()), kOriginDevice));
      ASSERT_EQ(store.AddItem(&*item, kAutomaticType), 0U);
      // Forwards mostly, and back over the beginning at times.
      const std::uint64_t now = ControllableFileTime();
      SetFileTime(number % 1000 == 999 ? kClockStart - 10'000 : now + 10'000ULL * (number % 700));
    }
  }
  std::ifstream file(path, std::ios::binary);
  const ByteVector bytes{std::istreambuf_iterator<char>(file), {}};
  ASSERT_FALSE(bytes.empty());
  EXPECT_TRUE(Rewrite(bytes) == bytes);
}

// A disk that has room for so many bytes.
class cSmallDisk final : public std::stringbuf {
 public:
  explicit cSmallDisk(std::streamoff bytes) : room(bytes) {}

 protected:
  std::streamsize xsputn(const char* bytes, std::streamsize length) override {
    const std::streamoff place = pubseekoff(0, std::ios::cur, std::ios::out);
    return std::stringbuf::xsputn(bytes, std::clamp<std::streamsize>(room - place, 0, length));
  }

 private:
  std::streamoff room;
};

TEST(CaptureWriterTest, AFullDiskIsTold) {
  const std::vector<sBuiltItem> items = {NumberedItem(10), NumberedItem(11)};
  const auto size = static_cast<std::streamoff>(Build(items).size());
  for (std::streamoff room = 0; room <= size; room += room < 57'300 ? 1910 : 1) {
    cSmallDisk disk(room);
    std::ostream stream(&disk);
    cCaptureWriter writer(stream);
    for (const sBuiltItem& item : items) {
      std::ignore = writer.Add({item.type, item.time, item.extra}, item.packet);
    }
    EXPECT_EQ(writer.Finish(), room == size) << room;
    EXPECT_EQ(writer.IsGood(), room == size) << room;
  }
}

TEST(CaptureWriterTest, NothingIsAddedBehindAFailure) {
  cSmallDisk disk(57'370);
  std::ostream stream(&disk);
  cCaptureWriter writer(stream);
  EXPECT_TRUE(writer.Add({1, kNoon, {}}, ByteVector(5)));
  EXPECT_FALSE(writer.Add({1, kNoon, {}}, ByteVector(50)));
  EXPECT_FALSE(writer.Add({1, kNoon, {}}, ByteVector(1)));
  EXPECT_FALSE(writer.Finish());
}

}  // namespace
}  // namespace corvane
