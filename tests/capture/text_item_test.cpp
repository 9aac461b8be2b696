#include "capture/text_item.h"

#include <gtest/gtest.h>

#include <string>

#include "capture/session_fixture.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

ByteVector ItemBytes(std::optional<std::string_view> text) {
  const OwnedBuffer item = MakeTextItem(text);
  return {item->Bytes().begin(), item->Bytes().end()};
}

TEST(TextItemTest, IsAHeaderTheTextIn16BitCharactersAndATerminator) {
  EXPECT_EQ(ItemBytes("Ab"),
            (ByteVector{0xC0, 0xFF, 0xFF, 0xFF, 0x41, 0x00, 0x62, 0x00, 0x00, 0x00}));
}

TEST(TextItemTest, TheInformationItemSaysNameAndVersion) {
  EXPECT_EQ(ItemBytes(kInformationText), InformationItem().packet);
}

TEST(TextItemTest, IsOfTheLibraryAndNotReferencedYet) {
  const OwnedBuffer item = MakeTextItem("text");
  EXPECT_EQ(item->origin, kOriginLibrary);
  EXPECT_EQ(item->refCount, 0U);
}

TEST(TextItemTest, EmptyTextHasATerminator) {
  EXPECT_EQ(ItemBytes(""), (ByteVector{0xC0, 0xFF, 0xFF, 0xFF, 0x00, 0x00}));
}

TEST(TextItemTest, WithoutTextIsTheHeaderAlone) {
  EXPECT_EQ(ItemBytes(std::nullopt), (ByteVector{0xC0, 0xFF, 0xFF, 0xFF}));
}

TEST(TextItemTest, BytesAreWidenedBySignExtension) {
  EXPECT_EQ(ItemBytes("\x7F\x80\xFF"),
            (ByteVector{0xC0, 0xFF, 0xFF, 0xFF, 0x7F, 0x00, 0x80, 0xFF, 0xFF, 0xFF, 0x00, 0x00}));
}

TEST(TextItemTest, IsNullWhenMemoryRunsOut) {
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    cAllocationFailure failure(heap, 1);
    const OwnedBuffer item = MakeTextItem("text");
    EXPECT_TRUE(failure.Disarm());
    EXPECT_EQ(item, nullptr);
  }
}

TEST(PortMessageTest, NamesThePortAndWhatHappened) {
  const cPortMessage message("COM3", "connected");
  EXPECT_STREQ(message.CString(), "Port COM3 connected");
  EXPECT_EQ(message.Text(), "Port COM3 connected");
}

// "Port " and " connected" take 15 characters.
TEST(PortMessageTest, Of62CharactersFits) {
  const std::string name(47, 'x');
  const cPortMessage message(name.c_str(), "connected");
  EXPECT_EQ(message.Text(), "Port " + name + " connected");
  EXPECT_EQ(message.CString(), "Port " + name + " connected");
}

TEST(PortMessageTest, Of63CharactersIsNoTextAtAll) {
  const cPortMessage message(std::string(48, 'x').c_str(), "connected");
  EXPECT_EQ(message.Text(), std::nullopt);
  EXPECT_STREQ(message.CString(), "");
}

TEST(PortMessageTest, OfTheLongestDeviceNameIsNoTextAtAll) {
  const cPortMessage message(std::string(255, 'x').c_str(), "connected");
  EXPECT_EQ(message.Text(), std::nullopt);
  EXPECT_STREQ(message.CString(), "");
}

TEST(PortMessageTest, ADeviceNameIsNoFormat) {
  const cPortMessage message("%s%n", "connected");
  EXPECT_EQ(message.Text(), "Port %s%n connected");
}

}  // namespace
}  // namespace corvane
