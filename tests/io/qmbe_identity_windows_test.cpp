#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "io/mbn/qmbe_io.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

class QmbeIdentity : public ::testing::Test {
 protected:
  QmbeIdentity() { transport->AddRef(); }
  ~QmbeIdentity() override { EXPECT_EQ(transport->Release(), 0U); }

  cQMBEIO* transport = new cQMBEIO;
};

TEST_F(QmbeIdentity, QueryInterfaceAnswersForIUnknownWithAReference) {
  void* found = nullptr;
  EXPECT_EQ(transport->QueryInterface(kInterfaceId<IUnknown>, &found), S_OK);
  EXPECT_EQ(found, static_cast<IMbnDeviceServicesEvents*>(transport));
  EXPECT_EQ(transport->Release(), 1U);
}

TEST_F(QmbeIdentity, QueryInterfaceAnswersForTheSinkWithAReference) {
  void* found = nullptr;
  EXPECT_EQ(transport->QueryInterface(kInterfaceId<IMbnDeviceServicesEvents>, &found), S_OK);
  EXPECT_EQ(found, static_cast<IMbnDeviceServicesEvents*>(transport));
  EXPECT_EQ(transport->Release(), 1U);
}

TEST_F(QmbeIdentity, QueryInterfaceKnowsNoOtherInterface) {
  void* found = transport;
  EXPECT_EQ(transport->QueryInterface(kInterfaceId<IMbnDeviceService>, &found),
            static_cast<HRESULT>(0x80004002));
  EXPECT_EQ(found, nullptr);
}

TEST_F(QmbeIdentity, QueryInterfaceRefusesANullOutPointer) {
  EXPECT_EQ(transport->QueryInterface(kInterfaceId<IUnknown>, nullptr),
            static_cast<HRESULT>(0x80004003));
}

TEST_F(QmbeIdentity, ReferencesAreCounted) {
  EXPECT_EQ(transport->AddRef(), 2U);
  EXPECT_EQ(transport->AddRef(), 3U);
  EXPECT_EQ(transport->Release(), 2U);
  EXPECT_EQ(transport->Release(), 1U);
}

TEST_F(QmbeIdentity, ReferencesAreCountedFromSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int turn = 0; turn < 20000; ++turn) {
        transport->AddRef();
        transport->AddRef();
        transport->Release();
      }
      for (int turn = 0; turn < 20000; ++turn) {
        transport->Release();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(transport->AddRef(), 2U);
  EXPECT_EQ(transport->Release(), 1U);
}

TEST_F(QmbeIdentity, ItIsATransportOfTheMobileBroadbandKind) {
  const cIO& asTransport = *transport;
  EXPECT_EQ(asTransport.kind, 1U);
  EXPECT_FALSE(asTransport.IsOpen());
}

TEST(QmbeLifetime, TheLastReleaseDestroysAndFreesIt) {
  const std::int64_t before = LiveNewAllocations();
  auto* const transport = new cQMBEIO;
  transport->AddRef();
  EXPECT_GT(LiveNewAllocations(), before);
  EXPECT_EQ(transport->Release(), 0U);
  EXPECT_EQ(LiveNewAllocations(), before);
}

}  // namespace
}  // namespace corvane
