#include "describe/names.h"

#include <gtest/gtest.h>

#include "describe/description.h"

namespace corvane {
namespace {

TEST(NamesTest, EveryRowOfTheTablesIsThere) {
  EXPECT_EQ(LogCodeNames().size(), 250u);
  EXPECT_EQ(EventNames().size(), 752u);
  EXPECT_EQ(SsidNames().size(), 44u);
}

TEST(NamesTest, ALogCodeHasItsKeyAndName) {
  const sLogCodeName* const first = FindLogCode(0x1007);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->key, "cdma-paging-channel-message");
  EXPECT_EQ(first->name, "CDMA paging channel message");
  EXPECT_EQ(FindLogCode(0x1006), nullptr);
  EXPECT_EQ(FindLogCode(0), nullptr);
  EXPECT_EQ(FindLogCode(0xFFFF), nullptr);
}

TEST(NamesTest, AnEventHasItsName) {
  EXPECT_EQ(EventName(256), "Band class change");
  EXPECT_EQ(EventName(1606), "LTE RRC state change");
  EXPECT_EQ(EventName(0), "");
  EXPECT_EQ(EventName(0xFFF), "");
}

TEST(NamesTest, TheNarrowestRangeNamesASubsystem) {
  EXPECT_EQ(SsidName(0), "general services");
  EXPECT_EQ(SsidName(5), "call manager");
  EXPECT_EQ(SsidName(134), "general services");
  EXPECT_EQ(SsidName(135), "");
  EXPECT_EQ(SsidName(3010), "NAS registration");
  EXPECT_EQ(SsidName(9509), "LTE ML1");
  EXPECT_EQ(SsidName(500), "");
}

TEST(NamesTest, ATechnologyHasItsName) {
  EXPECT_EQ(TechnologyName(eTechnology::EvDo), "EV-DO");
  EXPECT_EQ(TechnologyName(eTechnology::Nr), "NR");
  EXPECT_EQ(TechnologyName(eTechnology::None), "");
}

TEST(NamesTest, ANetworkHasAllDigitsOfItsCodes) {
  EXPECT_EQ(PlmnText({.mcc = 262, .mnc = 2, .mncDigits = 2}), "262-02");
  EXPECT_EQ(PlmnText({.mcc = 310, .mnc = 410, .mncDigits = 3}), "310-410");
  EXPECT_EQ(PlmnText({.mcc = 1, .mnc = 1, .mncDigits = 3}), "001-001");
}

}  // namespace
}  // namespace corvane
