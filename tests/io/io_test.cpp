#include "capture/transport.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

// A transport that overrides nothing.
class cPlainTransport final : public cIO {
 public:
  using cIO::cIO;
};

int calls = 0;
void CountCall(void*) { ++calls; }

TEST(IoTest, ATransportKeepsTheKindThatItWasMadeWith) {
  EXPECT_EQ(cPlainTransport(kSerialPort).kind, 0U);
  EXPECT_EQ(cPlainTransport(kMobileBroadband).kind, 1U);
  EXPECT_EQ(cPlainTransport(7).kind, 7U);
}

TEST(IoTest, WithoutAnOverrideOpenFailsAndCallsNoHandler) {
  cPlainTransport transport(kSerialPort);
  cIO& io = transport;
  calls = 0;
  EXPECT_FALSE(io.Open("COM3", CountCall, nullptr, CountCall, nullptr));
  EXPECT_FALSE(io.IsOpen());
  EXPECT_EQ(calls, 0);
}

TEST(IoTest, WithoutAnOverrideWriteFailsAlsoForNoBytes) {
  cPlainTransport transport(kSerialPort);
  cIO& io = transport;
  EXPECT_FALSE(io.Write("abc", 3));
  EXPECT_FALSE(io.Write(nullptr, 0));
}

TEST(IoTest, WithoutAnOverrideTheDeviceIsNeverOpen) {
  const cPlainTransport transport(kMobileBroadband);
  const cIO& io = transport;
  EXPECT_FALSE(io.IsOpen());
}

TEST(IoTest, WithoutAnOverrideCloseDoesNothing) {
  cPlainTransport transport(kMobileBroadband);
  cIO& io = transport;
  io.Close();
  io.Close();
  EXPECT_EQ(io.kind, 1U);
  EXPECT_FALSE(io.IsOpen());
  EXPECT_TRUE(io.lock.try_lock());
  io.lock.unlock();
}

}  // namespace
}  // namespace corvane
