#include "analysis/selected_items.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "analysis/selection_model.h"
#include "reader/capture_builder.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

[[nodiscard]] std::vector<std::uint64_t> Selected(cSelectedItems& items) {
  std::vector<std::uint64_t> numbers;
  while (items.Next()) {
    numbers.push_back(items.Current().Item().number);
  }
  return numbers;
}

[[nodiscard]] std::vector<std::uint64_t> SelectedOf(const std::vector<sFacts>& capture,
                                                    const sSelection& selection) {
  const sOpened opened = OpenBytes(BytesOf(capture));
  cSelectedItems items(*opened.file, selection);
  return Selected(items);
}

constexpr std::uint32_t kItems = 60;

class SelectedItemsTest : public ::testing::Test {
 protected:
  Random random{20'240'517};
};

TEST_F(SelectedItemsTest, RandomSelectionsAreThoseOfAPlainModel) {
  std::size_t found = 0;
  for (int round = 0; round < 60; ++round) {
    const std::vector<sFacts> capture = RandomCapture(random, kItems);
    const sOpened opened = OpenBytes(BytesOf(capture));
    ASSERT_TRUE(opened.file->IsComplete());
    for (int selections = 0; selections < 50; ++selections) {
      const sSelection selection = RandomSelection(random, kItems);
      const std::vector<std::uint64_t> expected = Expected(capture, selection);
      cSelectedItems items(*opened.file, selection);
      ASSERT_EQ(Selected(items), expected);
      EXPECT_EQ(items.Outcome().selected, expected.size());
      EXPECT_EQ(cSelectedItems(*opened.file, selection).CountRest(), expected.size());
      found += expected.size();
    }
  }
  // Neither all nor nothing: the comparison is of something.
  EXPECT_GT(found, 3000U * kItems / 20);
  EXPECT_LT(found, 3000U * kItems / 2);
}

TEST_F(SelectedItemsTest, TheLastOnesBeginWhereTheModelHasThem) {
  std::vector<sFacts> capture;
  while (capture.size() < 20'000) {  // three blocks
    const std::vector<sFacts> piece = RandomCapture(random, 500);
    capture.insert(capture.end(), piece.begin(), piece.end());
  }
  const sOpened opened = OpenBytes(BytesOf(capture));
  for (int round = 0; round < 40; ++round) {
    const sSelection selection = RandomSelection(random, 20'000);
    const std::vector<std::uint64_t> all = Expected(capture, selection);
    for (const std::size_t count : {std::size_t{1}, std::size_t{7}, all.size(), all.size() + 1}) {
      std::optional<std::uint64_t> expected;
      if (count != 0 && count <= all.size()) {
        expected = all[all.size() - count];
      }
      if (count != 0) {
        EXPECT_EQ(FindLast(*opened.file, selection, count), expected);
      }
    }
  }
}

TEST_F(SelectedItemsTest, EachItemHasTheSourceThatTextsInFrontTell) {
  std::vector<sFacts> capture;
  for (const char* text :
       {"Imported from a.hdlc", "Port COM7 connected", "Subscription 2", "a state",
        "Port COM7 connected", "Port COM9 connected", "Subscription 1"}) {
    capture.push_back(Text(text));
    capture.push_back(Plain(2, "1D", eDirection::ToModem));
  }
  const sOpened opened = OpenBytes(BytesOf(capture));
  for (std::uint64_t from = 0; from < capture.size(); ++from) {
    sSelection selection;
    selection.types = {2};
    selection.from.number = from;
    cSelectedItems items(*opened.file, selection);
    std::vector<std::string> passed;
    items.TellPassed(
        [&passed](const sCaptureItem& item) { passed.push_back(DescribeItem(item).text); });
    const std::vector<sSource> sources = {{"a.hdlc", std::nullopt, true},
                                          {"COM7", std::nullopt},
                                          {"COM7", 2},
                                          {"COM7", 2},
                                          {"COM7", 2},
                                          {"COM9", std::nullopt},
                                          {"COM9", 1}};
    while (items.Next()) {
      EXPECT_EQ(items.Current().Source(), sources[items.Current().Item().number / 2]);
    }
    EXPECT_EQ(passed.size(), 7U);
    EXPECT_EQ(passed.front(), "Imported from a.hdlc");
  }
}

TEST_F(SelectedItemsTest, SelectedTextsAreNotPassedOver) {
  const sOpened opened = OpenBytes(BytesOf({Text("one"), Text("two"), Text("three")}));
  sSelection selection;
  selection.contains = "t";
  cSelectedItems items(*opened.file, selection);
  std::vector<std::string> passed;
  items.TellPassed(
      [&passed](const sCaptureItem& item) { passed.push_back(DescribeItem(item).text); });
  EXPECT_EQ(Selected(items), (std::vector<std::uint64_t>{1, 2}));
  EXPECT_EQ(passed, std::vector<std::string>{"one"});
}

TEST_F(SelectedItemsTest, BoundsThatCrossSelectNothingAndAreTold) {
  const std::vector<sFacts> capture = RandomCapture(random, 10);
  const sOpened opened = OpenBytes(BytesOf(capture));
  sSelection selection;
  selection.from.number = 5;
  selection.to.number = 4;
  cSelectedItems numbers(*opened.file, selection);
  EXPECT_FALSE(numbers.Next());
  EXPECT_TRUE(numbers.Outcome().isCrossed);
  selection.from = {};
  selection.to = {};
  selection.from.sinceStart = 1000;
  selection.to.timeOfDay = 43'200'999;
  cSelectedItems times(*opened.file, selection);
  EXPECT_EQ(times.CountRest(), 0U);
  EXPECT_TRUE(times.Outcome().isCrossed);
  selection.to.timeOfDay = 43'201'000;
  EXPECT_FALSE(cSelectedItems(*opened.file, selection).Outcome().isCrossed);
}

TEST_F(SelectedItemsTest, TimesOfDayGoOverMidnight) {
  constexpr std::uint64_t kMidnight = kNoon + 43'200'000;
  cCaptureBuilder builder;
  for (const std::int64_t seconds : {-60, -10, 0, 5, 20}) {
    builder.Add({2, kMidnight + static_cast<std::uint64_t>(seconds * 1000), Hex("1D"), {}});
  }
  const sOpened opened = OpenBytes(builder.Closed());
  sSelection selection;
  selection.from.timeOfDay = 86'370'000;  // 23:59:30
  selection.to.timeOfDay = 10'000;
  EXPECT_EQ(cSelectedItems(*opened.file, selection).CountRest(), 3U);
  // The same on clocks of other zones, where all of it is one day.
  for (const std::int64_t hours : {1, -23}) {
    selection.from.clockAhead = hours * 3'600'000;
    selection.to.clockAhead = hours * 3'600'000;
    selection.from.timeOfDay = 3'570'000;
    selection.to.timeOfDay = 3'610'000;
    EXPECT_EQ(cSelectedItems(*opened.file, selection).CountRest(), 3U) << hours;
  }
  // Without an earlier one it is a time of the first item's day.
  selection.to = {};
  selection.from.clockAhead = 0;
  selection.from.timeOfDay = 0;
  EXPECT_EQ(cSelectedItems(*opened.file, selection).CountRest(), 5U);
}

TEST_F(SelectedItemsTest, OnlyASelectionOfEverythingIsNotChoosy) {
  const sOpened opened = OpenBytes(BytesOf({}));
  EXPECT_FALSE(cSelectedItems(*opened.file, {}).Outcome().isChoosy);
  for (int round = 0; round < 200; ++round) {
    const sSelection selection = RandomSelection(random, 10);
    if (!selection.IsEverything()) {
      EXPECT_TRUE(cSelectedItems(*opened.file, selection).Outcome().isChoosy);
    }
  }
  sSelection selection;
  selection.to.timeOfDay = 0;
  EXPECT_FALSE(selection.IsEverything());
}

TEST_F(SelectedItemsTest, AnItemThatCannotBeReadIsPassedOverAndKept) {
  cCaptureBuilder builder;
  builder.Add({2, kNoon, Hex("1D"), {}});
  builder.AddRaw(2 + 3 * 32, 1, Hex("FF FF FF FF FF FF FF FF 1D"));
  builder.Add({1, kNoon, Hex("1D 01"), {}});
  const sOpened opened = OpenBytes(builder.Unclosed());
  cSelectedItems all(*opened.file, {});
  EXPECT_EQ(Selected(all), (std::vector<std::uint64_t>{0, 2}));
  ASSERT_TRUE(all.Unreadable());
  EXPECT_EQ(all.Unreadable()->Text(),
            "the time of item 1 is later than any clock can be, at offset 57366");
  sSelection others;
  others.types = {1};
  cSelectedItems unread(*opened.file, others);
  EXPECT_EQ(Selected(unread), std::vector<std::uint64_t>{2});
  EXPECT_FALSE(unread.Unreadable());
}

// A file that may not be read any more.
class cCountingSource final : public cByteSource {
 public:
  explicit cCountingSource(ByteVector content) : bytes(std::move(content)) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return bytes.size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> wanted) override {
    const std::size_t end = std::min<std::uint64_t>(bytes.size(), offset + wanted.size());
    const std::size_t count = offset < end ? end - static_cast<std::size_t>(offset) : 0;
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), count, wanted.begin());
    *read += count;
    return count;
  }

  std::shared_ptr<std::uint64_t> read = std::make_shared<std::uint64_t>(0);

 private:
  ByteVector bytes;
};

TEST_F(SelectedItemsTest, CountingByTypeReadsDirectoriesOnly) {
  cCaptureBuilder builder;
  for (int number = 0; number < 5000; ++number) {
    builder.Add({1, kNoon, ByteVector(1000, 0x1D), {}});
    builder.Add({2, kNoon, ByteVector(1000, 0x1D), {}});
  }
  auto source = std::make_unique<cCountingSource>(builder.Closed());
  const std::shared_ptr<std::uint64_t> read = source->read;
  sCaptureError error;
  const auto file = cCaptureFile::Open(std::move(source), error, eCheck::Directories);
  sSelection selection;
  selection.types = {2};
  selection.invert = true;
  *read = 0;
  EXPECT_EQ(cSelectedItems(*file, selection).CountRest(), 5000U);
  EXPECT_LE(*read, 2U * 57'360);
  selection.from.time = kNoon;
  EXPECT_EQ(cSelectedItems(*file, selection).CountRest(), 5000U);
  EXPECT_GT(*read, 5000U * 1000);
}

TEST_F(SelectedItemsTest, AGrowingCaptureIsSelectedFromAlike) {
  const cTempDirectory folder;
  for (int round = 0; round < 8; ++round) {
    const std::vector<sFacts> capture = RandomCapture(random, kItems);
    const sSelection selection = RandomSelection(random, kItems);
    cCaptureBuilder builder;
    std::vector<std::uint64_t> numbers;
    cItemFollower follower(folder.Write("drive.isf", builder.Unclosed()));
    cSelectedFollower items(follower, selection);
    std::size_t builtItems = 0;
    for (const sFacts& facts : capture) {
      builder.Add(facts.built);
      if (builtItems++ % 10 != 9) {
        continue;
      }
      std::ignore = folder.Write("drive.isf", builder.Unclosed());
      ASSERT_EQ(follower.Look(), eFollowing::Going);
      while (items.Next()) {
        numbers.push_back(items.Current().Item().number);
      }
    }
    EXPECT_EQ(numbers, Expected(capture, selection));
    EXPECT_EQ(numbers, SelectedOf(capture, selection));
    EXPECT_EQ(items.IsPastEnd(),
              items.Outcome().isCrossed || selection.to.number.value_or(UINT64_MAX) < kItems);
    EXPECT_EQ(items.Outcome().selected, numbers.size());
  }
}

TEST_F(SelectedItemsTest, ASearchIsToldOfSoManyItemsThatWerePassedOver) {
  cCaptureBuilder builder;
  builder.Add({2, kNoon, {0x1D}, {}});
  for (int number = 0; number < 10'000; ++number) {
    builder.Add({1, kNoon, {0x1D}, {}});
  }
  const sOpened opened = OpenBytes(builder.Closed());
  sSelection selection;
  selection.types = {2};
  for (const bool isRead : {true, false}) {
    cSelectedItems items(*opened.file, selection);
    std::vector<std::uint64_t> told;
    items.TellSearch([&told](std::uint64_t number) { told.push_back(number); });
    EXPECT_TRUE(isRead ? items.Next() : items.Skip() == 0U);
    EXPECT_FALSE(isRead ? items.Next() : items.Skip().has_value());
    // Item 1 was the first of them.
    EXPECT_EQ(told, (std::vector<std::uint64_t>{4096, 8192}));
  }
}

TEST_F(SelectedItemsTest, TextsOfAGrowingCaptureThatArePassedOverAreTold) {
  cCaptureBuilder builder;
  for (const std::uint32_t type : {7U, 1U, 7U, 2U}) {
    builder.Add({type, kNoon, type == 7U ? TextItem("Port COM7 connected") : Hex("1D"), {}});
  }
  const cTempDirectory folder;
  cItemFollower follower(folder.Write("drive.isf", builder.Unclosed()));
  sSelection selection;
  selection.types = {2};
  cSelectedFollower items(follower, selection);
  std::vector<std::uint64_t> told;
  items.TellPassed([&told](const sCaptureItem& text) { told.push_back(text.number); });
  ASSERT_EQ(follower.Look(), eFollowing::Going);
  EXPECT_TRUE(items.Next());
  EXPECT_EQ(told, (std::vector<std::uint64_t>{0, 2}));
}

}  // namespace
}  // namespace corvane
