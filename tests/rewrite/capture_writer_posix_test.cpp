// A device that is always full, which Windows has not.
#include <gtest/gtest.h>

#include <fstream>

#include "rewrite/capture_writer.h"

namespace corvane {
namespace {

TEST(CaptureWriterTest, ADeviceWithoutRoomIsTold) {
  std::ofstream file("/dev/full", std::ios::binary);
  ASSERT_TRUE(file.is_open());
  cCaptureWriter writer(file);
  EXPECT_FALSE(writer.Finish());
}

}  // namespace
}  // namespace corvane
