#include "diag/protocol_buffer.h"

#include <gtest/gtest.h>

#include <ctime>
#include <memory>
#include <stdexcept>

#include "diag/made_packets.h"
#include "support/member_order.h"

namespace corvane {
namespace {

constexpr std::uint32_t kUnknownOrigin = 5;

// A packet of `size` bytes that begins with `head`.
ByteVector Padded(ByteVector head, std::size_t size) {
  head.resize(size);
  return head;
}

// The verdict of a new view over a packet with these bytes.
template <class sView>
bool IsValidAs(const ByteVector& bytes, std::uint32_t origin = kOriginDevice) {
  const cBufferReference packet(MakePacket(bytes, origin));
  sView view(packet.Get());
  const bool valid = view.IsValid();
  EXPECT_EQ(view.Validate(), valid);
  EXPECT_EQ(view.IsValid(), valid);
  return valid;
}

TEST(ProtocolBufferTest, AViewHoldsOneReferenceWhileItLives) {
  const cBufferReference packet(MakePacket({0x10}));
  {
    const sProtocolBuffer view(packet.Get());
    EXPECT_EQ(view.buffer, packet.Get());
    EXPECT_EQ(packet->refCount, 2U);
    {
      const sDiagDbgSSGetItemRsp another(packet.Get());
      EXPECT_EQ(packet->refCount, 3U);
    }
    EXPECT_EQ(packet->refCount, 2U);
  }
  EXPECT_EQ(packet->refCount, 1U);
}

TEST(ProtocolBufferTest, AViewGivesItsReferenceBackWhenAnExceptionPasses) {
  const cBufferReference packet(MakePacket({0x10}));
  EXPECT_THROW(
      {
        const sDiagBuffer view(packet.Get());
        throw std::runtime_error("passes through");
      },
      std::runtime_error);
  EXPECT_EQ(packet->refCount, 1U);
}

TEST(ProtocolBufferTest, AViewGivesItsReferenceBackWhenADerivedConstructorFails) {
  struct sFailing : sDiagBuffer {
    explicit sFailing(sSharedBuffer* viewed) : sDiagBuffer(viewed) {
      throw std::runtime_error("cannot be made");
    }
  };
  const cBufferReference packet(MakePacket({0x10}));
  EXPECT_THROW(sFailing view(packet.Get()), std::runtime_error);
  EXPECT_EQ(packet->refCount, 1U);
}

TEST(ProtocolBufferTest, TheViewThatHoldsTheOnlyReferenceDestroysTheBuffer) {
  static bool destroyed;
  destroyed = false;
  struct sWatched : sSharedBuffer {
    using sSharedBuffer::sSharedBuffer;
    ~sWatched() override { destroyed = true; }
  };
  const ByteVector bytes = {0x10};
  OwnedBuffer packet = std::make_unique<sWatched>(bytes.data(), 1, kOriginDevice);
  {
    const sDiagBuffer view(packet.release());
    EXPECT_FALSE(destroyed);
  }
  EXPECT_TRUE(destroyed);
}

TEST(ProtocolBufferTest, DestructionThroughTheBaseGivesTheReferenceBack) {
  const cBufferReference packet(MakePacket({0x10}));
  std::unique_ptr<sProtocolBuffer> view = std::make_unique<sDiagSubsystemCmd>(packet.Get());
  EXPECT_EQ(packet->refCount, 2U);
  view.reset();
  EXPECT_EQ(packet->refCount, 1U);
}

TEST(ProtocolBufferTest, AViewOverABufferThatBecameUnusableGivesNothingBack) {
  const cBufferReference packet(MakePacket({0x10}));
  {
    const sDiagBuffer view(packet.Get());
    EXPECT_EQ(packet->refCount, 2U);
    packet->size = 0;
  }
  EXPECT_EQ(packet->refCount, 2U);
  packet->size = 1;
  Release(packet.Get());  // what the view kept
}

TEST(ProtocolBufferTest, TheMembersStandBehindTheVirtualTableInTheirOrder) {
  const sDiagDbgSSGetItemRsp view(nullptr);
  EXPECT_EQ(static_cast<const void*>(reinterpret_cast<const char*>(&view) + sizeof(void*)),
            &view.buffer);
  EXPECT_TRUE(AreInMemoryOrder(view.buffer, view.timestamp, view.valid));
  EXPECT_EQ(sizeof(sDiagDbgSSGetItemRsp), sizeof(sProtocolBuffer));
}

TEST(ProtocolBufferTest, AnUnusableBufferIsNotAttached) {
  const OwnedBuffer empty = MakePacket({});
  {
    const sProtocolBuffer view(empty.get());
    EXPECT_EQ(view.buffer, nullptr);
    EXPECT_FALSE(view.IsValid());
  }
  EXPECT_EQ(empty->refCount, 0U);
}

TEST(ProtocolBufferTest, AViewOfNothingIsInvalidByEveryRule) {
  sProtocolBuffer plain(nullptr);
  sDiagBuffer packet(nullptr);
  sDiagSubsystemCmd command(nullptr);
  sDiagDbgSSGetItemRsp response(nullptr);
  for (sProtocolBuffer* view :
       {&plain, static_cast<sProtocolBuffer*>(&packet), static_cast<sProtocolBuffer*>(&command),
        static_cast<sProtocolBuffer*>(&response)}) {
    EXPECT_FALSE(view->IsValid());
    EXPECT_FALSE(view->Validate());
    EXPECT_EQ(view->buffer, nullptr);
  }
}

TEST(ProtocolBufferTest, TheTimestampIsTheLocalTimeOfTheConstruction) {
  const std::time_t before = std::time(nullptr);
  const sProtocolBuffer view(nullptr);
  const std::time_t after = std::time(nullptr);
  std::tm timestamp = view.timestamp;
  const std::time_t made = std::mktime(&timestamp);
  EXPECT_GE(made, before);
  EXPECT_LE(made, after);
}

TEST(ProtocolBufferTest, APlainViewOfAUsableBufferIsValidWhateverItsOrigin) {
  EXPECT_TRUE(IsValidAs<sProtocolBuffer>({0x10}, kOriginDevice));
  EXPECT_TRUE(IsValidAs<sProtocolBuffer>({0x10}, kUnknownOrigin));
}

TEST(ProtocolBufferTest, OnlyThePlainRuleLooksAtTheBufferAfresh) {
  const cBufferReference packet(MakePacket(Padded({0x4B, 0x25, 0x08}, 13)));
  sProtocolBuffer plain(packet.Get());
  sDiagBuffer diag(packet.Get());
  sDiagSubsystemCmd command(packet.Get());
  sDiagDbgSSGetItemRsp response(packet.Get());
  for (sProtocolBuffer* view :
       {&plain, static_cast<sProtocolBuffer*>(&diag), static_cast<sProtocolBuffer*>(&command),
        static_cast<sProtocolBuffer*>(&response)}) {
    EXPECT_TRUE(view->IsValid());
    view->valid = false;
    EXPECT_FALSE(view->IsValid()) << "IsValid looks at the stored verdict alone";
    EXPECT_EQ(view->Validate(), view == &plain);
    EXPECT_EQ(view->IsValid(), view == &plain);
  }
}

TEST(ProtocolBufferTest, ThePlainRuleWithdrawsAVerdictThatDoesNotHold) {
  const cBufferReference packet(MakePacket({0x10}));
  sProtocolBuffer view(packet.Get());
  packet->size = 0;
  EXPECT_TRUE(view.IsValid());
  EXPECT_FALSE(view.Validate());
  packet->size = 1;  // so that the view gives its reference back
}

TEST(DiagBufferTest, APacketIsValidFromTheDeviceAndFromTheLibraryOnly) {
  EXPECT_TRUE(IsValidAs<sDiagBuffer>({0x10}, kOriginDevice));
  EXPECT_TRUE(IsValidAs<sDiagBuffer>({0x10}, kOriginLibrary));
  EXPECT_FALSE(IsValidAs<sDiagBuffer>({0x10}, kOriginDevice - 1));
  EXPECT_FALSE(IsValidAs<sDiagBuffer>({0x10}, kUnknownOrigin));
}

TEST(DiagBufferTest, OverABufferOfOriginFiveItAndEveryDerivedViewAreInvalid) {
  const ByteVector response = Padded({0x4B, 0x25, 0x08}, 13);
  EXPECT_FALSE(IsValidAs<sDiagBuffer>(response, kUnknownOrigin));
  EXPECT_FALSE(IsValidAs<sDiagSubsystemCmd>(response, kUnknownOrigin));
  EXPECT_FALSE(IsValidAs<sDiagDbgSSGetItemRsp>(response, kUnknownOrigin));
}

TEST(DiagBufferTest, AnInvalidViewStillHoldsItsBuffer) {
  const cBufferReference packet(MakePacket({0x10}, kUnknownOrigin));
  const sDiagBuffer view(packet.Get());
  EXPECT_EQ(view.buffer, packet.Get());
  EXPECT_EQ(packet->refCount, 2U);
}

TEST(DiagSubsystemCmdTest, TheFirstFormNeedsFourBytes) {
  for (const std::uint32_t origin : {kOriginDevice, kOriginLibrary}) {
    EXPECT_FALSE(IsValidAs<sDiagSubsystemCmd>(Padded({0x4B}, 1), origin));
    EXPECT_FALSE(IsValidAs<sDiagSubsystemCmd>(Padded({0x4B}, 3), origin));
    EXPECT_TRUE(IsValidAs<sDiagSubsystemCmd>(Padded({0x4B}, 4), origin));
  }
}

TEST(DiagSubsystemCmdTest, AReceivedPacketOfTheSecondFormNeedsTwelveBytes) {
  EXPECT_FALSE(IsValidAs<sDiagSubsystemCmd>(Padded({0x80}, 4), kOriginDevice));
  EXPECT_FALSE(IsValidAs<sDiagSubsystemCmd>(Padded({0x80}, 8), kOriginDevice));
  EXPECT_FALSE(IsValidAs<sDiagSubsystemCmd>(Padded({0x80}, 11), kOriginDevice));
  EXPECT_TRUE(IsValidAs<sDiagSubsystemCmd>(Padded({0x80}, 12), kOriginDevice));
}

TEST(DiagSubsystemCmdTest, APacketOfTheSecondFormThatTheLibraryMadeNeedsFourBytes) {
  EXPECT_FALSE(IsValidAs<sDiagSubsystemCmd>(Padded({0x80}, 3), kOriginLibrary));
  EXPECT_TRUE(IsValidAs<sDiagSubsystemCmd>(Padded({0x80}, 4), kOriginLibrary));
  EXPECT_TRUE(IsValidAs<sDiagSubsystemCmd>(Padded({0x80}, 8), kOriginLibrary));
}

TEST(DiagSubsystemCmdTest, NoOtherCommandCodeIsASubsystemPacket) {
  for (int code = 0; code < 256; ++code) {
    const bool expected = code == 0x4B || code == 0x80;
    EXPECT_EQ(IsValidAs<sDiagSubsystemCmd>(Padded({static_cast<std::uint8_t>(code)}, 20)), expected)
        << "code " << code;
  }
}

TEST(DiagDbgSSGetItemRspTest, TwelveBytesAreTooFewAndThirteenAreEnough) {
  EXPECT_FALSE(IsValidAs<sDiagDbgSSGetItemRsp>(Padded({0x4B, 0x25, 0x08, 0x00}, 12)));
  EXPECT_TRUE(IsValidAs<sDiagDbgSSGetItemRsp>(Padded({0x4B, 0x25, 0x08, 0x00}, 13)));
  EXPECT_TRUE(IsValidAs<sDiagDbgSSGetItemRsp>(Padded({0x4B, 0x25, 0x08, 0x00}, 14)));
}

TEST(DiagDbgSSGetItemRspTest, BothFormsOfASubsystemPacketCount) {
  EXPECT_TRUE(IsValidAs<sDiagDbgSSGetItemRsp>(Padded({0x80, 0x25, 0x08, 0x00}, 13)));
  EXPECT_FALSE(IsValidAs<sDiagDbgSSGetItemRsp>(Padded({0x81, 0x25, 0x08, 0x00}, 13)));
}

TEST(DiagDbgSSGetItemRspTest, OnlySubsystem25Counts) {
  EXPECT_FALSE(IsValidAs<sDiagDbgSSGetItemRsp>(Padded({0x4B, 0x24, 0x08, 0x00}, 13)));
  EXPECT_FALSE(IsValidAs<sDiagDbgSSGetItemRsp>(Padded({0x4B, 0x08, 0x25, 0x00}, 13)));
}

TEST(DiagDbgSSGetItemRspTest, OnlyCommandEightInBothBytesCounts) {
  EXPECT_FALSE(IsValidAs<sDiagDbgSSGetItemRsp>(Padded({0x4B, 0x25, 0x07, 0x00}, 13)));
  EXPECT_FALSE(IsValidAs<sDiagDbgSSGetItemRsp>(Padded({0x4B, 0x25, 0x08, 0x01}, 13)));
  EXPECT_FALSE(IsValidAs<sDiagDbgSSGetItemRsp>(Padded({0x4B, 0x25, 0x00, 0x08}, 13)));
}

TEST(DiagDbgSSGetItemRspTest, EveryValidationRunsTheSubsystemRuleFirst) {
  const cBufferReference packet(MakePacket(Padded({0x10, 0x25, 0x08}, 13)));
  sDiagDbgSSGetItemRsp view(packet.Get());
  view.valid = true;
  EXPECT_FALSE(view.Validate());
}

TEST(DiagDbgSSGetItemRspTest, TheSubsystemRuleIsItsOwnAndNotThatOfADerivedView) {
  struct sOverriding : sDiagDbgSSGetItemRsp {
    using sDiagDbgSSGetItemRsp::sDiagDbgSSGetItemRsp;
    bool Validate() override { return false; }
  };
  const cBufferReference packet(MakePacket(Padded({0x4B, 0x25, 0x08}, 13)));
  sOverriding view(packet.Get());
  EXPECT_TRUE(view.sDiagDbgSSGetItemRsp::Validate());
}

}  // namespace
}  // namespace corvane
