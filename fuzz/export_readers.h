#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Readers of what an export writes, which know nothing of the code that writes it. Each stops the
// fuzzer where a file is not as its format says.
namespace corvane {

// Well-formed UTF-8 (RFC 3629).
[[nodiscard]] bool IsUtf8(std::string_view text);

// A packet of a pcapng file.
struct sReadFrame {
  std::uint16_t linkType = 0;
  std::vector<std::uint8_t> data;
};

struct sReadPcapng {
  std::size_t interfaces = 0;
  std::vector<sReadFrame> frames;
};

// One section (draft-ietf-opsawg-pcapng) of interfaces and enhanced packets; its exported PDUs are
// held to be some too.
[[nodiscard]] sReadPcapng ReadPcapng(std::span<const std::uint8_t> file);

// A pcap file of GSMTAP in UDP and IPv4. Returns how many packets it has.
[[nodiscard]] std::size_t ReadGsmtapPcap(std::span<const std::uint8_t> file);

// Rows of CSV (RFC 4180), the line of names included.
[[nodiscard]] std::vector<std::vector<std::string>> ReadCsv(std::string_view file);

}  // namespace corvane
