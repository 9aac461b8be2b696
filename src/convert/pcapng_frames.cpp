#include "convert/pcapng_frames.h"

#include "convert/exported_pdu.h"

namespace corvane {

std::string SourceName(const sSource& source, std::string_view unnamed) {
  std::string name = source.port.empty() ? std::string(unnamed) : source.port;
  if (source.subscription) {
    name += " subscription " + std::to_string(*source.subscription);
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
  if (frame.sort == eFrameSort::Message) {
    dissector = DissectorOf(*frame.signalling, frame.technology);
    bytes = frame.signalling->message;
  }
  if (!dissector) {
    return false;
  }
  MakeExportedPdu(*dissector, frame.link, bytes, pdu);
  file.AddPacket({InterfaceOf(*frame.source, kLinkTypeExportedPdu), frame.time, pdu, frame.comment,
                  frame.link});
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
  const std::uint32_t number =
      file.AddInterface({linkType, isRaw ? name + " packets" : name,
                         (isRaw ? "DIAG packets of " : "Signalling of ") + name});
  interfaces.emplace(isNamed ? own : shared, number);
  return number;
}

}  // namespace corvane
