#include "convert/pcapng_writer.h"

#include <gtest/gtest.h>

#include "convert/memory_sink.h"
#include "convert/pcapng_frames.h"
#include "diag/little_endian.h"
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

TEST(PcapngWriterTest, APacketThatWasLongerSaysSo) {
  cMemorySink sink;
  cPcapngWriter writer(sink, "");
  sink.Clear();
  const ByteVector data = Hex("01 02 03 04");
  writer.AddPacket({0, 1, data, {}, {}, 0x1234});
  EXPECT_EQ(sink.Bytes(), Hex("06 00 00 00 24 00 00 00 00 00 00 00 00 00 00 00"
                              "01 00 00 00 04 00 00 00 38 12 00 00 01 02 03 04"
                              "24 00 00 00"));
}

// The comment of the packet block that `comment` gives, which must be whole.
[[nodiscard]] std::string CommentWritten(const std::string& comment) {
  constexpr std::size_t kOptions = 28;  // behind a packet without bytes
  cMemorySink sink;
  cPcapngWriter writer(sink, "");
  sink.Clear();
  writer.AddPacket({0, 1, {}, comment, {}});
  const ByteVector& bytes = sink.Bytes();
  const std::size_t length = Load16(&bytes.at(kOptions + 2));
  const std::size_t padded = (length + 3) / 4 * 4;
  EXPECT_EQ(Load16(&bytes.at(kOptions)), 1);
  EXPECT_EQ(bytes.size(), kOptions + 4 + padded + 4 + 4);
  EXPECT_EQ(Load32(&bytes.at(4)), bytes.size());
  const auto begin = bytes.begin() + kOptions + 4;
  return {begin, begin + static_cast<std::ptrdiff_t>(length)};
}

TEST(PcapngWriterTest, ALongTextIsCut) {
  EXPECT_EQ(CommentWritten(std::string(65'532, 'a')), std::string(65'532, 'a'));
  EXPECT_EQ(CommentWritten(std::string(65'533, 'a')), std::string(65'532, 'a'));
  EXPECT_EQ(CommentWritten(std::string(70'000, 'a')), std::string(65'532, 'a'));
}

TEST(PcapngWriterTest, ALongTextIsCutBetweenCharacters) {
  const std::string face = "\xF0\x9F\x98\x80";  // U+1F600
  // It fits only where it ends with the last byte that is written.
  EXPECT_EQ(CommentWritten(std::string(65'528, 'a') + face + "b"), std::string(65'528, 'a') + face);
  for (std::size_t before = 65'529; before <= 65'532; ++before) {
    EXPECT_EQ(CommentWritten(std::string(before, 'a') + face), std::string(before, 'a'));
  }
}

// The captured and the original length of the message's packet block.
[[nodiscard]] std::pair<std::uint32_t, std::uint32_t> LengthsOf(const sSignalling& signalling) {
  cMemorySink sink;
  cPcapngFrames frames(sink, "", "modem");
  const sSource source;
  sFrame frame;
  frame.source = &source;
  frame.signalling = &signalling;
  EXPECT_TRUE(frames.Add(frame));
  sink.Clear();  // the section, and the interface
  EXPECT_TRUE(frames.Add(frame));
  return {Load32(&sink.Bytes().at(20)), Load32(&sink.Bytes().at(24))};
}

TEST(PcapngFramesTest, AnIpPacketThatWasLoggedInPartSaysSo) {
  sSignalling signalling;
  signalling.syntax = eSyntax::Ip;
  signalling.message = Hex("45 00 01 00 00 01 00 00 40 11 00 00 0A 00 00 01 0A 00 00 02");
  const auto [captured, original] = LengthsOf(signalling);
  EXPECT_EQ(original - captured, 256U - 20U);
  signalling.message.at(3) = 20;  // the length, now that of what is there
  signalling.message.at(2) = 0;
  const auto [capturedWhole, originalWhole] = LengthsOf(signalling);
  EXPECT_EQ(originalWhole, capturedWhole);
}

TEST(PcapngFramesTest, AMessageThatIsNoIpPacketIsWhole) {
  sSignalling signalling;
  signalling.syntax = eSyntax::LteNasPlain;
  signalling.message = Hex("45 00 01 00 00 01 00 00 40 11 00 00 0A 00 00 01 0A 00 00 02");
  const auto [captured, original] = LengthsOf(signalling);
  EXPECT_EQ(original, captured);
}

// The number of the interface that the last packet block of `bytes` has.
[[nodiscard]] std::uint32_t LastInterface(const ByteVector& bytes) {
  return Load32(&bytes.at(bytes.size() - Load32(&bytes.at(bytes.size() - 4)) + 8));
}

TEST(PcapngFramesTest, EachSourceHasAnInterfaceAndItsPacketsAnother) {
  cMemorySink sink;
  cPcapngFrames frames(sink, "", "modem");
  const sSource unnamed;
  const sSource second{"COM7", 2, false, "drive.isf"};
  const ByteVector bytes = Hex("AA BB");
  sFrame frame;
  frame.sort = eFrameSort::Packet;
  frame.source = &second;
  frame.bytes = bytes;
  sink.Clear();
  EXPECT_TRUE(frames.Add(frame));
  const std::string text(sink.Bytes().begin(), sink.Bytes().end());
  EXPECT_NE(text.find("COM7 subscription 2 of drive.isf packets"), std::string::npos);
  EXPECT_NE(text.find("DIAG packets of COM7 subscription 2 of drive.isf"), std::string::npos);
  EXPECT_EQ(Load16(&sink.Bytes().at(8)), 147);  // LINKTYPE_USER0
  EXPECT_EQ(LastInterface(sink.Bytes()), 0U);

  frame.sort = eFrameSort::Text;
  frame.dissector = kLineDissector;
  EXPECT_TRUE(frames.Add(frame));
  EXPECT_EQ(LastInterface(sink.Bytes()), 1U);
  frame.source = &unnamed;
  EXPECT_TRUE(frames.Add(frame));
  EXPECT_EQ(LastInterface(sink.Bytes()), 2U);
  frame.source = &second;
  EXPECT_TRUE(frames.Add(frame));
  EXPECT_EQ(LastInterface(sink.Bytes()), 1U);
}

TEST(PcapngFramesTest, AMessageWithoutADissectorIsNotWritten) {
  cMemorySink sink;
  cPcapngFrames frames(sink, "", "modem");
  const sSource source;
  sSignalling signalling;
  signalling.syntax = eSyntax::WcdmaSystemInformationBlock;
  signalling.sibType = 31;  // no block has it
  sFrame frame;
  frame.source = &source;
  frame.signalling = &signalling;
  sink.Clear();
  EXPECT_FALSE(frames.Add(frame));
  EXPECT_TRUE(sink.Bytes().empty());
}

TEST(PcapngFramesTest, SourcesBeyond256ShareAnInterface) {
  cMemorySink sink;
  cPcapngFrames frames(sink, "", "modem");
  sSource source;
  sFrame frame;
  frame.sort = eFrameSort::Text;
  frame.dissector = kLineDissector;
  frame.source = &source;
  std::vector<std::uint32_t> interfaces;
  for (int port = 0; port < 258; ++port) {
    source.port = "COM" + std::to_string(port);
    sink.Clear();
    EXPECT_TRUE(frames.Add(frame));
    interfaces.push_back(LastInterface(sink.Bytes()));
  }
  EXPECT_EQ(interfaces.at(0), 0U);
  EXPECT_EQ(interfaces.at(255), 255U);
  EXPECT_EQ(interfaces.at(256), 256U);
  EXPECT_EQ(interfaces.at(257), 256U);
}

}  // namespace
}  // namespace corvane
