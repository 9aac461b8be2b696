#include "ota/segment_decoders.h"

#include <tuple>

#include "ota/segment_pieces.h"

namespace corvane {

SibPacketList DecodeFirstSegment(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                                 std::uint64_t diagTimestamp) {
  cSegmentPieces message(assemblyMap, packet, diagTimestamp);
  message.FirstSegment(eSegmentForm::Fixed);
  return message.TakePackets();
}

SibPacketList DecodeSubsequentSegment(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                                      std::uint64_t diagTimestamp) {
  cSegmentPieces message(assemblyMap, packet, diagTimestamp);
  message.SubsequentSegment();
  return message.TakePackets();
}

SibPacketList DecodeLastSegmentShort(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                                     std::uint64_t diagTimestamp) {
  cSegmentPieces message(assemblyMap, packet, diagTimestamp);
  message.LastSegment(eSegmentForm::Short);
  return message.TakePackets();
}

SibPacketList DecodeLastAndFirst(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                                 std::uint64_t diagTimestamp) {
  cSegmentPieces message(assemblyMap, packet, diagTimestamp);
  if (message.LeadingLastSegment()) {
    message.FirstSegment(eSegmentForm::Short);
  }
  return message.TakePackets();
}

SibPacketList DecodeLastAndComplete(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                                    std::uint64_t diagTimestamp) {
  cSegmentPieces message(assemblyMap, packet, diagTimestamp);
  if (message.LeadingLastSegment()) {
    std::ignore = message.CompleteSibList();
  }
  return message.TakePackets();
}

SibPacketList DecodeLastAndCompleteAndFirst(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                                            std::uint64_t diagTimestamp) {
  cSegmentPieces message(assemblyMap, packet, diagTimestamp);
  if (message.LeadingLastSegment() && message.CompleteSibList()) {
    message.FirstSegment(eSegmentForm::Short);
  }
  return message.TakePackets();
}

SibPacketList DecodeCompleteSibList(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                                    std::uint64_t diagTimestamp) {
  cSegmentPieces message(assemblyMap, packet, diagTimestamp);
  std::ignore = message.CompleteSibList();
  return message.TakePackets();
}

SibPacketList DecodeCompleteAndFirst(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                                     std::uint64_t diagTimestamp) {
  cSegmentPieces message(assemblyMap, packet, diagTimestamp);
  if (message.CompleteSibList()) {
    message.FirstSegment(eSegmentForm::Short);
  }
  return message.TakePackets();
}

SibPacketList DecodeCompleteSib(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                                std::uint64_t diagTimestamp) {
  cSegmentPieces message(assemblyMap, packet, diagTimestamp);
  message.CompleteSib();
  return message.TakePackets();
}

SibPacketList DecodeLastSegment(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                                std::uint64_t diagTimestamp) {
  cSegmentPieces message(assemblyMap, packet, diagTimestamp);
  message.LastSegment(eSegmentForm::Fixed);
  return message.TakePackets();
}

}  // namespace corvane
