// A device that is always full, which Windows has not.
#include <gtest/gtest.h>

#include "convert/byte_sink.h"

namespace corvane {
namespace {

TEST(ByteSinkTest, ADeviceWithoutRoomIsTold) {
  const std::unique_ptr<cStreamSink> sink = cStreamSink::Open("/dev/full");
  ASSERT_NE(sink, nullptr);
  sink->Write("line\n");
  sink->Close();
  EXPECT_FALSE(sink->IsGood());
  EXPECT_FALSE(sink->ReaderIsGone());
  EXPECT_EQ(sink->Problem(), "No space left on device");
}

}  // namespace
}  // namespace corvane
