#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "reader/capture_builder.h"
#include "reader/capture_file.h"
#include "reader/capture_writes.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

constexpr std::uint64_t kStart = kNoon;

void ExpectItem(cCaptureFile& file, std::uint32_t number) {
  sCaptureItem item;
  ASSERT_EQ(file.ReadItem(number, item), std::nullopt);
  ASSERT_EQ(item.bytes, NumberedPacket(number));
  ASSERT_EQ(item.time, kStart + number);
}

TEST(GrowingCaptureTest, AnItemIsThereOnceItsDirectoryEntryIs) {
  const std::vector<sWrite> writes = WritesOf(40);
  const auto bytes = std::make_shared<ByteVector>(writes[0].bytes);
  const sOpened opened = OpenBytes(bytes);
  ASSERT_NE(opened.file, nullptr);
  std::uint32_t entries = 0;
  for (std::size_t number = 1; number < writes.size(); ++number) {
    ASSERT_EQ(opened.file->State(), eCaptureState::Unclosed);
    WriteInto(*bytes, writes[number], 0, writes[number].bytes.size());
    opened.file->Refresh();
    if (writes[number].isEntry) {
      ++entries;
    }
    ASSERT_EQ(opened.file->ItemCount(), entries);
    ASSERT_EQ(opened.file->Size(), bytes->size());
    if (entries > 0) {
      ExpectItem(*opened.file, entries - 1);
    }
  }
  EXPECT_EQ(entries, 40U);
  EXPECT_TRUE(opened.file->IsComplete());
}

TEST(GrowingCaptureTest, ItIsReadAtEveryByteOfEveryWrite) {
  const std::vector<sWrite> writes = WritesOf(5);
  const auto bytes = std::make_shared<ByteVector>(writes[0].bytes);
  const sOpened opened = OpenBytes(bytes);
  ASSERT_NE(opened.file, nullptr);
  std::uint32_t entries = 0;
  for (std::size_t number = 1; number < writes.size(); ++number) {
    const sWrite& write = writes[number];
    const bool entry = write.isEntry;
    // A block is written before there is anything to read: a few steps of it will do.
    const std::size_t step = write.bytes.size() > 1000 ? 997 : 1;
    for (std::size_t from = 0; from < write.bytes.size(); from += step) {
      WriteInto(*bytes, write, from, std::min(from + step, write.bytes.size()));
      opened.file->Refresh();
      const bool last = from + step >= write.bytes.size();
      ASSERT_GE(opened.file->ItemCount(), entries) << "write " << number << ", byte " << from;
      ASSERT_LE(opened.file->ItemCount(), entries + (entry ? 1 : 0));
      // Half an entry may look wrong for as long as it is all that there is; nothing else does.
      if (!entry || last) {
        ASSERT_EQ(opened.file->Damage(), std::nullopt) << "write " << number;
      }
      for (std::uint32_t item = 0; item < entries; ++item) {
        ExpectItem(*opened.file, item);
      }
    }
    if (entry) {
      ASSERT_EQ(opened.file->ItemCount(), ++entries);
    }
  }
  EXPECT_TRUE(opened.file->IsComplete());
  EXPECT_EQ(opened.file->UnclaimedBytes(), 0U);
}

TEST(GrowingCaptureTest, AnEntryFirstSeenWithoutItsLastBytesIsCorrectedLater) {
  // Entry 1 describes a packet of 300 bytes; without its last byte the packet seems to have 44.
  cCaptureBuilder builder;
  builder.Add({1, kStart, {0x42}, {}}).Add({1, kStart, ByteVector(300, 0x55), {}});
  const auto bytes = std::make_shared<ByteVector>(builder.Unclosed());
  (*bytes)[4 + 7 + 6] = 0;
  const sOpened opened = OpenBytes(bytes);
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(opened.file->ItemCount(), 2U);

  *bytes = builder.Unclosed();
  opened.file->Refresh();
  sCaptureItem item;
  ASSERT_EQ(opened.file->ReadItem(1, item), std::nullopt);
  EXPECT_EQ(item.bytes, ByteVector(300, 0x55));
  EXPECT_EQ(opened.file->UnclaimedBytes(), 0U);
  *bytes = builder.Closed();
  opened.file->Refresh();
  EXPECT_TRUE(opened.file->IsComplete());
}

TEST(GrowingCaptureTest, NewBlocksAreFoundWhileTheFileGrows) {
  const std::vector<sWrite> writes = WritesOf(20000);
  const auto bytes = std::make_shared<ByteVector>(writes[0].bytes);
  const sOpened opened = OpenBytes(bytes);
  ASSERT_NE(opened.file, nullptr);
  std::uint32_t entries = 0;
  for (std::size_t number = 1; number < writes.size(); ++number) {
    WriteInto(*bytes, writes[number], 0, writes[number].bytes.size());
    if (writes[number].isEntry) {
      ++entries;
    }
    const std::uint32_t place = entries % 8192;
    if (number % 1009 != 0 && place > 2 && place < 8190) {
      continue;
    }
    opened.file->Refresh();
    ASSERT_EQ(opened.file->Damage(), std::nullopt);
    ASSERT_EQ(opened.file->ItemCount(), entries);
    if (entries > 0) {
      ExpectItem(*opened.file, entries - 1);
    }
  }
  opened.file->Refresh();
  EXPECT_TRUE(opened.file->IsComplete());
  EXPECT_EQ(opened.file->Blocks().size(), 3U);
  ExpectItem(*opened.file, 8191);
  ExpectItem(*opened.file, 8192);
}

// A file whose writer goes on between any two bytes that are read, as the writer of a real one may.
class cRacingSource final : public cByteSource {
 public:
  // After every `bytesBetween` bytes read the next of `toWrite` happens.
  cRacingSource(std::vector<sWrite> toWrite, std::size_t bytesBetween)
      : writes(std::move(toWrite)), pace(bytesBetween) {
    WriteNext();
  }

  [[nodiscard]] std::optional<std::uint64_t> Size() override {
    WriteNext();
    return file.size();
  }

  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    std::size_t count = 0;
    for (; count < bytes.size() && offset + count < file.size(); ++count) {
      bytes[count] = file[static_cast<std::size_t>(offset) + count];
      if (++bytesRead % pace == 0) {
        WriteNext();
      }
    }
    return count;
  }

  [[nodiscard]] bool IsWritten() const { return next == writes.size(); }

 private:
  void WriteNext() {
    if (IsWritten()) {
      return;
    }
    WriteInto(file, writes[next], 0, writes[next].bytes.size());
    ++next;
  }

  std::vector<sWrite> writes;
  std::size_t pace;
  ByteVector file;
  std::size_t next = 0;
  std::size_t bytesRead = 0;
};

class RacingCaptureTest : public ::testing::TestWithParam<std::size_t> {};

TEST_P(RacingCaptureTest, AWriterAtWorkIsNeverTakenForDamage) {
  // Where little is written while much is read, a few items take as long as many.
  const std::uint32_t items = GetParam() < 10'000 ? 9000 : 500;
  auto owned = std::make_unique<cRacingSource>(WritesOf(items), GetParam());
  const cRacingSource& source = *owned;
  sCaptureError error;
  const auto file = cCaptureFile::Open(std::move(owned), error);
  ASSERT_NE(file, nullptr) << error.Text();
  std::uint64_t before = 0;
  for (bool written = false; !written;) {
    written = source.IsWritten();
    file->Refresh();
    ASSERT_EQ(file->Damage(), std::nullopt) << file->Damage()->Text();
    ASSERT_GE(file->ItemCount(), before);
    before = file->ItemCount();
  }
  EXPECT_TRUE(file->IsComplete());
  EXPECT_EQ(file->ItemCount(), items);
  EXPECT_EQ(file->UnclaimedBytes(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Paces, RacingCaptureTest,
                         ::testing::Values(5, 7, 49, 333, 1000, 7001, 57344, 100'003));

// Bytes that look like the end of a closed file of one item.
[[nodiscard]] ByteVector LooksClosed() {
  ByteVector bytes;
  Append(bytes, 4, 8);
  Append(bytes, kStart, 8);
  Append(bytes, 0, 8);
  Append(bytes, 1, 4);
  Append(bytes, 0xAB603107, 4);
  return bytes;
}

TEST(GrowingCaptureTest, APacketThatEndsAsATrailerDoesIsAPacket) {
  const ByteVector whole = LooksClosed();
  for (std::size_t length = 4; length <= whole.size(); ++length) {
    const ByteVector packet(whole.end() - static_cast<std::ptrdiff_t>(length), whole.end());
    const auto bytes =
        std::make_shared<ByteVector>(cCaptureBuilder().Add({1, kStart, packet, {}}).Unclosed());
    const sOpened opened = OpenBytes(bytes);
    ASSERT_NE(opened.file, nullptr);
    EXPECT_EQ(opened.file->State(), eCaptureState::Unclosed) << length;
    ASSERT_EQ(opened.file->ItemCount(), 1U);
    sCaptureItem item;
    ASSERT_EQ(opened.file->ReadItem(0, item), std::nullopt);
    EXPECT_EQ(item.bytes, packet);
    // Closed, it is complete.
    *bytes = cCaptureBuilder().Add({1, kStart, packet, {}}).Closed();
    opened.file->Refresh();
    EXPECT_TRUE(opened.file->IsComplete()) << length;
  }
}

TEST(GrowingCaptureTest, ARecordBegunThatEndsInTheTrailersNumberIsNoTrailer) {
  for (std::size_t length = 4; length < 200; ++length) {
    cCaptureBuilder builder;
    builder.Add({1, kStart, {0x42}, {}}).Add({1, kStart, {0x43}, {}});
    ByteVector bytes = builder.AddGap(length - 4).Unclosed();
    Append(bytes, 0xAB603107, 4);
    EXPECT_EQ(ErrorOf(bytes), "") << length;
    const sOpened opened = OpenBytes(std::move(bytes));
    EXPECT_EQ(opened.file->State(), eCaptureState::Unclosed) << length;
    EXPECT_EQ(opened.file->ItemCount(), 2U) << length;
  }
}

TEST(GrowingCaptureTest, ABlockBegunThatEndsInTheTrailersNumberIsNoTrailer) {
  cCaptureBuilder builder;
  builder.AddBlock(0x0C00AB603107);
  const auto bytes = std::make_shared<ByteVector>(builder.Unclosed());
  for (std::size_t length = bytes->size(); length > 57340; --length) {
    bytes->resize(length);
    const sOpened opened = OpenBytes(bytes);
    ASSERT_NE(opened.file, nullptr);
    EXPECT_EQ(opened.file->State(), eCaptureState::Unclosed) << length;
  }
}

TEST(GrowingCaptureTest, DamageThatIsGoneAtTheNextRefreshIsForgotten) {
  cCaptureBuilder builder;
  builder.Add({1, kStart, {0x42}, {}}).Add({1, kStart, {0x43}, {}});
  const auto bytes = std::make_shared<ByteVector>(builder.Unclosed());
  Put(*bytes, 4, 0, 7);
  const sOpened opened = OpenBytes(bytes);
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(opened.file->State(), eCaptureState::Damaged);
  *bytes = builder.Unclosed();
  opened.file->Refresh();
  EXPECT_EQ(opened.file->State(), eCaptureState::Unclosed);
  EXPECT_EQ(opened.file->ItemCount(), 2U);
}

TEST(GrowingCaptureTest, AFileThatBecameShorterIsDamaged) {
  cCaptureBuilder builder;
  builder.Add({1, kStart, {0x42}, {}}).Add({1, kStart, {0x43}, {}});
  const auto bytes = std::make_shared<ByteVector>(builder.Unclosed());
  const sOpened opened = OpenBytes(bytes);
  ASSERT_NE(opened.file, nullptr);
  sCaptureItem item;
  for (const std::size_t length :
       {bytes->size() - 1, std::size_t{57364}, std::size_t{100}, std::size_t{4}, std::size_t{0}}) {
    bytes->resize(length);
    opened.file->Refresh();
    EXPECT_EQ(opened.file->State(), eCaptureState::Damaged) << length;
    for (std::uint64_t number = 0; number < opened.file->ItemCount(); ++number) {
      std::ignore = opened.file->ReadItem(number, item);
    }
  }
  bytes->resize(0);
  EXPECT_EQ(opened.file->Size(), 0U);
}

TEST(GrowingCaptureTest, AClosedFileWithoutItemsThatBecameShorterIsDamaged) {
  const auto bytes = std::make_shared<ByteVector>(cCaptureBuilder().Closed());
  const sOpened opened = OpenBytes(bytes);
  ASSERT_NE(opened.file, nullptr);
  bytes->resize(2);
  opened.file->Refresh();
  ASSERT_TRUE(opened.file->Damage().has_value());
  EXPECT_EQ(opened.file->Damage()->Text(),
            "the file has become shorter than its items need, at offset 2");
}

TEST(GrowingCaptureOnDiskTest, WhatAnotherStreamWritesIsSeenAtTheNextRefresh) {
  const cTempDirectory folder;
  std::ofstream writer(folder.Path("drive.isf"), std::ios::binary | std::ios::trunc);
  std::unique_ptr<cCaptureFile> file;
  sCaptureError error;
  std::uint32_t entries = 0;
  for (const sWrite& write : WritesOf(300)) {
    writer.seekp(static_cast<std::streamoff>(write.offset));
    writer.write(reinterpret_cast<const char*>(write.bytes.data()),
                 static_cast<std::streamsize>(write.bytes.size()));
    ASSERT_TRUE(writer.flush());
    if (file == nullptr) {
      file = cCaptureFile::Open(folder.Path("drive.isf"), error);
      ASSERT_NE(file, nullptr) << error.Text();
      continue;
    }
    if (write.isEntry) {
      ++entries;
    }
    file->Refresh();
    ASSERT_EQ(file->ItemCount(), entries);
    ASSERT_EQ(file->Damage(), std::nullopt);
    if (entries > 0) {
      ExpectItem(*file, entries - 1);
    }
  }
  EXPECT_TRUE(file->IsComplete());
}

}  // namespace
}  // namespace corvane
