#include "convert/pcapng_writer.h"

#include <gtest/gtest.h>

#include "convert/memory_sink.h"
#include "reader/capture_builder.h"

namespace corvane {
namespace {

TEST(PcapngWriterTest, AFileBeginsWithASectionHeader) {
  cMemorySink sink;
  const cPcapngWriter writer(sink, "Corvane 1");
  EXPECT_EQ(sink.Bytes(), Hex("0A 0D 0D 0A 30 00 00 00 4D 3C 2B 1A 01 00 00 00"
                              "FF FF FF FF FF FF FF FF 04 00 09 00 43 6F 72 76"
                              "61 6E 65 20 31 00 00 00 00 00 00 00 30 00 00 00"));
}

TEST(PcapngWriterTest, AnInterfaceHasNameTextAndNanoseconds) {
  cMemorySink sink;
  cPcapngWriter writer(sink, "");
  sink.Clear();
  EXPECT_EQ(writer.AddInterface({252, "COM7", "ab"}), 0U);
  EXPECT_EQ(sink.Bytes(), Hex("01 00 00 00 30 00 00 00 FC 00 00 00 00 00 00 00"
                              "02 00 04 00 43 4F 4D 37 03 00 02 00 61 62 00 00"
                              "09 00 01 00 09 00 00 00 00 00 00 00 30 00 00 00"));
  EXPECT_EQ(writer.AddInterface({147, "COM8", "c"}), 1U);
}

TEST(PcapngWriterTest, APacketHasCommentAndDirection) {
  cMemorySink sink;
  cPcapngWriter writer(sink, "");
  sink.Clear();
  const ByteVector data = Hex("AA BB CC DD EE");
  // 1,700,000,000.123456789 s, 0x17979CFE'3D85CD15 ns.
  writer.AddPacket({3, 1'700'000'000'123'456'789, data, "item 1", eLink::Downlink});
  EXPECT_EQ(sink.Bytes(), Hex("06 00 00 00 40 00 00 00 03 00 00 00 FE 9C 97 17"
                              "15 CD 85 3D 05 00 00 00 05 00 00 00 AA BB CC DD"
                              "EE 00 00 00 01 00 06 00 69 74 65 6D 20 31 00 00"
                              "02 00 04 00 01 00 00 00 00 00 00 00 40 00 00 00"));
}

TEST(PcapngWriterTest, UplinkIsOutbound) {
  cMemorySink sink;
  cPcapngWriter writer(sink, "");
  sink.Clear();
  writer.AddPacket({0, 0, {}, {}, eLink::Uplink});
  EXPECT_EQ(sink.Bytes(), Hex("06 00 00 00 2C 00 00 00 00 00 00 00 00 00 00 00"
                              "00 00 00 00 00 00 00 00 00 00 00 00"
                              "02 00 04 00 02 00 00 00 00 00 00 00 2C 00 00 00"));
}

TEST(PcapngWriterTest, APacketWithoutOptionsHasNoEndOfThem) {
  cMemorySink sink;
  cPcapngWriter writer(sink, "");
  sink.Clear();
  const ByteVector data = Hex("01 02 03 04");
  writer.AddPacket({0, 1, data, {}, {}});
  EXPECT_EQ(sink.Bytes(), Hex("06 00 00 00 24 00 00 00 00 00 00 00 00 00 00 00"
                              "01 00 00 00 04 00 00 00 04 00 00 00 01 02 03 04"
                              "24 00 00 00"));
}

}  // namespace
}  // namespace corvane
