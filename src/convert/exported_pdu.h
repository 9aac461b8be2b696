#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "convert/dissectors.h"
#include "describe/signalling.h"

namespace corvane {

// Makes a frame of link type 252 in `frame`, whose memory is reused: tags that name the dissector,
// the text for the Protocol column and the link's direction, then the message. The address columns
// show who sent: 192.0.2.1 is the device and 192.0.2.2 the network, addresses that are kept free
// for examples (RFC 5737).
void MakeExportedPdu(const sDissector& dissector, std::optional<eLink> link,
                     std::span<const std::uint8_t> message, std::vector<std::uint8_t>& frame);

}  // namespace corvane
