#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>

#include "convert/framing.h"
#include "convert/import.h"
#include "convert/modem_time.h"
#include "platform/error_codes.h"
#include "reader/capture_builder.h"
#include "support/capture_decoder.h"
#include "support/temp_directory.h"

namespace corvane {

inline constexpr std::uint64_t kUnknown = 11'960'438'400'000;  // 1980-01-06 00:00:00 UTC

// A log packet of 16 bytes and `payload`, with its stamp at `time`, in milliseconds since 1601.
[[nodiscard]] inline ByteVector Log(std::uint64_t time, unsigned logCode = 0xB0C0,
                                    const ByteVector& payload = {}) {
  ByteVector packet = Hex("10 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
  packet.insert(packet.end(), payload.begin(), payload.end());
  Put(packet, 2, packet.size() - 4, 2);
  Put(packet, 4, packet.size() - 4, 2);
  Put(packet, 6, logCode, 2);
  Put(packet, 8, StampAt(time), 8);
  return packet;
}

// A packet in the wrapper of a multi-SIM modem.
[[nodiscard]] inline ByteVector Wrapped(std::uint32_t subscription, const ByteVector& packet) {
  ByteVector wrapper = Hex("98 01 00 00 00 00 00 00");
  Put(wrapper, 4, subscription, 4);
  wrapper.insert(wrapper.end(), packet.begin(), packet.end());
  return wrapper;
}

// A get-item response with a packet inside.
[[nodiscard]] inline ByteVector GetItem(const ByteVector& packet) {
  ByteVector response = Hex("4B 25 08 00 00 00 00 00 00 00 00 00 00");
  response.insert(response.end(), packet.begin(), packet.end());
  return response;
}

[[nodiscard]] inline ByteVector StreamOf(std::initializer_list<ByteVector> packets) {
  ByteVector stream;
  for (const ByteVector& packet : packets) {
    AppendFrame(stream, packet);
  }
  return stream;
}

// An item, as the tests expect it.
struct sExpected {
  unsigned type;
  std::uint64_t time;
  ByteVector packet;

  friend bool operator==(const sExpected&, const sExpected&) = default;
  friend void PrintTo(const sExpected& item, std::ostream* out) {
    *out << "type " << item.type << " at " << item.time << ": "
         << ::testing::PrintToString(item.packet);
  }
};

[[nodiscard]] inline sExpected Text(std::string_view text, std::uint64_t time) {
  return {7, time, TextItem(text)};
}

class cImportTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::unique_ptr<std::ofstream> Create() const {
    auto file = std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc);
    EXPECT_TRUE(file->is_open());
    return file;
  }

  // Imports a stream in pieces, and reads back what came of it.
  std::vector<sExpected> Import(const ByteVector& stream, eWrapped wrapped = eWrapped::Open,
                                std::size_t piece = SIZE_MAX) {
    cImport import(Create(), {"drive.hdlc", wrapped});
    for (std::size_t at = 0; at < stream.size();) {
      const std::size_t length = std::min(piece, stream.size() - at);
      EXPECT_EQ(import.Feed(std::span(stream).subspan(at, length)), kErrorSuccess);
      at += length;
    }
    EXPECT_EQ(import.Finish(), kErrorSuccess);
    report = import.Report();
    return ReadBack();
  }
  std::vector<sExpected> Import(std::initializer_list<ByteVector> packets,
                                eWrapped wrapped = eWrapped::Open) {
    return Import(StreamOf(packets), wrapped);
  }

  [[nodiscard]] ByteVector FileBytes() const {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  // The items, of which the first has to be the text that names the stream; that one is left out.
  std::vector<sExpected> ReadBack() {
    const ByteVector bytes = FileBytes();
    EXPECT_EQ(ErrorOf(bytes), "");
    EXPECT_TRUE(OpenBytes(bytes).file->IsComplete());
    std::vector<sExpected> items;
    for (const sDecodedItem& item : DecodeCapture(bytes).Items()) {
      items.push_back({item.type, item.time, item.packet});
      EXPECT_EQ(item.extra, std::nullopt);
    }
    EXPECT_EQ(items.size(), report.items);
    EXPECT_EQ(items.at(0),
              Text("Imported from drive.hdlc", items.size() > 1 ? items[1].time : kUnknown));
    items.erase(items.begin());
    return items;
  }

  cTempDirectory folder;
  const std::string path = folder.Path("imported.isf");
  sImportReport report;
};

// Event 0x123 at its full time, then 0x456 with a payload of one byte 256 units of 1.25 ms and
// 0x80 steps of its low part later: a short time replaces bits 8 to 23.
struct sEventReport {
  ByteVector packet;
  std::vector<sExpected> items;
};
[[nodiscard]] inline sEventReport TwoEvents(std::uint8_t code) {
  const std::uint64_t first = std::uint64_t{1'119'985'920'000} << 16;  // kNoon
  const std::uint64_t later = first + (std::uint64_t{4} << 16);        // 5 ms
  ByteVector report = {code, 0, 0};
  Append(report, 0x0123, 2);
  Append(report, first, 8);
  Append(report, 0x0456 | 0x8000 | 0x2000, 2);
  Append(report, (later >> 8) & 0xFFFF, 2);
  report.push_back(0xAA);
  Put(report, 1, report.size() - 3, 2);
  ByteVector one = {code, 10, 0};
  Append(one, 0x0123, 2);
  Append(one, first, 8);
  ByteVector other = {code, 11, 0};
  Append(other, 0x2456, 2);
  Append(other, later, 8);
  other.push_back(0xAA);
  return {report, {{4, kNoon, one}, {4, kNoon + 5, other}}};
}

}  // namespace corvane
