// Recovery from captures that were cut off or overwritten in every place.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <sstream>

#include "rewrite/capture_writer.h"
#include "rewrite/real_capture.h"
#include "rewrite/recovery.h"
#include "support/bytes_source.h"
#include "support/capture_decoder.h"

namespace corvane {
namespace {

struct sKept {
  std::uint32_t type = 0;
  std::uint64_t time = 0;
  std::optional<std::uint32_t> extra;
  ByteVector packet;
  std::uint64_t offset = 0;  // of the record

  friend bool operator==(const sKept&, const sKept&) = default;
};

std::ostream& operator<<(std::ostream& out, const sKept& item) {
  return out << "item of type " << item.type << " at " << item.offset << ", time " << item.time
             << ", " << item.packet.size() << " bytes, extra " << item.extra.value_or(0);
}

// An item of the undamaged file, and which bytes of the file make it.
struct sOriginal {
  sKept item;
  std::uint64_t entry = 0;     // file position of its directory entry
  std::uint64_t baseTime = 0;  // and of its block's base time
  std::uint64_t recordEnd = 0;
};

[[nodiscard]] std::vector<sOriginal> OriginalsOf(const ByteVector& file) {
  std::vector<sOriginal> originals;
  for (const sDecodedBlock& block : DecodeCapture(file).blocks) {
    std::uint64_t entry = block.position;
    for (const sDecodedItem& item : block.items) {
      originals.push_back({{item.type, item.time, item.extra, item.packet, item.position},
                           entry,
                           block.position + 57'352,
                           item.end});
      entry += 7;
    }
  }
  return originals;
}

struct sOutcome {
  std::vector<sKept> items;
  sRecoveryReport report;
};

[[nodiscard]] sOutcome Recover(const ByteVector& file) {
  sOutcome outcome;
  cBytesSource source(file);
  outcome.report = RecoverCapture(source, [&outcome](const sRecoveredItem& item) {
    outcome.items.push_back({item.head.type,
                             item.head.time,
                             item.head.extra,
                             {item.packet.begin(), item.packet.end()},
                             item.offset});
    return true;
  });
  EXPECT_EQ(outcome.report.items, outcome.items.size());
  return outcome;
}

// Wherever their records are.
[[nodiscard]] bool IsSameItem(const sKept& one, const sKept& other) {
  return one.type == other.type && one.time == other.time && one.extra == other.extra &&
         one.packet == other.packet;
}

// What is written of them is complete.
void ExpectComplete(const std::vector<sKept>& items) {
  std::stringstream stream;
  cCaptureWriter writer(stream);
  for (const sKept& item : items) {
    ASSERT_TRUE(writer.Add({item.type, item.time, item.extra}, item.packet)) << item;
  }
  ASSERT_TRUE(writer.Finish());
  const std::string text = stream.str();
  const sOpened opened = OpenBytes(ByteVector(text.begin(), text.end()));
  ASSERT_NE(opened.file, nullptr);
  ASSERT_TRUE(opened.file->IsComplete()) << opened.file->Damage()->Text();
  ASSERT_EQ(opened.file->ItemCount(), items.size());
}

// Bytes of a file that are no longer what they were.
struct sWounds {
  std::uint64_t first = 0;
  std::uint64_t end = 0;

  [[nodiscard]] bool Touch(std::uint64_t from, std::uint64_t to) const {
    return first < to && from < end;
  }
};

[[nodiscard]] bool IsRequestOrReply(std::uint32_t type) {
  return type == 1 || type == 2 || type == 9 || type == 10;
}

class cSweep {
 public:
  explicit cSweep(ByteVector intact) : file(std::move(intact)), originals(OriginalsOf(file)) {}

  [[nodiscard]] std::size_t Size() const { return file.size(); }

  // Recovers what is left of the file after the damage, and compares it with what was there.
  // `mayBe` names the bytes that were touched.
  void Check(const ByteVector& damaged, const std::vector<sWounds>& wounds) {
    const sOutcome outcome = Recover(damaged);
    const auto isTouched = [&wounds](std::uint64_t from, std::uint64_t to) {
      return std::any_of(wounds.begin(), wounds.end(),
                         [=](const sWounds& wound) { return wound.Touch(from, to); });
    };
    auto found = outcome.items.begin();
    for (const sOriginal& original : originals) {
      while (found != outcome.items.end() && found->offset < original.item.offset) {
        ADD_FAILURE() << "made up: " << *found;
        ++found;
      }
      const bool isThere = found != outcome.items.end() && found->offset == original.item.offset;
      const bool isRecordTouched = isTouched(original.item.offset, original.recordEnd);
      const bool isEntryTouched = isTouched(original.entry, original.entry + 7);
      if (!isRecordTouched && !isEntryTouched) {
        EXPECT_TRUE(isThere) << "missing: " << original.item;
      }
      if (isThere) {
        if (!isRecordTouched) {
          sKept expected = original.item;
          // Requests and replies look alike: only the entry tells which one it is.
          // A closed file may have any type that there is.
          if (isTouched(original.entry, original.entry + 1) &&
              (IsRequestOrReply(expected.type) ||
               outcome.report.state == eCaptureState::Complete)) {
            expected.type = found->type;
          }
          // Nothing may tell which of two base times is the right one; that is told.
          if ((isTimeLost || outcome.report.losses.Count() != 0) &&
              isTouched(original.baseTime, original.baseTime + 8)) {
            expected.time = found->time;
          }
          EXPECT_TRUE(*found == expected) << *found << ", but was: " << original.item;
        }
        lostEntryKept += isEntryTouched ? 1 : 0;
        ++found;
      } else {
        lost += 1;
        // What is lost is told.
        EXPECT_GT(outcome.report.losses.Count(), 0U) << original.item;
      }
    }
    EXPECT_EQ(found, outcome.items.end()) << "made up: " << *found;
    if (outcome.items != lastWritten) {
      ExpectComplete(outcome.items);
      lastWritten = outcome.items;
    }
    ++checks;
  }

  // The same after a stretch was overwritten with another one of the file, in which the items of
  // that may be found as well. No two items of the file have the same time.
  void CheckCopied(const ByteVector& damaged, const sWounds& wound) {
    const std::vector<sKept> items = Recover(damaged).items;
    ExpectComplete(items);
    std::multimap<std::uint64_t, const sKept*> found;
    for (const sKept& item : items) {
      found.emplace(item.time, &item);
    }
    std::size_t same = 0;
    std::size_t overwritten = 0;
    for (const sOriginal& original : originals) {
      const auto [first, last] = found.equal_range(original.item.time);
      const bool isThere = std::any_of(first, last, [&original](const auto& item) {
        return IsSameItem(*item.second, original.item);
      });
      const bool isTouched = wound.Touch(original.item.offset, original.recordEnd) ||
                             wound.Touch(original.entry, original.entry + 7);
      same += isThere ? 1 : 0;
      overwritten += isTouched && !isThere ? 1 : 0;
      EXPECT_TRUE(isThere || isTouched) << "missing: " << original.item;
    }
    // Records that were overwritten may look whole, or be taken for another sort.
    EXPECT_LE(items.size(), same + overwritten) << "something was made up";
  }

  void Overwrite(std::size_t place, std::uint8_t value) {
    if (file[place] == value) {
      return;
    }
    SCOPED_TRACE("byte " + std::to_string(place) + " becomes " + std::to_string(value));
    const std::uint8_t was = std::exchange(file[place], value);
    ByteVector damaged = file;
    file[place] = was;
    Check(damaged, {{place, place + 1}});
  }

  ByteVector file;
  std::vector<sOriginal> originals;
  bool isTimeLost = false;  // the base time stands nowhere else
  std::uint64_t lost = 0;
  std::uint64_t lostEntryKept = 0;
  std::uint64_t checks = 0;

 private:
  std::vector<sKept> lastWritten;
};

[[nodiscard]] bool IsLong() { return std::getenv("CORVANE_LONG_SWEEP") != nullptr; }

// Behind the used entries of a directory nearly all places are alike.
constexpr std::size_t kUsed = 4 + 7 * 40;
constexpr std::size_t kLastEntries = 4 + 57'344 - 14;
[[nodiscard]] bool IsInUnusedPart(std::size_t place) {
  return place > kUsed && place < kLastEntries;
}

// The unused part is looked at in places, unless there is much time.
[[nodiscard]] std::size_t NextPlace(std::size_t place) {
  return !IsLong() && IsInUnusedPart(place) ? std::min(place + 509, kLastEntries) : place + 1;
}

// What a disk loses at once.
constexpr std::size_t kSector = 512;

TEST(RecoverySweepTest, AnySectorOverwrittenCostsNoIntactItem) {
  std::mt19937 random(512);
  const auto anyByte = [&random] { return static_cast<std::uint8_t>(random() % 256); };
  // One block, and two of which the first is full.
  for (const auto& items : {RealItems(), ManyRealItems(8192 + 100)}) {
    for (const bool isClosed : {true, false}) {
      const cCaptureBuilder builder = BuildItems(items);
      cSweep sweep(isClosed ? builder.Closed() : builder.Unclosed());
      sweep.isTimeLost = !isClosed;
      // Of a large capture few sectors are looked at, unless there is much time: one of
      // which is that with the first block's link and base time.
      const std::size_t step = IsLong() || items.size() < 100 ? kSector : 56 * kSector;
      for (std::size_t first = 0; first < sweep.Size(); first += step) {
        const std::size_t end = std::min(first + kSector, sweep.Size());
        SCOPED_TRACE("sector at " + std::to_string(first) + (isClosed ? ", closed" : ""));
        ByteVector damaged = sweep.file;
        Fill(damaged, first, end, 0);
        sweep.Check(damaged, {{first, end}});
        std::generate(damaged.begin() + static_cast<std::ptrdiff_t>(first),
                      damaged.begin() + static_cast<std::ptrdiff_t>(end), anyByte);
        sweep.Check(damaged, {{first, end}});
        if (::testing::Test::HasFailure() && !IsLong()) {
          return;
        }
      }
    }
  }
}

TEST(RecoverySweepTest, ASectorCopiedOverAnotherCostsNoIntactItem) {
  std::mt19937 random(513);
  for (const auto& items : {ManyRealItems(300), ManyRealItems(8192 + 100)}) {
    for (const bool isClosed : {true, false}) {
      const cCaptureBuilder builder = BuildItems(items);
      cSweep sweep(isClosed ? builder.Closed() : builder.Unclosed());
      const auto copied = [&](std::size_t from, std::size_t to) {
        SCOPED_TRACE("sector at " + std::to_string(from) + " copied to " + std::to_string(to) +
                     (isClosed ? ", closed" : ""));
        ByteVector damaged = sweep.file;
        const std::size_t end = std::min(to + kSector, sweep.Size());
        const sWounds wound{to, end};
        if (!isClosed && std::any_of(sweep.originals.begin(), sweep.originals.end(),
                                     [&wound](const sOriginal& original) {
                                       return wound.Touch(original.baseTime, original.baseTime + 8);
                                     })) {
          return;  // the base time stands nowhere else
        }
        std::copy_n(sweep.file.begin() + static_cast<std::ptrdiff_t>(from), end - to,
                    damaged.begin() + static_cast<std::ptrdiff_t>(to));
        sweep.CheckCopied(damaged, wound);
      };
      const std::size_t sectors = sweep.Size() / kSector;
      const std::size_t step = IsLong() ? 1 : items.size() < 1000 ? 7 : 97;
      for (std::size_t to = 113 % step; to < sectors; to += step) {
        // The next one, and any.
        copied(std::min(to + 1, sectors - 1) * kSector, to * kSector);
        copied(random() % sectors * kSector, to * kSector);
        if (::testing::Test::HasFailure() && !IsLong()) {
          return;
        }
      }
    }
  }
}

TEST(RecoverySweepTest, ACaptureCutOffAnywhereKeepsItsWholeItems) {
  for (const bool isClosed : {true, false}) {
    const cCaptureBuilder builder = BuildItems(RealItems());
    cSweep sweep(isClosed ? builder.Closed() : builder.Unclosed());
    for (std::size_t size = 0; size < sweep.Size(); size = NextPlace(size)) {
      SCOPED_TRACE("cut off at " + std::to_string(size));
      ByteVector cut = sweep.file;
      cut.resize(size);
      if (size < 57'364) {
        EXPECT_EQ(Recover(cut).items.size(), 0U);
        continue;
      }
      sweep.Check(cut, {{size, sweep.Size()}});
      if (::testing::Test::HasFailure()) {
        return;
      }
    }
  }
}

TEST(RecoverySweepTest, ASecondBlockThatIsCutOffIsALoss) {
  const cCaptureBuilder builder = BuildItems(ManyRealItems(8192 + 100));
  cSweep sweep(builder.Closed());
  const std::size_t block = OpenBytes(sweep.file).file->Blocks()[1].offset;
  // Within its directory, its used part and the rest; its link and base time; its records.
  for (const std::size_t size :
       {block, block + 1, block + 7, block + 350, block + 700, block + 701, block + 57'343,
        block + 57'344, block + 57'359, block + 57'360, block + 57'361, block + 60'000}) {
    SCOPED_TRACE("cut off at " + std::to_string(size));
    ByteVector cut = sweep.file;
    cut.resize(size);
    sweep.Check(cut, {{size, sweep.Size()}});
  }
  ByteVector cut = sweep.file;
  cut.resize(block + 350);
  const sRecoveryReport report = Recover(cut).report;
  EXPECT_THAT(TextsOf(report.losses),
              ::testing::ElementsAre("the block at offset " + std::to_string(block) +
                                     " is cut off: its items (50 used entries seen) are lost, "
                                     "at offset " +
                                     std::to_string(block)));
  EXPECT_EQ(report.lostItems, 50U);
  EXPECT_EQ(report.lostBytes, 350U);
}

TEST(RecoverySweepTest, ABlockThatIsNotLinkedYetIsNoLoss) {
  const cCaptureBuilder builder = BuildItems(ManyRealItems(8192));
  for (const std::size_t begun : {std::size_t{1}, std::size_t{4096}, std::size_t{57'359}}) {
    ByteVector file = builder.Unclosed();
    file.resize(file.size() + begun);
    const sOutcome outcome = Recover(file);
    EXPECT_EQ(outcome.items.size(), 8192U);
    EXPECT_EQ(outcome.report.losses.Count(), 0U) << begun;
    EXPECT_EQ(outcome.report.unfinishedBytes, begun);
  }
}

TEST(RecoverySweepTest, AnyByteOverwrittenCostsNoIntactItem) {
  for (const bool isClosed : {true, false}) {
    const cCaptureBuilder builder = BuildItems(RealItems());
    cSweep sweep(isClosed ? builder.Closed() : builder.Unclosed());
    sweep.isTimeLost = !isClosed;
    for (std::size_t place = 0; place < sweep.Size(); place = NextPlace(place)) {
      const std::uint8_t was = sweep.file[place];
      sweep.Overwrite(place, 0x00);
      sweep.Overwrite(place, 0xFF);
      for (unsigned bit = 0; bit < 8; ++bit) {
        if ((IsLong() && !IsInUnusedPart(place)) || bit == place % 8) {
          sweep.Overwrite(place, static_cast<std::uint8_t>(was ^ 1u << bit));
        }
      }
      if (::testing::Test::HasFailure() && !IsLong()) {
        return;
      }
    }
    // Nearly all of what was not overwritten itself is found.
    EXPECT_LT(sweep.lost * 50, sweep.checks);
    if (IsLong()) {
      std::cout << sweep.checks << " checks, " << sweep.lost << " items lost, "
                << sweep.lostEntryKept << " kept with wrong entries\n";
    }
  }
}

// Damage in places that random numbers choose, most of them in what is in use.
class RandomDamageTest : public ::testing::TestWithParam<std::uint32_t> {
 protected:
  [[nodiscard]] std::uint64_t Below(std::uint64_t limit) { return random() % limit; }

  std::mt19937 random{GetParam()};
};

TEST_P(RandomDamageTest, WhatIsRecoveredIsCompleteAndWasThere) {
  const cCaptureBuilder builder = BuildItems(RealItems());
  const bool isClosed = Below(2) == 0;
  cSweep sweep(isClosed ? builder.Closed() : builder.Unclosed());
  const std::size_t records = 57'364;
  for (int round = 0; round < 40; ++round) {
    ByteVector damaged = sweep.file;
    for (std::uint64_t wounds = 1 + Below(6); wounds > 0; --wounds) {
      const bool isInRecords = Below(2) == 0;
      const std::uint64_t place =
          isInRecords ? records + Below(sweep.Size() - records) : Below(7 * 26);
      const std::uint64_t length = Below(3) == 0 ? 1 + Below(60) : 1;
      for (std::uint64_t at = place; at < std::min<std::uint64_t>(place + length, sweep.Size());
           ++at) {
        damaged[at] = static_cast<std::uint8_t>(Below(3) == 0 ? 0 : Below(256));
      }
    }
    if (Below(4) == 0) {
      damaged.resize(records + Below(sweep.Size() - records));
    }
    const sOutcome outcome = Recover(damaged);
    ExpectComplete(outcome.items);
    // Each lies in the file, and none in another.
    std::uint64_t end = 0;
    for (const sKept& item : outcome.items) {
      EXPECT_GE(item.offset, end);
      end = item.offset + 1 + item.packet.size();
      EXPECT_LE(end, damaged.size());
    }
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomDamageTest, ::testing::Range(1U, 11U));

}  // namespace
}  // namespace corvane
