#include "convert/exported_pdu.h"

#include <gtest/gtest.h>

#include "reader/capture_builder.h"

namespace corvane {
namespace {

[[nodiscard]] ByteVector Made(const sDissector& dissector, std::optional<eLink> link,
                              const ByteVector& message) {
  ByteVector frame = Hex("FF FF");  // of an earlier frame
  MakeExportedPdu(dissector, link, message, frame);
  return frame;
}

TEST(ExportedPduTest, AFrameNamesItsDissectorBeforeTheMessage) {
  // Tag 12 with "data", the end, the message.
  EXPECT_EQ(Made({"data", {}}, {}, Hex("AA BB CC")),
            Hex("00 0C 00 04 64 61 74 61 00 00 00 00 AA BB CC"));
}

TEST(ExportedPduTest, TextsAreFilledUpWithZerosThatCount) {
  // Tag 12 with "sip", tag 33 with "abcde".
  EXPECT_EQ(Made({"sip", "abcde"}, {}, {}),
            Hex("00 0C 00 04 73 69 70 00 00 21 00 08 61 62 63 64 65 00 00 00 00 00 00 00"));
}

TEST(ExportedPduTest, AnUplinkMessageIsSentByTheDevice) {
  // Tag 35 with 0, tag 20 with 192.0.2.1, tag 21 with 192.0.2.2.
  EXPECT_EQ(Made({"data", {}}, eLink::Uplink, Hex("01")),
            Hex("00 0C 00 04 64 61 74 61 00 23 00 04 00 00 00 00 00 14 00 04 C0 00 02 01"
                "00 15 00 04 C0 00 02 02 00 00 00 00 01"));
}

TEST(ExportedPduTest, ADownlinkMessageIsReceivedByTheDevice) {
  EXPECT_EQ(Made({"data", {}}, eLink::Downlink, Hex("01")),
            Hex("00 0C 00 04 64 61 74 61 00 23 00 04 00 00 00 01 00 14 00 04 C0 00 02 02"
                "00 15 00 04 C0 00 02 01 00 00 00 00 01"));
}

}  // namespace
}  // namespace corvane
