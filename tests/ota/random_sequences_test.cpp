#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "ota/bits.h"
#include "ota/dispatcher.h"
#include "ota/ota_messages.h"
#include "ota/random_messages.h"
#include "ota/sib_model.h"

namespace corvane {
namespace {

constexpr int kSequences = 3000;
constexpr unsigned kMostMessages = 70;  // in a sequence, 35 on average
constexpr int kLeastMessages = 100'000;

// A new seed for each run; CORVANE_TEST_SEED repeats one.
std::uint64_t Seed() {
  const char* wanted = std::getenv("CORVANE_TEST_SEED");
  if (wanted != nullptr) {
    return std::strtoull(wanted, nullptr, 10);
  }
  std::random_device device;
  return std::uint64_t{device()} << 32 | device();
}

// One map under test beside its model.
class cComparison {
 public:
  explicit cComparison(cSibModel& counted) : model(counted) {
    model.blocks.clear();
    model.touched.clear();
  }

  void Insert(const BlockKey& key, const sBlock& block) {
    model.blocks[key] = block;
    InsertBlock(map, key, block);
  }

  // The packet's way, with the choice read from the message.
  void SendPacket(const ByteVector& packet, std::uint64_t timestamp) {
    const Packets expected = model.Decode(packet, timestamp);
    ASSERT_EQ(BytesOf(DecodeOtaPacket(map, *Item(packet), timestamp)), expected) << BitsOf(packet);
    CompareTouched();
  }

  // Straight to the choice's decoder, so that messages may end at any bit.
  void SendMessage(const sRandomMessage& message, std::uint64_t timestamp) {
    const ByteVector bytes = BytesOf(message.bits);
    const sOtaPacket packet{.channel = message.channel,
                            .rbId = message.rbId,
                            .message = bytes.data(),
                            .bitCount = static_cast<std::uint32_t>(message.bits.size())};
    const Packets expected =
        model.DecodeMessage(message.choice, message.channel, message.rbId, message.bits, timestamp);
    ASSERT_EQ(BytesOf(DecodeSystemInformation(message.choice, map, packet, timestamp)), expected)
        << message.bits;
    CompareTouched();
  }

  void CompareAll() const { ASSERT_EQ(BlocksOf(map), model.blocks); }

 private:
  void CompareTouched() const {
    ASSERT_EQ(map.size(), model.blocks.size());
    for (const BlockKey& key : model.touched) {
      const auto [marker, rbId, sibType] = key;
      const auto entry = map.find(
          sSibKey{marker, static_cast<std::uint8_t>(rbId), static_cast<std::uint8_t>(sibType)});
      const auto expected = model.blocks.find(key);
      ASSERT_EQ(entry == map.end(), expected == model.blocks.end());
      if (entry == map.end()) {
        continue;
      }
      ASSERT_EQ(BlockOf(key, entry->second), expected->second);
    }
  }

  cSibModel& model;
  SibAssemblyMap map;
};

// Everything that can become of a piece, for each choice that has it.
std::vector<std::string> AllOutcomes() {
  const std::vector<std::string> ofFirst = {"header cut", "data cut", "complete", "stored",
                                            "replaced"};
  const std::vector<std::string> ofLast = {"header cut", "no block", "out of order", "data cut",
                                           "no room",    "appended", "completed"};
  std::vector<std::string> all = {
      "2 subsequent: type cut",     "2 subsequent: no block",  "2 subsequent: index cut",
      "2 subsequent: out of order", "2 subsequent: data cut",  "2 subsequent: no room",
      "2 subsequent: appended",     "2 subsequent: completed", "3 last: type cut",
      "10 last: type cut",          "9 single: type cut",      "9 single: data cut",
      "9 single: complete"};
  for (const char* choice : {"1", "4", "6", "8"}) {
    for (const std::string& outcome : ofFirst) {
      all.push_back(choice + std::string(" first: ") + outcome);
    }
  }
  for (const char* choice : {"4", "6", "8"}) {
    all.push_back(choice + std::string(" first: no data"));
  }
  for (const char* choice : {"3", "4", "5", "6", "10"}) {
    for (const std::string& outcome : ofLast) {
      all.push_back(choice + std::string(" last: ") + outcome);
    }
  }
  for (const char* choice : {"3", "4", "5", "6"}) {
    all.push_back(choice + std::string(" no data appended"));
  }
  for (const char* choice : {"5", "6", "7", "8"}) {
    for (const char* outcome : {"count cut", "header cut", "data cut", "all", "all of sixteen"}) {
      all.push_back(choice + std::string(" list: ") + outcome);
    }
  }
  for (const char* choice : {"2", "3", "4", "5", "6", "10"}) {
    all.push_back(choice + std::string(" emitted cut"));
  }
  return all;
}

TEST(RandomSequences, DecodeAsTheModelDoes) {
  const std::uint64_t seed = Seed();
  RecordProperty("seed", std::to_string(seed));
  std::cout << "CORVANE_TEST_SEED=" << seed << '\n';
  cRandomMessages random(seed);
  cSibModel model;
  int messages = 0;
  for (int sequence = 0; sequence < kSequences; ++sequence) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", sequence " + std::to_string(sequence));
    cComparison comparison(model);
    if (random.OneIn(3)) {
      for (unsigned left = 1 + random.Below(8); left != 0; --left) {
        comparison.Insert(random.Key(), random.LongBlock());
      }
    }
    for (unsigned left = 1 + random.Below(kMostMessages); left != 0; --left, ++messages) {
      const sRandomMessage message = random.Next(model.blocks);
      const std::uint64_t timestamp = random.Below(0xFFFFFFFF);
      if (message.choice >= 1 && message.choice <= 10 && random.OneIn(4)) {
        comparison.SendMessage(message, timestamp);
      } else {
        comparison.SendPacket(random.Packet(message), timestamp);
      }
      if (HasFatalFailure() || HasNonfatalFailure()) {
        return;
      }
    }
    comparison.CompareAll();
    if (HasFatalFailure() || HasNonfatalFailure()) {
      return;
    }
  }
  EXPECT_GE(messages, kLeastMessages);
  for (const std::string& outcome : AllOutcomes()) {
    EXPECT_GT(model.outcomes[outcome], 0) << outcome << " never happened";
  }
}

}  // namespace
}  // namespace corvane
