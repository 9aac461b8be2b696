#include "convert/source_texts.h"

#include <gtest/gtest.h>

#include "reader/capture_builder.h"

namespace corvane {
namespace {

sSource After(std::initializer_list<std::string_view> texts) {
  sSource source;
  for (const std::string_view text : texts) {
    ApplySourceText(text, source);
  }
  return source;
}

TEST(SourceTextsTest, AConnectionTellsThePort) {
  EXPECT_EQ(After({"Port COM7 connected"}).port, "COM7");
  EXPECT_EQ(After({"Port QMBE:{5A1B9A3C} connected"}).port, "QMBE:{5A1B9A3C}");
  EXPECT_EQ(After({"Port COM7 connected", "Port COM8 connected"}).port, "COM8");
}

TEST(SourceTextsTest, TheLastPortStaysWhenItIsDisconnected) {
  EXPECT_EQ(After({"Port COM7 connected", "Port COM7 disconnected"}).port, "COM7");
}

TEST(SourceTextsTest, ASubscriptionIsToldUntilTheNextOne) {
  EXPECT_EQ(After({"Subscription 2"}).subscription, 2u);
  EXPECT_EQ(After({"Subscription 2", "Subscription 1"}).subscription, 1u);
  EXPECT_EQ(After({"Subscription 2", "Subscription none"}).subscription, std::nullopt);
}

TEST(SourceTextsTest, AnotherPortBeginsWithoutASubscription) {
  EXPECT_EQ(After({"Port COM7 connected", "Subscription 2", "Port COM8 connected"}).subscription,
            std::nullopt);
  EXPECT_EQ(After({"Port COM7 connected", "Subscription 2", "Port COM7 connected"}).subscription,
            2u);
}

TEST(SourceTextsTest, AnImportTellsTheStream) {
  EXPECT_EQ(After({"Imported from drive.hdlc"}), (sSource{"drive.hdlc", std::nullopt, true}));
  EXPECT_EQ(After({"Imported from COM9 connected"}).port, "COM9 connected");
  EXPECT_EQ(After({"Subscription 2", "Imported from drive.hdlc"}).subscription, std::nullopt);
  EXPECT_EQ(After({"Imported from drive.hdlc", "Subscription 2"}),
            (sSource{"drive.hdlc", 2, true}));
}

TEST(SourceTextsTest, APortEndsAnImport) {
  EXPECT_EQ(After({"Imported from COM7", "Subscription 2", "Port COM7 connected"}),
            (sSource{"COM7", std::nullopt, false}));
}

TEST(SourceTextsTest, AMergeTellsTheCapture) {
  EXPECT_EQ(After({"Port COM7 connected", "Subscription 2", "Merged from a.isf"}),
            (sSource{"", std::nullopt, false, "a.isf"}));
  EXPECT_EQ(After({"Merged from a.isf", "Port COM7 connected", "Subscription 2"}),
            (sSource{"COM7", 2, false, "a.isf"}));
  EXPECT_EQ(After({"Merged from a.isf", "Imported from drive.hdlc"}),
            (sSource{"drive.hdlc", std::nullopt, true, "a.isf"}));
  EXPECT_EQ(After({"Merged from a.isf", "Port COM7 connected", "Merged from b.isf"}),
            (sSource{"", std::nullopt, false, "b.isf"}));
}

TEST(SourceTextsTest, KindsOfTextsAreToldApart) {
  EXPECT_EQ(KindOfSourceText("Merged from a.isf"), eSourceText::Capture);
  EXPECT_EQ(KindOfSourceText("Port COM7 connected"), eSourceText::Port);
  EXPECT_EQ(KindOfSourceText("Imported from drive.hdlc"), eSourceText::Port);
  EXPECT_EQ(KindOfSourceText("Subscription none"), eSourceText::Subscription);
  EXPECT_EQ(KindOfSourceText("Subscription 2"), eSourceText::Subscription);
  EXPECT_EQ(KindOfSourceText("Port COM7 disconnected"), eSourceText::PortGone);
  for (const char* const text :
       {"Merged from ", "Port  connected", "Subscription two", "Corvane version 1.0", ""}) {
    EXPECT_EQ(KindOfSourceText(text), eSourceText::None) << text;
  }
}

TEST(SourceTextsTest, TheTextOfAMergeIsUnderstood) {
  EXPECT_EQ(After({MergeText("fahrt-größe.isf")}).capture, "fahrt-größe.isf");
}

TEST(SourceTextsTest, APacketHoldsItsTextInUtf16) {
  EXPECT_EQ(MakeTextPacket(""), Hex("C0 FF FF FF 00 00"));
  // U+00F6, U+6F22 and U+1F4E1, of two, three and four bytes.
  EXPECT_EQ(MakeTextPacket("aö漢📡"), Hex("C0 FF FF FF 61 00 F6 00 22 6F 3D D8 E1 DC 00 00"));
  EXPECT_EQ(MakeTextPacket("a\xFF"
                           "b"),
            Hex("C0 FF FF FF 61 00 FD FF 62 00 00 00"));
}

TEST(SourceTextsTest, OtherTextsChangeNothing) {
  const sSource source = After({"Port COM7 connected", "Subscription 2", "Port  connected",
                                "Port connected", "Subscription ", "Subscription two",
                                "Subscription 2x", "Subscription -1", "Subscription 4294967296",
                                "Corvane version 1.0", "", "Imported from ", "Merged from "});
  EXPECT_EQ(source, (sSource{"COM7", 2}));
}

TEST(SourceTextsTest, TheTextOfAnImportIsUnderstood) {
  EXPECT_EQ(ImportText("drive.hdlc"), "Imported from drive.hdlc");
}

TEST(SourceTextsTest, TheTextOfASubscriptionIsUnderstood) {
  EXPECT_EQ(SubscriptionText(2), "Subscription 2");
  EXPECT_EQ(SubscriptionText(std::nullopt), "Subscription none");
}

}  // namespace
}  // namespace corvane
