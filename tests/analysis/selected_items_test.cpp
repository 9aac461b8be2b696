#include "analysis/selected_items.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "reader/capture_builder.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

// An item, and what a selection can ask of it, known because it was made so.
struct sFacts {
  sBuiltItem built;
  std::optional<std::uint32_t> logCode;
  std::vector<std::uint32_t> events;
  std::optional<std::uint32_t> ssid;
  std::uint32_t levels = 0;
  std::optional<std::string> text;
  std::optional<eDirection> direction;
};

void AppendBytes(ByteVector& bytes, std::string_view text) {
  bytes.insert(bytes.end(), text.begin(), text.end());
  bytes.push_back(0);
}

// --- Items of every sort

[[nodiscard]] ByteVector LogPacket(std::uint32_t code, std::size_t size) {
  ByteVector packet = Hex("10 00");
  Append(packet, size - 4, 2);
  Append(packet, size - 4, 2);
  Append(packet, code, 2);
  packet.resize(size, 0x5A);
  return packet;
}

[[nodiscard]] sFacts Log(unsigned type, std::uint32_t code, std::size_t size = 20) {
  sFacts facts;
  facts.built = {type, 0, LogPacket(code, size), {}};
  facts.logCode = code;
  facts.direction = eDirection::FromModem;
  return facts;
}

[[nodiscard]] sFacts WrappedLog(std::uint32_t code) {
  sFacts facts = Log(1, code);
  ByteVector packet = Hex("98 01 00 00 02 00 00 00");
  packet.insert(packet.end(), facts.built.packet.begin(), facts.built.packet.end());
  facts.built.packet = packet;
  return facts;
}

[[nodiscard]] sFacts SecuredLog(std::uint32_t code) {
  sFacts facts = Log(1, code);
  facts.built.packet = ByteVector(30, 0x11);
  facts.built.packet[0] = 0x9E;
  Put(facts.built.packet, 22, code, 2);
  return facts;
}

// Single events, and a report that was not taken apart.
[[nodiscard]] sFacts Events(const std::vector<std::uint32_t>& ids) {
  sFacts facts;
  ByteVector packet = Hex("60");
  Append(packet, 10 * ids.size(), 2);
  for (const std::uint32_t id : ids) {
    Append(packet, id, 2);
    Append(packet, 0, 8);
  }
  facts.built = {ids.size() == 1 ? 4U : 1U, 0, packet, {}};
  facts.events = ids;
  facts.direction = eDirection::FromModem;
  return facts;
}

[[nodiscard]] sFacts Message(std::uint32_t ssid, std::uint32_t levels, const std::string& text) {
  sFacts facts;
  ByteVector packet = Hex("79 00 00 00");
  Append(packet, 0, 8);
  Append(packet, 17, 2);
  Append(packet, ssid, 2);
  Append(packet, levels, 4);
  AppendBytes(packet, text);
  AppendBytes(packet, "Port.c");
  facts.built = {6, 0, packet, {}};
  facts.ssid = ssid;
  facts.levels = levels;
  facts.text = text;
  facts.direction = eDirection::FromModem;
  return facts;
}

[[nodiscard]] sFacts Text(const std::string& text) {
  sFacts facts;
  facts.built = {7, 0, TextItem(text), {}};
  facts.text = text;
  return facts;
}

[[nodiscard]] sFacts Plain(unsigned type, const char* bytes, eDirection direction) {
  sFacts facts;
  facts.built = {type, 0, Hex(bytes), {}};
  facts.direction = direction;
  return facts;
}

using Random = std::mt19937;

[[nodiscard]] std::uint32_t Below(Random& random, std::uint32_t end) {
  return static_cast<std::uint32_t>(random() % end);
}

template <typename Value>
[[nodiscard]] Value OneOf(Random& random, std::initializer_list<Value> values) {
  return values.begin()[Below(random, static_cast<std::uint32_t>(values.size()))];
}

[[nodiscard]] sFacts RandomItem(Random& random) {
  const auto code = OneOf<std::uint32_t>(random, {0xB0C0, 0xB0C1, 0x412F, 0x1FEB});
  const auto event = [&random] { return OneOf<std::uint32_t>(random, {0, 256, 1606, 4095}); };
  switch (Below(random, 14)) {
    case 0:
      return Log(8, code);
    case 1:
      return Log(0, code, 12);
    case 2:
      return Plain(0, "10 00 02 00 02 00", eDirection::FromModem);  // ends before its code
    case 3:
      return WrappedLog(code);
    case 4:
      return SecuredLog(code);
    case 5:
      return Events({event()});
    case 6:
      return Events({event(), event()});
    case 7:
      return Message(OneOf<std::uint32_t>(random, {0, 5, 9501, 65535}),
                     1U << OneOf<std::uint32_t>(random, {0, 2, 3, 31}),
                     OneOf<std::string>(random, {"state 4", "Port lost", "port lost"}));
    case 8:
      return Text(OneOf<std::string>(random, {"Port COM7 connected", "Port COM9 connected",
                                              "Subscription 2", "Subscription none", "a state"}));
    case 9:
      return Plain(2, "1D", eDirection::ToModem);
    case 10:
      return Plain(10, "4B 0F 00 00", eDirection::ToModem);
    case 11:
      return Plain(9, "4B 0F 00 00 01", eDirection::FromModem);
    case 12:
      return Plain(1, "60 00 00", eDirection::FromModem);  // the short answer is no event
    default:
      return Log(5, code);
  }
}

// As the recorder's clock goes: on, and now and then back.
[[nodiscard]] std::vector<sFacts> RandomCapture(Random& random, std::size_t count) {
  std::vector<sFacts> capture;
  std::uint64_t time = kNoon;
  for (std::size_t number = 0; number < count; ++number) {
    time = Below(random, 20) == 0 ? time - Below(random, 3000) : time + Below(random, 400);
    capture.push_back(RandomItem(random));
    capture.back().built.time = number == 0 ? kNoon : time;
  }
  return capture;
}

[[nodiscard]] ByteVector BytesOf(const std::vector<sFacts>& capture) {
  cCaptureBuilder builder;
  for (const sFacts& facts : capture) {
    builder.Add(facts.built);
  }
  return builder.Closed();
}

// --- The model

[[nodiscard]] bool IsInRange(const std::vector<sNumberRange>& ranges, std::uint32_t number) {
  bool isIn = false;
  for (const sNumberRange& range : ranges) {
    isIn = isIn || (number >= range.first && number <= range.last);
  }
  return isIn;
}

[[nodiscard]] bool IsOfKind(const sFacts& facts, const sSelection& selection) {
  if (selection.types.empty() && selection.logCodes.empty() && selection.events.empty() &&
      selection.ssids.empty()) {
    return true;
  }
  bool isEvent = false;
  for (const std::uint32_t event : facts.events) {
    isEvent = isEvent || IsInRange(selection.events, event);
  }
  return isEvent || (facts.logCode && IsInRange(selection.logCodes, *facts.logCode)) ||
         (facts.ssid && IsInRange(selection.ssids, *facts.ssid)) ||
         std::count(selection.types.begin(), selection.types.end(), facts.built.type) != 0;
}

[[nodiscard]] bool HasContent(const sFacts& facts, const sSelection& selection) {
  return IsOfKind(facts, selection) &&
         (selection.levels == 0 || (facts.levels & selection.levels) != 0) &&
         (!selection.direction || facts.direction == selection.direction) &&
         (selection.contains.empty() ||
          (facts.text && facts.text->find(selection.contains) != std::string::npos));
}

[[nodiscard]] std::uint64_t BoundIn(const sSelectionBound& bound, std::uint64_t otherwise) {
  if (bound.time) {
    return *bound.time;
  }
  if (bound.sinceStart) {
    return kNoon + *bound.sinceStart;
  }
  // kNoon is twelve hours behind midnight.
  return bound.timeOfDay ? kNoon - 43'200'000 + *bound.timeOfDay : otherwise;
}

[[nodiscard]] std::vector<std::uint64_t> Expected(const std::vector<sFacts>& capture,
                                                  const sSelection& selection) {
  std::vector<std::uint64_t> numbers;
  std::uint64_t last = BoundIn(selection.to, UINT64_MAX);
  if (selection.from.timeOfDay &&
      selection.to.timeOfDay.value_or(UINT64_MAX) < *selection.from.timeOfDay) {
    last += 86'400'000;  // over midnight
  }
  for (std::uint64_t number = 0; number < capture.size(); ++number) {
    const sFacts& facts = capture[number];
    if (number >= selection.from.number.value_or(0) &&
        number <= selection.to.number.value_or(UINT64_MAX) &&
        facts.built.time >= BoundIn(selection.from, 0) && facts.built.time <= last &&
        HasContent(facts, selection) != selection.invert) {
      numbers.push_back(number);
    }
  }
  return numbers;
}

// --- Selections

[[nodiscard]] sSelectionBound RandomBound(Random& random, std::uint32_t items) {
  sSelectionBound bound;
  switch (Below(random, 8)) {
    case 0:
      bound.number = Below(random, items + 2);
      break;
    case 1:
      bound.time = kNoon + Below(random, items * 200);
      break;
    case 2:
      bound.sinceStart = Below(random, items * 200);
      break;
    case 3:
      bound.timeOfDay = 43'200'000 + Below(random, items * 200);
      break;
    default:
      break;
  }
  return bound;
}

[[nodiscard]] sSelection RandomSelection(Random& random, std::uint32_t items) {
  sSelection selection;
  const auto sometimes = [&random] { return Below(random, 3) == 0; };
  while (sometimes()) {
    selection.types.push_back(Below(random, 12));
  }
  if (sometimes()) {
    selection.logCodes = {{0xB0C0, OneOf<std::uint32_t>(random, {0xB0C0, 0xB0FF})},
                          {0x412F, 0x412F}};
  }
  if (sometimes()) {
    selection.events = {{OneOf<std::uint32_t>(random, {0, 1606}), 1700}};
  }
  if (sometimes()) {
    selection.ssids = {{5, OneOf<std::uint32_t>(random, {5, 65535})}};
  }
  if (Below(random, 8) == 0) {
    selection.levels = OneOf<std::uint32_t>(random, {8, 5, 0x8000'0000});
  }
  if (Below(random, 6) == 0) {
    selection.direction = OneOf(random, {eDirection::FromModem, eDirection::ToModem});
  }
  if (Below(random, 8) == 0) {
    selection.contains = OneOf<std::string>(random, {"Port", "state", "nowhere"});
  }
  selection.invert = sometimes();
  selection.from = RandomBound(random, items);
  selection.to = RandomBound(random, items);
  return selection;
}

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

}  // namespace
}  // namespace corvane
