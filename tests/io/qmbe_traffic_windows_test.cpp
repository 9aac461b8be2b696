#include <gmock/gmock.h>

#include <thread>
#include <utility>

#include "diag/shared_buffer.h"
#include "io/mbn/mbn_calls.h"
#include "io/qmbe_fixture_windows.h"
#include "support/failing_allocation.h"
#include "support/wait_until.h"

namespace corvane::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::uint8_t kBytes[] = {0x1D, 0x1C, 0x3B, 0x7E};

class QmbeWrite : public QmbeTest {};

TEST_F(QmbeWrite, SendsTheBytesAsTheDataOfCommandTwo) {
  Serve();
  OpenSession();
  EXPECT_TRUE(transport->Write(kBytes, 4));
  EXPECT_THAT(service->Log("call SetCommand "),
              ElementsAre("2 type 17 from 0 1D1C3B7E -> 0x00000000"));
}

TEST_F(QmbeWrite, DoesNotWaitForTheCommandsCompletion) {
  // The service never calls OnSetCommandComplete by itself.
  Serve();
  OpenSession();
  EXPECT_TRUE(transport->Write(kBytes, 1));
  EXPECT_TRUE(transport->Write(kBytes, 2));
  EXPECT_THAT(service->Log("callback OnSetCommandComplete"), IsEmpty());
}

TEST_F(QmbeWrite, AWholeBufferGoesOutInOneCommand) {
  Serve();
  OpenSession();
  const std::vector<std::uint8_t> block(kMaxBufferSize, 0xA5);
  EXPECT_TRUE(transport->Write(block.data(), kMaxBufferSize));
  ASSERT_THAT(service->Commands(), SizeIs(1));
  EXPECT_EQ(service->Commands()[0].size(), 2 * kMaxBufferSize);
}

TEST_F(QmbeWrite, NoBytesMakeACommandWithoutData) {
  Serve();
  OpenSession();
  EXPECT_TRUE(transport->Write(nullptr, 0));
  EXPECT_THAT(service->Log("call SetCommand "), ElementsAre("2 type 17 from 0  -> 0x00000000"));
}

TEST_F(QmbeWrite, ReturnsFalseWhenTheCommandIsRefused) {
  Serve("fail SetCommand 1 0x80004005");
  OpenSession();
  EXPECT_FALSE(transport->Write(kBytes, 4));
  EXPECT_TRUE(transport->Write(kBytes, 4));
}

TEST_F(QmbeWrite, ReturnsFalseWithoutMemoryForTheData) {
  Serve();
  OpenSession();
  gImports.arraysFail = true;
  EXPECT_FALSE(transport->Write(kBytes, 4));
  EXPECT_THAT(service->Log("call SetCommand"), IsEmpty());
}

TEST_F(QmbeWrite, ReturnsFalseWhenTheDataCannotBeFilledIn) {
  Serve();
  OpenSession();
  for (const char* const call :
       {"SafeArrayAccessData", "SafeArrayGetLBound", "SafeArrayGetUBound"}) {
    gImports.failingArrayCall = call;
    EXPECT_FALSE(transport->Write(kBytes, 4)) << call;
  }
  EXPECT_THAT(service->Log("call SetCommand"), IsEmpty());
}

TEST_F(QmbeWrite, ReturnsFalseWhileTheSessionIsClosed) {
  Serve("open-completion withheld");
  EXPECT_FALSE(transport->Write(kBytes, 4)) << "before Open";
  ASSERT_TRUE(Open());
  EXPECT_FALSE(transport->Write(kBytes, 4)) << "before the completion";
  service->Do("opened 0");
  EXPECT_TRUE(transport->Write(kBytes, 4));
  service->Do(std::string("remove ") + kWantedId);
  EXPECT_FALSE(transport->Write(kBytes, 4)) << "after the removal";
  transport->Close();
  EXPECT_FALSE(transport->Write(kBytes, 4)) << "after Close";
  EXPECT_THAT(service->Log("call SetCommand"), SizeIs(1));
}

TEST_F(QmbeWrite, APlatformThatWaitsForItsCallbacksIsNotKeptWaiting) {
  Serve("during SetCommand bytes 01020304");
  OpenSession();
  EXPECT_TRUE(transport->Write(kBytes, 4));
  EXPECT_THAT(record.Events(), ElementsAre("connected", "data 01020304"));
  EXPECT_THAT(service->Log("waited in vain"), IsEmpty());
}

class QmbeNotification : public QmbeTest {};

TEST_F(QmbeNotification, IsHandedOnAsOneBlockFromTheDevice) {
  Serve();
  OpenSession();
  std::uint32_t origin = 0;
  std::uint32_t references = 0;
  whenData = [&](const sSharedBuffer& data) {
    origin = data.origin;
    references = data.refCount;
  };
  service->Do("bytes 1D1C3B7E00");
  EXPECT_THAT(record.Events(), ElementsAre("connected", "data 1D1C3B7E00"));
  EXPECT_EQ(origin, kOriginDevice);
  EXPECT_EQ(references, 1U);
}

TEST_F(QmbeNotification, IsTakenWhateverItsEventId) {
  Serve();
  OpenSession();
  for (int i = 0; i < 3; ++i) {
    service->Do("bytes 01020304");
  }  // event IDs 0, 1 and 2
  EXPECT_THAT(record.Events(),
              ElementsAre("connected", "data 01020304", "data 01020304", "data 01020304"));
}

TEST_F(QmbeNotification, OfFewerThanFourBytesIsDropped) {
  Serve();
  OpenSession();
  for (const char* const step : {"zeros 0", "zeros 1", "zeros 3"}) {
    service->Do(step);
  }
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
  service->Do("zeros 4");
  EXPECT_THAT(record.Events(), ElementsAre("connected", "data 00000000"));
}

TEST_F(QmbeNotification, OfAsManyBytesAsABufferHoldsIsHandedOnWhole) {
  Serve();
  OpenSession();
  std::uint32_t size = 0;
  whenData = [&](const sSharedBuffer& data) { size = data.size; };
  service->Do("zeros 16640");
  EXPECT_EQ(size, 16640U);
}

TEST_F(QmbeNotification, OfMoreBytesThanABufferHoldsIsHandedOnAsAnEmptyBlock) {
  Serve();
  OpenSession();
  service->Do("zeros 16641");
  EXPECT_THAT(record.Events(), ElementsAre("connected", "data "));
}

TEST_F(QmbeNotification, WithoutAOneDimensionalArrayOfBytesIsDropped) {
  Serve();
  OpenSession();
  for (const char* const step : {"nothing", "rectangle", "words 8"}) {
    service->Do(step);
  }
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
}

TEST_F(QmbeNotification, IsReadFromWhateverIndexItsArrayBeginsAt) {
  Serve();
  OpenSession();
  service->Do("bytes-from 1 01020304");
  service->Do("bytes-from -7 05060708");
  service->Do("bytes-from 100 010203");
  EXPECT_THAT(record.Events(), ElementsAre("connected", "data 01020304", "data 05060708"));
}

TEST_F(QmbeNotification, WhoseBytesCannotBeReachedIsDropped) {
  Serve();
  OpenSession();
  for (const char* const call :
       {"SafeArrayAccessData", "SafeArrayGetLBound", "SafeArrayGetUBound"}) {
    gImports.failingArrayCall = call;
    service->Do("bytes 01020304");
  }
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
}

TEST_F(QmbeNotification, LeavesNothingBehind) {
  Serve();
  OpenSession();
  int calls = 0;
  transport->SetDataHandler([](void* count, sSharedBuffer*) { ++*static_cast<int*>(count); },
                            &calls);
  service->Do("bytes 01020304");
  const std::int64_t before = LiveNewAllocations();
  service->Do("bytes 01020304");
  EXPECT_EQ(LiveNewAllocations(), before);
  EXPECT_EQ(calls, 2);
}

TEST_F(QmbeNotification, ABlockThatTheHandlerKeepsStaysWhole) {
  Serve();
  OpenSession();
  cBufferReference kept;
  whenData = [&](sSharedBuffer& data) { kept = cBufferReference(&data); };
  service->Do("bytes 01020304");
  whenData = nullptr;
  service->Do("bytes 05060708");
  ASSERT_NE(kept.Get(), nullptr);
  EXPECT_EQ(kept.Get()->refCount, 1U);
  EXPECT_THAT(kept.Get()->Bytes(), ElementsAre(1, 2, 3, 4));
}

TEST_F(QmbeNotification, FromAnotherServiceIsDropped) {
  Serve();
  OpenSession();
  service->Do("stranger 1D");
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
}

TEST_F(QmbeNotification, WithoutAHandlerOrItsContextIsDropped) {
  Serve();
  OpenSession();
  transport->SetDataHandler(nullptr, this);
  service->Do("bytes 01020304");
  transport->SetDataHandler([](void*, sSharedBuffer*) { FAIL() << "without a context"; }, nullptr);
  service->Do("bytes 01020304");
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
}

TEST_F(QmbeNotification, IsDroppedWhenThereIsNoMemoryForItsBlock) {
  Serve();
  OpenSession();
  const std::string step = "bytes 01020304";
  // The service allocates in its own DLL, so the block is the program's first allocation.
  cAllocationFailure failure(eHeap::New, 1);
  service->Do(step);
  EXPECT_TRUE(failure.Disarm());
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
  service->Do(step);
  EXPECT_THAT(record.Events(), ElementsAre("connected", "data 01020304"));
}

TEST_F(QmbeNotification, BlocksComeInOrderFromSeveralThreadsInTurn) {
  Serve("threads 3");
  OpenSession();
  for (int i = 0; i < 6; ++i) {
    service->Post("bytes 0000000" + std::to_string(i));
  }
  ASSERT_TRUE(record.WaitFor(7));
  EXPECT_THAT(record.Events(),
              ElementsAre("connected", "data 00000000", "data 00000001", "data 00000002",
                          "data 00000003", "data 00000004", "data 00000005"));
  ASSERT_TRUE(service->WaitForLog("callback OnEventNotification", 6));
  // The completion came on the first thread.
  EXPECT_THAT(service->Log("callback OnEventNotification 4 on "),
              ElementsAre("2 -> 0x00000000", "3 -> 0x00000000", "1 -> 0x00000000",
                          "2 -> 0x00000000", "3 -> 0x00000000", "1 -> 0x00000000"));
}

TEST_F(QmbeNotification, MayOvertakeTheWriteThatItAnswers) {
  Serve("at command * reply-overtaking");
  OpenSession();
  EXPECT_TRUE(transport->Write(kBytes, 4));
  EXPECT_THAT(record.Events(), ElementsAre("connected", "data 1D1C3B7E"));
}

class QmbeStateChange : public QmbeTest {};

TEST_F(QmbeStateChange, RemovalClosesTheSessionAndCallsTheDisconnectHandler) {
  Serve();
  OpenSession();
  bool wasOpen = true;
  whenDisconnected = [&] { wasOpen = transport->IsOpen(); };
  service->Do(std::string("remove ") + kWantedId);
  EXPECT_FALSE(wasOpen);
  EXPECT_FALSE(transport->IsOpen());
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected"));
}

TEST_F(QmbeStateChange, RemovalIsReportedAlsoWithoutAnOpenSession) {
  Serve("open-completion withheld");
  ASSERT_TRUE(Open());
  service->Do(std::string("remove ") + kWantedId);
  EXPECT_THAT(record.Events(), ElementsAre("disconnected"));
}

TEST_F(QmbeStateChange, ArrivalOpensTheSessionAgain) {
  Serve();
  OpenSession();
  service->Do(std::string("remove ") + kWantedId);
  service->Do(std::string("arrive ") + kWantedId);
  ASSERT_TRUE(record.WaitFor(3));
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected", "connected"));
  EXPECT_TRUE(transport->IsOpen());
  EXPECT_TRUE(transport->Write(kBytes, 4));
  service->Do("bytes 01020304");
  EXPECT_EQ(record.Events().back(), "data 01020304");
}

TEST_F(QmbeStateChange, TheInterfaceIsKnownInAnyLetterCase) {
  Serve();
  OpenSession();
  service->Do("remove {5a1b9a3c-61f0-4e0b-9d3e-0000000000ab}");
  EXPECT_FALSE(transport->IsOpen());
  service->Do("arrive {5a1b9a3c-61f0-4e0b-9d3e-0000000000ab}");
  ASSERT_TRUE(record.WaitFor(3));
  EXPECT_TRUE(transport->IsOpen());
}

TEST_F(QmbeStateChange, OfAnotherInterfaceIsIgnored) {
  Serve();
  OpenSession();
  service->Do(std::string("announce ") + kOtherId + " 1");
  service->Do(std::string("announce ") + kOtherId + " 0");
  EXPECT_TRUE(transport->IsOpen());
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
  EXPECT_THAT(service->Log("call GetDeviceServicesContext"), SizeIs(1));
}

TEST_F(QmbeStateChange, OfAnUnknownKindIsIgnored) {
  Serve();
  OpenSession();
  service->Do(std::string("announce ") + kWantedId + " 2");
  EXPECT_TRUE(transport->IsOpen());
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
}

TEST_F(QmbeStateChange, WithoutAnInterfaceIdIsIgnored) {
  Serve();
  OpenSession();
  EXPECT_EQ(
      transport->OnInterfaceStateChange(nullptr, MBN_DEVICE_SERVICES_CAPABLE_INTERFACE_REMOVAL),
      S_OK);
  EXPECT_TRUE(transport->IsOpen());
}

TEST_F(QmbeStateChange, ASessionThatOpensDuringAReportIsReportedAfterIt) {
  // A handler that clears what belongs to the old session would clear what is the new one's.
  Serve("threads 2 at-once");
  OpenSession();
  whenDisconnected = [&] {
    service->Post(std::string("announce ") + kWantedId + " 0");
    EXPECT_TRUE(service->WaitForLog("callback OnOpenCommandSessionComplete", 2));
    EXPECT_TRUE(transport->IsOpen());
    EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected"));
  };
  service->Do(std::string("announce ") + kWantedId + " 1");
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected", "connected"));
  whenDisconnected = nullptr;
}

TEST_F(QmbeStateChange, ASessionThatEndsDuringAReportIsReportedAfterIt) {
  Serve("threads 2 at-once");
  whenConnected = [&] {
    service->Post(std::string("announce ") + kWantedId + " 1");
    EXPECT_TRUE(service->WaitForLog("callback OnInterfaceStateChange"));
    EXPECT_FALSE(transport->IsOpen());
    EXPECT_THAT(record.Events(), ElementsAre("connected"));
  };
  ASSERT_TRUE(Open());
  ASSERT_TRUE(record.WaitFor(2));
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected"));
}

TEST_F(QmbeStateChange, NothingIsWrittenToASessionBeforeTheEndOfTheLast) {
  // The connect handler of the first session sends that one's requests, while it is followed by the
  // next one.
  Serve("threads 2 at-once");
  bool isFirst = true;
  whenConnected = [&] {
    if (!std::exchange(isFirst, false)) {
      return;
    }
    EXPECT_TRUE(transport->Write(kBytes, 1));
    service->Post(std::string("announce ") + kWantedId + " 1");
    EXPECT_TRUE(service->WaitForLog("callback OnInterfaceStateChange"));
    service->Post(std::string("announce ") + kWantedId + " 0");
    EXPECT_TRUE(service->WaitForLog("callback OnOpenCommandSessionComplete"));
    EXPECT_TRUE(WaitUntil("the next session is open", [&] { return transport->IsOpen(); }));
    EXPECT_FALSE(transport->Write(kBytes, 2));
  };
  ASSERT_TRUE(Open());
  ASSERT_TRUE(record.WaitFor(3));
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected", "connected"));
  EXPECT_TRUE(transport->Write(kBytes, 3));
  EXPECT_THAT(service->Commands(), SizeIs(2));
}

TEST_F(QmbeStateChange, AnArrivalWhileTheSessionIsOpenAsksForAnother) {
  Serve();
  OpenSession();
  service->Do(std::string("announce ") + kWantedId + " 0");
  ASSERT_TRUE(record.WaitFor(2));
  EXPECT_THAT(record.Events(), ElementsAre("connected", "connected"));
  EXPECT_THAT(service->Log("call OpenCommandSession"), SizeIs(2));
  EXPECT_THAT(service->Log("gone Service"), ElementsAre("#1"));
  EXPECT_TRUE(transport->Write(kBytes, 4));
}

TEST_F(QmbeStateChange, AFailedArrivalWhileTheSessionIsOpenLeavesTheLastService) {
  Serve();
  OpenSession();
  // The session stays with the first service, whose completions do not count any more.
  service->Do("fail OpenCommandSession 1 0x80004005");
  service->Do(std::string("announce ") + kWantedId + " 0");
  EXPECT_TRUE(transport->IsOpen());
  EXPECT_FALSE(transport->Write(kBytes, 4));
  service->Do("bytes 01020304");
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
  transport->Close();
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected"));
}

TEST_F(QmbeStateChange, AnArrivalThatDoesNotOpenLeavesRoomForTheNext) {
  Serve("fail GetInterfaces always 0x80004005\nfail OpenCommandSession 1 0x80004005");
  ASSERT_TRUE(Open());
  service->Do(std::string("arrive ") + kWantedId);
  EXPECT_THAT(record.Events(), IsEmpty());
  service->Do(std::string("arrive ") + kWantedId);
  ASSERT_TRUE(record.WaitFor(1));
  EXPECT_TRUE(transport->IsOpen());
}

class QmbeSink : public QmbeTest {};

TEST_F(QmbeSink, TheOtherSevenCallbacksDoNothing) {
  Serve();
  OpenSession();
  service->Do("others");
  EXPECT_TRUE(transport->IsOpen());
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
  for (const char* const name :
       {"OnQuerySupportedCommandsComplete", "OnSetCommandComplete", "OnQueryCommandComplete",
        "OnOpenDataSessionComplete", "OnCloseDataSessionComplete", "OnWriteDataComplete",
        "OnReadData"}) {
    EXPECT_THAT(service->Log(std::string("callback ") + name), ElementsAre(" on 1 -> 0x00000000"))
        << name;
  }
}

TEST_F(QmbeSink, ACloseCompletionFromAnotherServiceIsIgnored) {
  Serve();
  OpenSession();
  service->Do("stranger-closed");
  EXPECT_TRUE(transport->IsOpen());
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
}

TEST_F(QmbeSink, IsSilentBeforeOpen) {
  // No service is ours yet, not even none.
  EXPECT_EQ(transport->OnOpenCommandSessionComplete(nullptr, S_OK, 0), S_OK);
  EXPECT_EQ(transport->OnCloseCommandSessionComplete(nullptr, S_OK, 0), S_OK);
  EXPECT_FALSE(transport->IsOpen());
}

TEST_F(QmbeSink, HandlersThatAreNotThereAreNotCalled) {
  Serve();
  ASSERT_TRUE(transport->Open(kWantedId, nullptr, nullptr, nullptr, nullptr));
  ASSERT_TRUE(service->WaitForLog("callback OnOpenCommandSessionComplete"));
  EXPECT_TRUE(transport->IsOpen());
  service->Do(std::string("remove ") + kWantedId);
  EXPECT_FALSE(transport->IsOpen());
  EXPECT_THAT(record.Events(), IsEmpty());
  // Without a connect handler Close takes it that COM was not initialised.
  Finish();
  EXPECT_EQ(gImports.uninitialised, 0);
  MbnCalls().CoUninitialize();
}

}  // namespace
}  // namespace corvane::test
