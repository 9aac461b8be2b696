#include "capture/connection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "capture/isf/layout.h"
#include "capture/reader_loop.h"
#include "capture/session_fixture.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

using ConnectionTest = cSessionTest;

const sFileItem kHeaderAlone = {isf::kInformationItem, {0xC0, 0xFF, 0xFF, 0xFF}};

TEST_F(ConnectionTest, ANullSessionIsIgnored) {
  cPrinted printed;
  OnConnected(nullptr);
  OnDisconnected(nullptr);
  EXPECT_EQ(printed.Take(), "");
}

TEST_F(ConnectionTest, AConnectBeforeStartCaptureOnCom3PrintsAndWritesNothing) {
  AttachFile();
  cPrinted printed;
  OnConnected(&session);
  EXPECT_EQ(printed.Take(), "Port COM3 connected\n");
  EXPECT_EQ(ReadFileBytes(capturePath).size(), 4U);
  EXPECT_TRUE(Queued().empty());
  EXPECT_TRUE(traffic.readerThreads.empty());
}

TEST_F(ConnectionTest, AConnectIsPrintedRecordedAndSetUp) {
  Start();
  cPrinted printed;
  OnConnected(&session);
  EXPECT_EQ(printed.Take(), "Port COM3 connected\n");
  EXPECT_EQ(Items(), (std::vector<sFileItem>{InformationItem(), TextItem("Port COM3 connected")}));
  EXPECT_EQ(Queued(), kStartUpPackets);
  EXPECT_EQ(traffic.readerThreads, std::vector<cCaptureSession*>{&session});
}

TEST_F(ConnectionTest, AConnectThatCannotBeRecordedIsSetUpAllTheSame) {
  Start();
  session.Close();
  cPrinted printed;
  OnConnected(&session);
  EXPECT_EQ(printed.Take(), "Port COM3 connected\nbad string write response\n");
  EXPECT_EQ(Queued(), kStartUpPackets);
  EXPECT_EQ(traffic.readerThreads.size(), 1U);
}

TEST_F(ConnectionTest, AConnectWithoutMemoryForItsTextIsSetUpAllTheSame) {
  Start();
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    cPrinted printed;
    cAllocationFailure failure(heap, 1);
    OnConnected(&session);
    EXPECT_TRUE(failure.Disarm());
    EXPECT_EQ(printed.Take(), "Port COM3 connected\nbad string write response\n");
    EXPECT_EQ(Queued(), kStartUpPackets);
  }
}

TEST_F(ConnectionTest, ADeviceWithoutANameIsNamedByNothing) {
  Start();
  session.deviceName.reset();
  cPrinted printed;
  OnConnected(&session);
  OnDisconnected(&session);
  EXPECT_EQ(printed.Take(), "Port  connected\nPort  disconnected\n");
  EXPECT_EQ(Items(), (std::vector<sFileItem>{InformationItem(), TextItem("Port  connected"),
                                             TextItem("Port  disconnected")}));
}

TEST_F(ConnectionTest, ADisconnectIsPrintedAndRecorded) {
  Start();
  cPrinted printed;
  OnDisconnected(&session);
  EXPECT_EQ(printed.Take(), "Port COM3 disconnected\n");
  EXPECT_EQ(Items(),
            (std::vector<sFileItem>{InformationItem(), TextItem("Port COM3 disconnected")}));
}

TEST_F(ConnectionTest, ADisconnectWritesItsItemAlsoBeforeStartCapture) {
  AttachFile();
  cPrinted printed;
  OnDisconnected(&session);
  EXPECT_EQ(printed.Take(), "Port COM3 disconnected\n");
  EXPECT_EQ(Items(), (std::vector<sFileItem>{TextItem("Port COM3 disconnected")}));
}

TEST_F(ConnectionTest, ADisconnectBeforeAnyFileIsAttachedPrintsThatItIsNotRecorded) {
  cPrinted printed;
  OnDisconnected(&session);
  EXPECT_EQ(printed.Take(), "Port COM3 disconnected\nbad string write response\n");
}

TEST_F(ConnectionTest, ADisconnectDropsTheRequestsAndNothingElse) {
  Start({256}, {0x1234}, {{18, {2}}});
  const cPrinted printed;
  OnConnected(&session);
  const cReaderThread* const reader = session.readerThread;
  ASSERT_NE(reader, nullptr);
  session.nextRequest = 3;
  session.outstanding = 1;

  OnDisconnected(&session);
  EXPECT_TRUE(Queued().empty());
  EXPECT_EQ(session.requestQueue.pushedCount, 0U);
  EXPECT_EQ(session.nextRequest, 0U);
  EXPECT_EQ(session.outstanding, 0U);
  EXPECT_EQ(session.eventIds, EventIdSet{256});
  EXPECT_EQ(session.logCodes, LogCodeSet{0x1234});
  EXPECT_EQ(session.messageLevels, (MessageLevelMap{{18, {2}}}));
  EXPECT_TRUE(session.capturing);
  EXPECT_EQ(session.readerThread, reader);
  EXPECT_TRUE(traffic.readers.front()->isKnown);
  EXPECT_EQ(session.transport.get(), &serial);
  EXPECT_FALSE(IsClosedCapture(capturePath));
}

// "Port " and " connected" leave room for 47 characters, "Port " and " disconnected" for 44.
TEST_F(ConnectionTest, AMessageOf62CharactersIsPrintedAndRecorded) {
  const std::string name(47, 'x');
  NameDevice(name);
  Start();
  cPrinted printed;
  OnConnected(&session);
  EXPECT_EQ(printed.Take(), "Port " + name + " connected\n");
  EXPECT_EQ(Items().back(), TextItem("Port " + name + " connected"));
}

TEST_F(ConnectionTest, ATooLongDeviceNameGivesA4ByteItemAndAnEmptyLine) {
  NameDevice(std::string(48, 'x'));
  Start();
  cPrinted printed;
  OnConnected(&session);
  EXPECT_EQ(printed.Take(), "\n");
  EXPECT_EQ(Items(), (std::vector<sFileItem>{InformationItem(), kHeaderAlone}));
  EXPECT_EQ(Queued(), kStartUpPackets);
}

TEST_F(ConnectionTest, ADeviceNameCanBeTooLongForTheDisconnectMessageOnly) {
  NameDevice(std::string(45, 'x'));
  Start();
  cPrinted printed;
  OnConnected(&session);
  OnDisconnected(&session);
  EXPECT_EQ(printed.Take(), "Port " + std::string(45, 'x') + " connected\n\n");
  EXPECT_EQ(Items().back(), kHeaderAlone);
}

TEST_F(ConnectionTest, BytesOfADeviceNameAbove127AreWidenedBySignExtension) {
  NameDevice("\xE9");
  Start();
  const cPrinted printed;
  OnDisconnected(&session);
  const ByteVector packet = Items().back().packet;
  ASSERT_GE(packet.size(), 16U);
  EXPECT_EQ(ByteVector(packet.begin() + 12, packet.begin() + 16),
            (ByteVector{' ', 0x00, 0xE9, 0xFF}));
}

// Answers as many requests as a connection can have here, and more.
void AnswerEveryRequest(cCaptureSession& session) {
  cReaderLoop loop(session);
  const ByteVector reply = Framed({0x13});
  for (int answers = 0; answers < 30; ++answers) {
    loop.Pump();
    std::copy(reply.begin(), reply.end(), loop.Room().begin());
    loop.Received(reply.size());
  }
}

TEST_F(ConnectionTest, AnotherConnectionSendsTheSameRequestsAgainFromNumber0) {
  Start({256}, {0x1234}, {{18, {2}}});
  const cPrinted printed;
  OnConnected(&session);
  AnswerEveryRequest(session);
  const std::vector<ByteVector> firstConnection = serial.writes;
  EXPECT_EQ(firstConnection.size(), 16U);

  OnDisconnected(&session);
  OnConnected(&session);
  EXPECT_EQ(session.requestQueue.pushedCount, 16U);
  EXPECT_EQ(session.requestQueue.Find(0).copy->data[0], 0x1D);
  EXPECT_EQ(traffic.readerThreads.size(), 2U);
  serial.writes.clear();
  AnswerEveryRequest(session);
  EXPECT_EQ(serial.writes, firstConnection);
}

TEST_F(ConnectionTest, AnotherBroadbandConnectionStartsFromSequenceNumber0) {
  UseTransport(broadband);
  Start();
  const cPrinted printed;
  for (int connection = 0; connection < 2; ++connection) {
    broadband.writes.clear();
    OnConnected(&session);
    EXPECT_EQ(broadband.writes, std::vector<ByteVector>{Framed({0x1D})});
    EXPECT_EQ(session.nextRequest, 1U);
    EXPECT_EQ(session.outstanding, 1U);
    OnDisconnected(&session);
  }
}

TEST_F(ConnectionTest, AFileCarriesOnAcrossConnections) {
  Start();
  const cPrinted printed;
  OnConnected(&session);
  OnDisconnected(&session);
  OnConnected(&session);
  EXPECT_EQ(Items(), (std::vector<sFileItem>{InformationItem(), TextItem("Port COM3 connected"),
                                             TextItem("Port COM3 disconnected"),
                                             TextItem("Port COM3 connected")}));
}

// A reference of the test's own to each queued request, to see the queue's being given back.
std::vector<cBufferReference> Keep(const sRequestQueue& queue) {
  return {queue.entries.begin(), queue.entries.end()};
}

TEST_F(ConnectionTest, ClearRequestsReleasesEachRequestAndStartsFrom0) {
  Push({1});
  Push({2});
  session.nextRequest = 2;
  session.outstanding = 7;
  const std::vector<cBufferReference> kept = Keep(session.requestQueue);
  ClearRequests(session);
  EXPECT_EQ(kept[0]->refCount, 1U);
  EXPECT_EQ(kept[1]->refCount, 1U);
  EXPECT_EQ(session.requestQueue.Size(), 0U);
  EXPECT_EQ(session.requestQueue.pushedCount, 0U);
  EXPECT_EQ(session.nextRequest, 0U);
  EXPECT_EQ(session.outstanding, 0U);
}

TEST_F(ConnectionTest, ClearRequestsDestroysRequestsThatNobodyElseKeeps) {
  const std::int64_t before = LiveNewAllocations();
  session.requestQueue.entries.clear();
  ASSERT_TRUE(PushRequest(session.requestQueue, cBufferReference(std::make_unique<sSharedBuffer>(
                                                    "x", 1, kOriginLibrary))));
  ClearRequests(session);
  EXPECT_EQ(LiveNewAllocations(), before);
}

TEST_F(ConnectionTest, ClearRequestsWithoutMagicResetsTheCountersOnly) {
  Push({1});
  session.nextRequest = 2;
  session.outstanding = 7;
  session.requestQueue.magic = 0;
  ClearRequests(session);
  EXPECT_EQ(session.requestQueue.entries.size(), 1U);
  EXPECT_EQ(session.requestQueue.pushedCount, 1U);
  EXPECT_EQ(session.nextRequest, 0U);
  EXPECT_EQ(session.outstanding, 0U);
  session.requestQueue.magic = sRequestQueue::kMagic;
}

TEST_F(ConnectionTest, ClearRequestsReleasesWhatIsLeftAfterADropAtCapacity) {
  session.requestQueue.capacity = 2;
  Push({1});
  const std::vector<cBufferReference> dropped = Keep(session.requestQueue);
  Push({2});
  Push({3});
  const std::vector<cBufferReference> kept = Keep(session.requestQueue);
  ClearRequests(session);
  EXPECT_EQ(kept[0]->refCount, 1U);
  EXPECT_EQ(kept[1]->refCount, 1U);
  EXPECT_EQ(dropped[0]->refCount, 2U);
  Release(dropped[0].Get());
}

}  // namespace
}  // namespace corvane
