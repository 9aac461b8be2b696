#include <gtest/gtest.h>

#include "capture/connection.h"
#include "capture/isf/layout.h"
#include "capture/session_fixture.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

class SendRequestTest : public cSessionTest {
 protected:
  SendRequestTest() { AttachFile(); }

  bool Send(const ByteVector& request) {
    const cBufferReference reference(std::make_unique<sSharedBuffer>(
        request.data(), static_cast<std::int32_t>(request.size()), kOriginLibrary));
    const bool sent = SendRequest(session, reference.Get());
    EXPECT_EQ(reference->refCount, 1U);  // neither kept nor released
    return sent;
  }
};

TEST_F(SendRequestTest, ANullRequestIsRefused) {
  EXPECT_FALSE(SendRequest(session, nullptr));
  EXPECT_TRUE(serial.writes.empty());
  EXPECT_TRUE(Items().empty());
}

TEST_F(SendRequestTest, ARequestIsFramedAndWritten) {
  EXPECT_TRUE(Send({0x1D}));
  EXPECT_TRUE(Send({0x4B, 0x0F, 0x00, 0x00}));
  EXPECT_EQ(serial.writes, (std::vector<ByteVector>{{0x1D, 0x1C, 0x3B, 0x7E},
                                                    {0x4B, 0x0F, 0x00, 0x00, 0xBB, 0x60, 0x7E}}));
}

TEST_F(SendRequestTest, ARequestIsRecordedWithATypeChosenFromItsContent) {
  EXPECT_TRUE(Send({0x1D}));
  EXPECT_TRUE(Send({0x4B, 0x0F, 0x00, 0x00}));
  EXPECT_TRUE(Send({0x60, 0x01}));
  EXPECT_EQ(Items(), (std::vector<sFileItem>{{isf::kRequestItem, {0x1D}},
                                             {isf::kSubsystemRequestItem, {0x4B, 0x0F, 0, 0}},
                                             {isf::kRequestItem, {0x60, 0x01}}}));
}

TEST_F(SendRequestTest, ARequestIsInTheCaptureFileBeforeItIsOnTheWire) {
  std::vector<sFileItem> duringWrite;
  serial.duringWrite = [&] { duringWrite = Items(); };
  EXPECT_TRUE(Send({0x7C}));
  EXPECT_EQ(duringWrite, (std::vector<sFileItem>{{isf::kRequestItem, {0x7C}}}));
}

TEST_F(SendRequestTest, AFailedWriteIsReported) {
  serial.writeResult = false;
  EXPECT_FALSE(Send({0x1D}));
  EXPECT_EQ(Items().size(), 1U);
}

TEST_F(SendRequestTest, TheCountersAreLeftToTheCaller) {
  EXPECT_TRUE(Send({0x1D}));
  EXPECT_EQ(session.outstanding, 0U);
  EXPECT_EQ(session.nextRequest, 0U);
}

TEST_F(SendRequestTest, ARequestThatCannotBeRecordedIsSentAllTheSame) {
  session.Close();
  cPrinted printed;
  EXPECT_TRUE(Send({0x1D}));
  EXPECT_EQ(printed.Take(), "");
  EXPECT_EQ(serial.writes.size(), 1U);
}

TEST_F(SendRequestTest, AFrameBeyondTheLargestBufferIsWrittenAsNothing) {
  EXPECT_TRUE(Send(ByteVector(16640, 0x01)));
  EXPECT_EQ(serial.writes, std::vector<ByteVector>{{}});
  EXPECT_EQ(Items().size(), 1U);
}

TEST_F(SendRequestTest, WithoutMemoryForTheFrameNothingIsWritten) {
  serial.keepsWrites = false;
  std::uint32_t unframed = 0;
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    for (std::uint32_t nth = 1;; ++nth) {
      const cBufferReference request(std::make_unique<sSharedBuffer>("\x1D", 1, kOriginLibrary));
      serial.writeCount = 0;
      cAllocationFailure failure(heap, nth);
      const bool sent = SendRequest(session, request.Get());
      if (!failure.Disarm()) {
        break;
      }
      EXPECT_EQ(serial.writeCount, sent ? 1U : 0U);
      unframed += sent ? 0 : 1;
    }
  }
  EXPECT_GE(unframed, 2U);  // the frame's block and its buffer
}

}  // namespace
}  // namespace corvane
