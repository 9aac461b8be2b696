#include "convert/pcapng_frames.h"

#include "convert/exported_pdu.h"
#include "describe/ip_packet.h"

namespace corvane {
namespace {

// How many bytes of an IP packet the modem did not log. Told of these, Wireshark shows what is
// there; otherwise it takes the packet for a malformed one.
[[nodiscard]] std::size_t MissingBytes(const sSignalling& signalling) {
  if (signalling.syntax != eSyntax::Ip) {
    return 0;
  }
  const std::size_t stated = StatedIpLength(signalling.message);
  return stated > signalling.message.size() ? stated - signalling.message.size() : 0;
}

}  // namespace

std::string SourceName(const sSource& source, std::string_view unnamed) {
  std::string name = source.port.empty() ? std::string(unnamed) : source.port;
  if (source.subscription) {
    name += " subscription " + std::to_string(*source.subscription);
  }
  if (!source.capture.empty()) {
    name += " of " + source.capture;
  }
  return name;
}

cPcapngFrames::cPcapngFrames(cByteSink& sink, std::string_view application, std::string unnamed)
    : file(sink, application), unnamedSource(std::move(unnamed)) {}

bool cPcapngFrames::Add(const sFrame& frame) {
  if (frame.sort == eFrameSort::Packet) {
    file.AddPacket({InterfaceOf(*frame.source, kLinkTypeUser0), frame.time, frame.bytes,
                    frame.comment, frame.link});
    return true;
  }
  std::optional<sDissector> dissector = frame.dissector;
  std::span<const std::uint8_t> bytes = frame.bytes;
  std::size_t missing = 0;
  if (frame.sort == eFrameSort::Message) {
    dissector = DissectorOf(*frame.signalling, frame.technology);
    bytes = frame.signalling->message;
    missing = MissingBytes(*frame.signalling);
  }
  if (!dissector) {
    return false;
  }
  MakeExportedPdu(*dissector, frame.link, bytes, pdu);
  file.AddPacket({InterfaceOf(*frame.source, kLinkTypeExportedPdu), frame.time, pdu, frame.comment,
                  frame.link, missing});
  return true;
}

std::uint32_t cPcapngFrames::InterfaceOf(const sSource& source, std::uint16_t linkType) {
  const bool isNamed = interfaces.size() < kMostInterfaces;
  // The shared interface has a source that no text can name.
  const Key shared{sSource{{}, {}, true}, linkType};
  const Key own{source, linkType};
  if (const auto known = interfaces.find(own); known != interfaces.end()) {
    return known->second;
  }
  if (!isNamed) {
    if (const auto known = interfaces.find(shared); known != interfaces.end()) {
      return known->second;
    }
  }
  const bool isRaw = linkType == kLinkTypeUser0;
  const std::string name = isNamed ? SourceName(source, unnamedSource) : "more sources";
  const std::string shownName = isRaw ? name + " packets" : name;
  const std::string description = (isRaw ? "DIAG packets of " : "Signalling of ") + name;
  const std::uint32_t number = file.AddInterface({linkType, shownName, description});
  interfaces.emplace(isNamed ? own : shared, number);
  return number;
}

}  // namespace corvane
