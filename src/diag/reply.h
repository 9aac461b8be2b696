#pragma once

#include "diag/shared_buffer.h"

namespace corvane {

// How a received packet bears on the request in flight.
enum class eReply {
  None,         // log, message or event traffic that the modem sends on its own
  Response,     // any other packet; it is not compared with the request's command
  EventReport,  // 60 00 00, exactly: the short answer to the event-reporting request
};

// An empty packet is no reply.
[[nodiscard]] eReply ClassifyReply(const sSharedBuffer& packet);

}  // namespace corvane
