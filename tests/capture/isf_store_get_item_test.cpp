#include <gtest/gtest.h>

#include "capture/ota_recorder.h"
#include "capture/store_fixture.h"
#include "platform/error_codes.h"
#include "support/controllable_clock.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

class IsfStoreGetItemTest : public cStoreTest {
 protected:
  [[nodiscard]] std::vector<unsigned> Types() const {
    std::vector<unsigned> types;
    for (const sDecodedItem& item : Items()) {
      types.push_back(item.type);
    }
    return types;
  }
};

using TypeList = std::vector<unsigned>;

// A get-item response of the debug subsystem with `packet` inside.
[[nodiscard]] ByteVector GetItemResponse(const ByteVector& packet, std::uint8_t code = 0x4B) {
  ByteVector response = {code, 0x25, 0x08, 0x00, 1, 2, 3, 4, 5, 0, 0, 0, 0};
  for (const std::uint8_t byte : packet) {
    response.push_back(byte);
  }
  return response;
}

TEST_F(IsfStoreGetItemTest, ThePacketInsideAGetItemResponseIsRecordedAfterIt) {
  for (const std::uint8_t code : ByteVector{0x4B, 0x80}) {
    StartAnew();
    const ByteVector response = GetItemResponse({0x0A, 0xBB}, code);
    EXPECT_EQ(Add(response), kErrorSuccess);
    const auto items = Items();
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].type, 9U);
    EXPECT_EQ(items[0].packet, response);
    EXPECT_EQ(items[1].type, 1U);
    EXPECT_EQ(items[1].packet, (ByteVector{0x0A, 0xBB}));
  }
}

TEST_F(IsfStoreGetItemTest, TheInnerPacketIsTreatedAsOneFromTheDevice) {
  const cOtaRecorder recorder;
  SetFileTime(kClockStart + 3);
  EXPECT_EQ(Add(GetItemResponse(LogPacket(0x412F))), kErrorSuccess);
  EXPECT_EQ(Add(GetItemResponse({0x1F, 1})), kErrorSuccess);
  EXPECT_EQ(Add(GetItemResponse(Packet({0x10}, 15))), kErrorSuccess);
  // One event.
  EXPECT_EQ(Add(GetItemResponse({0x60, 0x04, 0x00, 0x01, 0x80, 0xAA, 0xBB})), kErrorSuccess);
  EXPECT_EQ(Types(), (TypeList{9, 8, 9, 6, 9, 0, 9, 4}));
  ASSERT_EQ(recorder.calls.size(), 1U);
  EXPECT_EQ(recorder.calls[0].packet, LogPacket(0x412F));
  EXPECT_EQ(recorder.calls[0].arrivalTime, kClockStart + 3);
}

TEST_F(IsfStoreGetItemTest, AnInnerPacketThatIsRefusedDoesNotChangeTheResult) {
  EXPECT_EQ(Add(GetItemResponse({0x93, 0xBB})), kErrorSuccess);
  EXPECT_EQ(Types(), TypeList{9});
}

TEST_F(IsfStoreGetItemTest, AResponseOf13BytesHasNothingInside) {
  EXPECT_EQ(Add(GetItemResponse({})), kErrorSuccess);
  EXPECT_EQ(Types(), TypeList{9});
}

TEST_F(IsfStoreGetItemTest, ShorterResponsesHaveNothingInside) {
  for (std::size_t size = 1; size < 13; ++size) {
    EXPECT_EQ(Add(Packet({0x4B, 0x25, 0x08, 0x00}, size)), kErrorSuccess);
    EXPECT_EQ(Add(Packet({0x80, 0x25, 0x08, 0x00}, size)), kErrorSuccess);
  }
  EXPECT_EQ(Types(), TypeList(24, 9U));
}

TEST_F(IsfStoreGetItemTest, AResponseWithAnotherStatusIsNotUnwrapped) {
  for (std::size_t i = 9; i < 13; ++i) {
    ByteVector response = GetItemResponse({0x0A});
    response[i] = 1;
    EXPECT_EQ(Add(response), kErrorSuccess);
  }
  EXPECT_EQ(Types(), TypeList(4, 9U));
}

TEST_F(IsfStoreGetItemTest, AResponseOfAnotherSubsystemOrCommandIsNotUnwrapped) {
  for (std::size_t i = 1; i < 4; ++i) {
    ByteVector response = GetItemResponse({0x0A});
    response[i] = 7;
    EXPECT_EQ(Add(response), kErrorSuccess);
  }
  EXPECT_EQ(Types(), TypeList(3, 9U));
}

TEST_F(IsfStoreGetItemTest, TheBytesBeforeTheStatusAreNotInterpreted) {
  ByteVector response = GetItemResponse({0x0A});
  for (std::size_t i = 4; i < 9; ++i) {
    response[i] = 0xFF;
  }
  EXPECT_EQ(Add(response), kErrorSuccess);
  EXPECT_EQ(Types(), (TypeList{9, 1}));
}

TEST_F(IsfStoreGetItemTest, AGetItemRequestOfTheLibraryIsNotUnwrapped) {
  EXPECT_EQ(AddRequest(GetItemResponse({0x0A})), kErrorSuccess);
  EXPECT_EQ(Types(), TypeList{10});
}

TEST_F(IsfStoreGetItemTest, AResponseGivenType9IsUnwrappedTooAndAnyOtherTypeIsNot) {
  EXPECT_EQ(Add(GetItemResponse({0x0A}), 9), kErrorSuccess);
  EXPECT_EQ(Add(GetItemResponse({0x0A}), 1), kErrorSuccess);
  EXPECT_EQ(Types(), (TypeList{9, 1, 1}));
}

TEST_F(IsfStoreGetItemTest, ThePacketInsideIsOneOfTheDeviceWhoeverMadeTheResponse) {
  EXPECT_EQ(Add(GetItemResponse({0x4B, 0, 0, 0}), 9, kOriginLibrary), kErrorSuccess);
  EXPECT_EQ(Types(), (TypeList{9, 9}));
}

TEST_F(IsfStoreGetItemTest, AResponseThatCouldNotBeRecordedIsNotUnwrapped) {
  cFailingFile& file = Intercept(*stream);
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  file.FailWrite(2);
  EXPECT_EQ(Add(GetItemResponse({0x0A})), kErrorInvalidBlock);
  file.Heal();
  stream->clear();
  EXPECT_EQ(Types(), TypeList{1});
}

// 1,279 responses fit around the innermost packet.
TEST_F(IsfStoreGetItemTest, ResponsesInResponsesAreUnwrappedToTheLast) {
  ByteVector packet = {0x0A};
  while (packet.size() + 13 <= 16640) {
    packet.insert(packet.begin(), {0x4B, 0x25, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  }
  EXPECT_EQ(Add(packet), kErrorSuccess);
  const auto items = Items();
  ASSERT_EQ(items.size(), 1280U);
  for (std::size_t i = 0; i < 1279; ++i) {
    ASSERT_EQ(items[i].type, 9U);
    ASSERT_EQ(items[i].packet.size(), 1 + 13 * (1279 - i));
  }
  EXPECT_EQ(items.back().packet, ByteVector{0x0A});
}

TEST_F(IsfStoreGetItemTest, TheInnerPacketIsFreed) {
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  const std::int64_t before = LiveNewAllocations();
  ASSERT_EQ(Add(GetItemResponse(GetItemResponse({0x0A}))), kErrorSuccess);
  const std::int64_t after = LiveNewAllocations();
  EXPECT_EQ(after, before);
}

}  // namespace
}  // namespace corvane
