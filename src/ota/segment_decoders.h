#pragma once

#include <cstdint>

#include "ota/emit_sib.h"
#include "ota/ota_packet.h"
#include "ota/sib_assembly.h"

namespace corvane {

// One decoder for each payload choice of a system-information message, in the order of the choices
// 1 to 10. They read the message most significant bit first.
//
// `packet` is of one of the two BCCH channels. Each returns the blocks that the message completed,
// in order, stamped with `diagTimestamp`, and keeps the unfinished ones in `assemblyMap`. A message
// that is cut short completes fewer blocks; segment_pieces.h says what becomes of stored ones.
using SegmentDecoder = SibPacketList (*)(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                                         std::uint64_t diagTimestamp);

[[nodiscard]] SibPacketList DecodeFirstSegment(SibAssemblyMap& assemblyMap,
                                               const sOtaPacket& packet,
                                               std::uint64_t diagTimestamp);
[[nodiscard]] SibPacketList DecodeSubsequentSegment(SibAssemblyMap& assemblyMap,
                                                    const sOtaPacket& packet,
                                                    std::uint64_t diagTimestamp);
[[nodiscard]] SibPacketList DecodeLastSegmentShort(SibAssemblyMap& assemblyMap,
                                                   const sOtaPacket& packet,
                                                   std::uint64_t diagTimestamp);
[[nodiscard]] SibPacketList DecodeLastAndFirst(SibAssemblyMap& assemblyMap,
                                               const sOtaPacket& packet,
                                               std::uint64_t diagTimestamp);
[[nodiscard]] SibPacketList DecodeLastAndComplete(SibAssemblyMap& assemblyMap,
                                                  const sOtaPacket& packet,
                                                  std::uint64_t diagTimestamp);
[[nodiscard]] SibPacketList DecodeLastAndCompleteAndFirst(SibAssemblyMap& assemblyMap,
                                                          const sOtaPacket& packet,
                                                          std::uint64_t diagTimestamp);
[[nodiscard]] SibPacketList DecodeCompleteSibList(SibAssemblyMap& assemblyMap,
                                                  const sOtaPacket& packet,
                                                  std::uint64_t diagTimestamp);
[[nodiscard]] SibPacketList DecodeCompleteAndFirst(SibAssemblyMap& assemblyMap,
                                                   const sOtaPacket& packet,
                                                   std::uint64_t diagTimestamp);
[[nodiscard]] SibPacketList DecodeCompleteSib(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                                              std::uint64_t diagTimestamp);
[[nodiscard]] SibPacketList DecodeLastSegment(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                                              std::uint64_t diagTimestamp);

}  // namespace corvane
