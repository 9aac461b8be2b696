#include "convert/gsmtap_frames.h"

#include <gtest/gtest.h>

#include "convert/memory_sink.h"
#include "reader/capture_builder.h"

namespace corvane {
namespace {

// What is written for a frame, without the file header.
class GsmtapFramesTest : public ::testing::Test {
 protected:
  GsmtapFramesTest() : frames(sink) {
    fileHeader = sink.Bytes();
    sink.Clear();
    frame.source = &source;
    frame.signalling = &signalling;
    frame.time = 1'700'000'000'123'456'789;
    signalling.message = Hex("06 0D 00");
  }

  [[nodiscard]] const ByteVector& Written() {
    EXPECT_TRUE(frames.Add(frame));
    return sink.Bytes();
  }
  // The GSMTAP header and what is behind it: 16 bytes of record head, 28 of IPv4 and UDP.
  [[nodiscard]] ByteVector Payload() {
    const ByteVector& record = Written();
    return {record.begin() + 44, record.end()};
  }

  cMemorySink sink;
  cGsmtapFrames frames;
  ByteVector fileHeader;
  sSource source;
  sSignalling signalling;
  sCell cell;
  sFrame frame;
};

TEST_F(GsmtapFramesTest, TheFileHasNanosecondsAndIpv4) {
  EXPECT_EQ(fileHeader,
            Hex("4D 3C B2 A1 02 00 04 00 00 00 00 00 00 00 00 00 FF FF 00 00 E4 00 00 00"));
}

TEST_F(GsmtapFramesTest, AMessageIsADatagram) {
  signalling.syntax = eSyntax::LteUlDcch;
  frame.link = eLink::Uplink;
  cell.frequency = 1825;
  cell.systemFrame = 513;
  frame.cell = &cell;
  // 1,700,000,000 s and 123,456,789 ns; 47 bytes, twice; IPv4 of 47 bytes, whose words add up to
  // 0xFFFF; UDP of 27 bytes; type 13, channel number 0x4000 | 1825, frame 513, sub-type 3.
  EXPECT_EQ(Written(), Hex("00 F1 53 65 15 CD 5B 07 2F 00 00 00 2F 00 00 00"
                           "45 00 00 2F 00 00 40 00 40 11 B6 BA C0 00 02 01 C0 00 02 02"
                           "12 79 12 79 00 1B 00 00"
                           "02 04 0D 00 47 21 00 00 00 00 02 01 03 00 00 00 06 0D 00"));
}

TEST_F(GsmtapFramesTest, AChannelNumberOf15BitsIsLeftOut) {
  signalling.syntax = eSyntax::LteDlDcch;
  frame.link = eLink::Downlink;
  frame.cell = &cell;
  cell.frequency = 0x3FFF;
  EXPECT_EQ(Payload(), Hex("02 04 0D 00 3F FF 00 00 00 00 00 00 01 00 00 00 06 0D 00"));
  sink.Clear();
  cell.frequency = 0x4000;
  EXPECT_EQ(Payload(), Hex("02 04 0D 00 00 00 00 00 00 00 00 00 01 00 00 00 06 0D 00"));
}

TEST_F(GsmtapFramesTest, AnUplinkMessageHasTheUplinksFrequency) {
  signalling.syntax = eSyntax::WcdmaUlCcch;
  frame.link = eLink::Uplink;
  frame.cell = &cell;
  cell.frequency = 10'737;
  cell.uplinkFrequency = 9787;  // 0x263B
  EXPECT_EQ(Payload(), Hex("02 04 0C 00 66 3B 00 00 00 00 00 00 03 00 00 00 06 0D 00"));
}

TEST_F(GsmtapFramesTest, SdcchGetsTheFrameOfTheLayerBelow) {
  signalling.channel = "SDCCH";
  // Address, control, a length of 3.
  EXPECT_EQ(Payload(), Hex("02 04 01 00 00 00 00 00 00 00 00 00 08 00 00 00 01 03 0D 06 0D 00"));
}

TEST_F(GsmtapFramesTest, SacchHasTwoOctetsMore) {
  signalling.channel = "SACCH";
  EXPECT_EQ(Payload(),
            Hex("02 04 01 00 00 00 00 00 00 00 00 00 88 00 00 00 00 00 01 03 0D 06 0D 00"));
}

TEST_F(GsmtapFramesTest, AMessageTooLongForTheLayerBelowGoesAsItIs) {
  signalling.channel = "SDCCH";
  signalling.message.assign(63, 0);
  EXPECT_EQ(Payload()[12], 8);
  EXPECT_EQ(Payload()[18], 0xFD);
  sink.Clear();
  signalling.message.assign(64, 0);
  const ByteVector payload = Payload();
  EXPECT_EQ(payload[2], 2);  // Abis
  EXPECT_EQ(payload.size(), 16U + 64U);
}

TEST_F(GsmtapFramesTest, OtherLayerThreeMessagesAreOfAbis) {
  for (const char* channel : {"DCCH", "FACCH", ""}) {
    signalling.channel = channel;
    sink.Clear();
    EXPECT_EQ(Payload(), Hex("02 04 02 00 00 00 00 00 00 00 00 00 00 00 00 00 06 0D 00"));
  }
}

TEST_F(GsmtapFramesTest, BcchAndCcchAreToldApart) {
  signalling.syntax = eSyntax::GsmPseudoLength;
  signalling.channel = "BCCH";
  EXPECT_EQ(Payload()[12], 1);
  sink.Clear();
  signalling.channel = "CCCH";
  EXPECT_EQ(Payload()[12], 2);
}

TEST_F(GsmtapFramesTest, WhatItCannotCarryIsRefused) {
  for (const eSyntax syntax : {eSyntax::NrDlDcch, eSyntax::NrNas, eSyntax::Ip, eSyntax::Sip}) {
    signalling.syntax = syntax;
    EXPECT_FALSE(frames.Add(frame));
  }
  signalling.syntax = eSyntax::WcdmaSystemInformationBlock;
  EXPECT_FALSE(frames.Add(frame));
  frame.sort = eFrameSort::Text;
  EXPECT_FALSE(frames.Add(frame));
  frame.sort = eFrameSort::Packet;
  EXPECT_FALSE(frames.Add(frame));
  EXPECT_EQ(sink.Bytes(), ByteVector());
}

TEST_F(GsmtapFramesTest, TheLongestDatagramHas65535Bytes) {
  signalling.syntax = eSyntax::LteDlDcch;
  signalling.message.assign(65'535 - 20 - 8 - 16 + 1, 0);
  EXPECT_FALSE(frames.Add(frame));
  signalling.message.pop_back();
  EXPECT_EQ(Written().size(), 16U + 65'535U);
}

TEST_F(GsmtapFramesTest, TimesEndWhereThoseOfTheFormatDo) {
  frame.time = INT64_MAX;  // 9,223,372,036 s, more than 32 bits
  const ByteVector& record = Written();
  EXPECT_EQ(ByteVector(record.begin(), record.begin() + 4), Hex("FF FF FF FF"));
}

}  // namespace
}  // namespace corvane
