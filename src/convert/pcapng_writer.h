#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "convert/byte_sink.h"
#include "describe/signalling.h"

namespace corvane {

// Link types of pcap and pcapng files.
inline constexpr std::uint16_t kLinkTypeUser0 = 147;
inline constexpr std::uint16_t kLinkTypeIpv4 = 228;
inline constexpr std::uint16_t kLinkTypeExportedPdu = 252;

struct sPcapngInterface {
  std::uint16_t linkType = kLinkTypeExportedPdu;
  std::string name;
  std::string description;
};

struct sPcapngPacket {
  std::uint32_t interface = 0;  // as AddInterface gave it
  std::int64_t time = 0;        // nanoseconds since 1970, not negative
  std::span<const std::uint8_t> data;
  std::string_view comment;   // empty: none
  std::optional<eLink> link;  // downlink is inbound
  // How many more bytes the packet had than were captured.
  std::size_t missing = 0;
};

// Writes a pcapng file of one section (draft-ietf-opsawg-pcapng), each block with one call of the
// sink.
class cPcapngWriter {
 public:
  // How many bytes of a text are written: a multiple of four that the 16 bits of a length hold.
  static constexpr std::size_t kLongestText = 65'532;

  // Writes the section header. `sink` is not owned and must outlive the writer. Texts are UTF-8,
  // here and below; one that is longer than kLongestText is cut between two characters.
  cPcapngWriter(cByteSink& sink, std::string_view application);

  // Returns the interface's number. Its times are in nanoseconds.
  [[nodiscard]] std::uint32_t AddInterface(const sPcapngInterface& interface);
  void AddPacket(const sPcapngPacket& packet);

 private:
  void Begin(std::uint32_t type);
  void AddOption(std::uint16_t code, std::span<const std::uint8_t> value);
  void AddText(std::uint16_t code, std::string_view text);
  void End();

  cByteSink& output;
  std::uint32_t interfaces = 0;
  std::vector<std::uint8_t> block;  // the one being made; its memory is reused
};

}  // namespace corvane
