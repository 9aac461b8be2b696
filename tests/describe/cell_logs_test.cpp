#include <gtest/gtest.h>

#include "describe/description.h"
#include "reader/capture_builder.h"

namespace corvane {
namespace {

// A log packet of `code` with the payload that `hex` names, its lengths as they should be.
[[nodiscard]] ByteVector Log(unsigned code, const char* hex) {
  const ByteVector payload = Hex(hex);
  ByteVector packet = Hex("10 00");
  Append(packet, payload.size() + 12, 2);
  Append(packet, payload.size() + 12, 2);
  Append(packet, code, 2);
  Append(packet, 0x0104C45CE8F00000, 8);
  packet.insert(packet.end(), payload.begin(), payload.end());
  return packet;
}

[[nodiscard]] sDescription Describe(unsigned code, const char* hex) {
  return DescribePacket(Log(code, hex), eSender::Modem);
}

// That every payload cut off before its end says so, and none tells what it does not hold.
void ExpectCutOff(unsigned code, const char* hex) {
  const ByteVector whole = Log(code, hex);
  for (std::size_t size = 16; size < whole.size(); ++size) {
    // A vector of exactly this capacity, so that the sanitizers see a read past its end.
    ByteVector packet(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    packet.shrink_to_fit();
    Put(packet, 2, size - 4, 2);
    Put(packet, 4, size - 4, 2);
    EXPECT_TRUE(DescribePacket(packet, eSender::Modem).cutOff) << size - 16;
  }
  EXPECT_FALSE(DescribePacket(whole, eSender::Modem).cutOff);
}

TEST(CellLogTest, LteMibVersion1) {
  // PCI 324, EARFCN 1825, SFN 612, 2 antennas, 100 PRBs.
  const char* const payload = "01 44 01 21 07 64 02 02 64";
  const sDescription told = Describe(0xB0C1, payload);
  EXPECT_EQ(told.technology, eTechnology::Lte);
  EXPECT_EQ(told.version, 1u);
  sCell cell;
  cell.physicalCell = 324;
  cell.frequency = 1825;
  cell.systemFrame = 612;
  cell.antennas = 2;
  cell.bandwidth = 100;
  EXPECT_EQ(told.cell, cell);
  ExpectCutOff(0xB0C1, payload);
}

TEST(CellLogTest, LteMibVersion2) {
  // EARFCN 66,486, which needs more than 16 bits.
  const char* const payload = "02 44 01 B6 03 01 00 64 02 04 32";
  const sDescription told = Describe(0xB0C1, payload);
  EXPECT_EQ(told.version, 2u);
  sCell cell;
  cell.physicalCell = 324;
  cell.frequency = 66'486;
  cell.systemFrame = 612;
  cell.antennas = 4;
  cell.bandwidth = 50;
  EXPECT_EQ(told.cell, cell);
  ExpectCutOff(0xB0C1, payload);
}

TEST(CellLogTest, LteMibVersion17IsOfNbIot) {
  const char* const payload = "11 44 01 B6 03 01 00 64 02 AA AA AA AA AA AA AA AA 01";
  const sDescription told = Describe(0xB0C1, payload);
  EXPECT_EQ(told.version, 17u);
  sCell cell;
  cell.physicalCell = 324;
  cell.frequency = 66'486;
  cell.systemFrame = 612;
  cell.antennas = 1;
  EXPECT_EQ(told.cell, cell);
  ExpectCutOff(0xB0C1, payload);
}

TEST(CellLogTest, LteServingCellVersion3) {
  // PCI 324, EARFCNs 1825 and 19825, 100 and 75 PRBs, cell 0x0A1B2C03, TAC 0x1234, band 3, MCC
  // 262, MNC 02 with two digits, access 2.
  const char* const payload =
      "03 44 01 21 07 00 00 71 4D 00 00 64 4B 03 2C 1B 0A 34 12 03 00 00 00 06 01 02 02 00 02";
  const sDescription told = Describe(0xB0C2, payload);
  EXPECT_EQ(told.technology, eTechnology::Lte);
  EXPECT_EQ(told.version, 3u);
  sCell cell;
  cell.physicalCell = 324;
  cell.frequency = 1825;
  cell.uplinkFrequency = 19'825;
  cell.bandwidth = 100;
  cell.uplinkBandwidth = 75;
  cell.cellIdentity = 0x0A1B2C03;
  cell.areaCode = 0x1234;
  cell.band = 3;
  cell.plmn = sPlmn{262, 2, 2};
  EXPECT_EQ(told.cell, cell);
  EXPECT_EQ(told.details, "access 2");
  ExpectCutOff(0xB0C2, payload);
}

TEST(CellLogTest, LteServingCellVersion2) {
  // The same with EARFCNs of 16 bits, and MCC 310, MNC 410 with three digits.
  const char* const payload =
      "02 44 01 21 07 71 4D 64 4B 03 2C 1B 0A 34 12 03 00 00 00 36 01 03 9A 01 00";
  const sDescription told = Describe(0xB0C2, payload);
  EXPECT_EQ(told.version, 2u);
  sCell cell;
  cell.physicalCell = 324;
  cell.frequency = 1825;
  cell.uplinkFrequency = 19'825;
  cell.bandwidth = 100;
  cell.uplinkBandwidth = 75;
  cell.cellIdentity = 0x0A1B2C03;
  cell.areaCode = 0x1234;
  cell.band = 3;
  cell.plmn = sPlmn{310, 410, 3};
  EXPECT_EQ(told.cell, cell);
  EXPECT_EQ(told.details, "access 0");
  ExpectCutOff(0xB0C2, payload);
}

TEST(CellLogTest, EmmState) {
  // State 3, substate 1; PLMN 26202 as 3GPP TS 24.008 has it: 62 F2 20.
  const char* const payload = "02 03 01 00 62 F2 20 01";
  const sDescription told = Describe(0xB0EE, payload);
  EXPECT_EQ(told.technology, eTechnology::Lte);
  EXPECT_EQ(told.version, 2u);
  EXPECT_EQ(told.details, "EMM state 3, substate 1, GUTI valid");
  sCell cell;
  cell.plmn = sPlmn{262, 2, 2};
  EXPECT_EQ(told.cell, cell);
  ExpectCutOff(0xB0EE, payload);
  EXPECT_EQ(Describe(0xB0EE, "02 00 00 00 FF FF FF 00").details,
            "EMM state 0, substate 0, GUTI not valid");
  EXPECT_EQ(Describe(0xB0EE, "02 00 00 00 FF FF FF 00").cell, std::nullopt);
}

TEST(CellLogTest, GsmCell) {
  // ARFCN 871 with band code 8, BCC 3, NCC 5, cell 0xABCD, PLMN 310410 (13 00 14), LAC 0x1234.
  const char* const payload = "67 83 03 05 CD AB 13 00 14 12 34";
  const sDescription told = Describe(0x5134, payload);
  EXPECT_EQ(told.technology, eTechnology::Gsm);
  EXPECT_EQ(told.version, std::nullopt);
  sCell cell;
  cell.frequency = 871;
  cell.bsic = 43;
  cell.cellIdentity = 0xABCD;
  cell.plmn = sPlmn{310, 410, 3};
  cell.areaCode = 0x1234;
  EXPECT_EQ(told.cell, cell);
  EXPECT_EQ(told.details, "band code 8");
  ExpectCutOff(0x5134, payload);
}

TEST(CellLogTest, AColourCodeOfMoreThanThreeBitsIsNone) {
  EXPECT_EQ(Describe(0x5134, "67 83 08 05 CD AB 13 00 14 12 34").cell->bsic, std::nullopt);
  EXPECT_EQ(Describe(0x5134, "67 83 03 FF CD AB 13 00 14 12 34").cell->bsic, std::nullopt);
}

TEST(CellLogTest, WcdmaCell) {
  // UARFCNs 9763 and 10713, cell 0x00A1B2C3, PSC 291, MCC 262, MNC 02 of two digits, LAC 0x1234,
  // RAC 5.
  const char* const payload =
      "23 26 00 00 D9 29 00 00 C3 B2 A1 00 EE EE EE EE 3F 12 02 06 02 00 02 FF "
      "34 12 00 00 05 00 00 00";
  const sDescription told = Describe(0x4127, payload);
  EXPECT_EQ(told.technology, eTechnology::Wcdma);
  sCell cell;
  cell.uplinkFrequency = 9763;
  cell.frequency = 10'713;
  cell.cellIdentity = 0x00A1B2C3;
  cell.physicalCell = 291;
  cell.plmn = sPlmn{262, 2, 2};
  cell.areaCode = 0x1234;
  cell.routingArea = 5;
  EXPECT_EQ(told.cell, cell);
  ExpectCutOff(0x4127, payload);
}

TEST(CellLogTest, AnMncOfThreeDigitsIsToldFromOneOfTwo) {
  const sDescription told =
      Describe(0x4127,
               "23 26 00 00 D9 29 00 00 C3 B2 A1 00 EE EE EE EE 3F 12 03 01 00 00 01 02 "
               "34 12 00 00 05 00 00 00");
  EXPECT_EQ(told.cell->plmn, (sPlmn{310, 12, 3}));
  const sDescription none =
      Describe(0x4127,
               "23 26 00 00 D9 29 00 00 C3 B2 A1 00 EE EE EE EE 3F 12 03 0A 00 00 01 02 "
               "34 12 00 00 05 00 00 00");
  EXPECT_EQ(none.cell->plmn, std::nullopt);
  EXPECT_EQ(none.cell->areaCode, 0x1234u);
}

TEST(CellLogTest, NrMib) {
  // Version 2.7, PCI 500, NR-ARFCN 632,448, SFN 1,000 with other bits above it.
  const char* const payload = "07 00 02 00 F4 01 80 A6 09 00 E8 FF";
  const sDescription told = Describe(0xB822, payload);
  EXPECT_EQ(told.technology, eTechnology::Nr);
  EXPECT_EQ(told.version, 0x20007u);
  sCell cell;
  cell.physicalCell = 500;
  cell.frequency = 632'448;
  cell.systemFrame = 1000;
  EXPECT_EQ(told.cell, cell);
  ExpectCutOff(0xB822, payload);
}

// Behind the NCGI: NR-ARFCNs 632,448 and 632,000, bandwidths 100 and 90, cell 0x123456789, MCC 310,
// MNC 410 of three digits, access 1, TAC 0x00ABCDEF, band 78.
constexpr char kNrServingCellRest[] =
    "80 A6 09 00 C0 A4 09 00 64 00 5A 00 89 67 45 23 01 00 00 00 36 01 03 9A 01 01 EF CD AB 00 "
    "4E 00";

[[nodiscard]] sCell NrServingCell() {
  sCell cell;
  cell.physicalCell = 500;
  cell.frequency = 632'448;
  cell.uplinkFrequency = 632'000;
  cell.bandwidth = 100;
  cell.uplinkBandwidth = 90;
  cell.cellIdentity = 0x123456789;
  cell.plmn = sPlmn{310, 410, 3};
  cell.areaCode = 0x00ABCDEF;
  cell.band = 78;
  return cell;
}

TEST(CellLogTest, NrServingCellVersions32And33) {
  for (const char* const version : {"02 00 03 00", "03 00 03 00"}) {
    const std::string payload =
        std::string(version) + " EE EE EE F4 01 11 22 33 44 55 66 77 88 " + kNrServingCellRest;
    const sDescription told = Describe(0xB823, payload.c_str());
    EXPECT_EQ(told.technology, eTechnology::Nr);
    EXPECT_EQ(told.version, 0x30000u + Hex(version)[0]);
    sCell cell = NrServingCell();
    cell.globalIdentity = 0x8877665544332211;
    EXPECT_EQ(told.cell, cell);
    EXPECT_EQ(told.details, "access 1");
    ExpectCutOff(0xB823, payload.c_str());
  }
}

TEST(CellLogTest, NrServingCellVersion04HasNoNcgi) {
  const std::string payload = std::string("04 00 00 00 F4 01 ") + kNrServingCellRest;
  const sDescription told = Describe(0xB823, payload.c_str());
  EXPECT_EQ(told.version, 4u);
  EXPECT_EQ(told.cell, NrServingCell());
  ExpectCutOff(0xB823, payload.c_str());
}

TEST(CellLogTest, OfAnUnknownVersionOnlyTheVersionIsSure) {
  const char* const payload =
      "09 00 03 00 F4 01 11 22 33 44 55 66 77 88 11 22 33 44 55 66 77 88 11 22 33 44 55 66 77 88 "
      "11 22 33 44 55 66 77 88 11 22 33 44 55 66 77 88";
  for (const unsigned code : {0xB0C1u, 0xB0C2u, 0xB0EEu, 0xB823u}) {
    const sDescription told = Describe(code, payload);
    EXPECT_EQ(told.version, code == 0xB823 ? 0x30009u : 9u);
    EXPECT_EQ(told.cell, std::nullopt);
    EXPECT_EQ(told.details, "");
    EXPECT_FALSE(told.cutOff);
  }
}

TEST(CellLogTest, ANetworkCodeThatCannotBeIsNotTold) {
  const auto plmn = [](const char* numbers) {
    const std::string payload =
        std::string("03 44 01 21 07 00 00 71 4D 00 00 64 4B 03 2C 1B 0A 34 12 03 00 00 00 ") +
        numbers + " 02";
    return Describe(0xB0C2, payload.c_str()).cell->plmn;
  };
  EXPECT_EQ(plmn("E7 03 02 63 00"), (sPlmn{999, 99, 2}));
  EXPECT_EQ(plmn("E8 03 02 63 00"), std::nullopt);  // MCC 1000
  EXPECT_EQ(plmn("06 01 02 64 00"), std::nullopt);  // MNC 100 of two digits
  EXPECT_EQ(plmn("06 01 03 E8 03"), std::nullopt);  // MNC 1000
  EXPECT_EQ(plmn("06 01 00 02 00"), std::nullopt);  // of no digits
}

TEST(CellLogTest, OtherLogsAreNoCellLogs) {
  const sDescription told = Describe(0xB0C3, "03 44 01 21 07");
  EXPECT_EQ(told.cell, std::nullopt);
  EXPECT_EQ(told.version, std::nullopt);
  EXPECT_EQ(told.technology, eTechnology::None);
}

}  // namespace
}  // namespace corvane
