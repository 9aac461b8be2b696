#include "describe/log_packets.h"
#include "describe/signalling_log.h"

namespace corvane {

bool DescribeSignallingLog(std::uint16_t logCode, std::span<const std::uint8_t> bytes,
                           sDescription& description) {
  const cFields payload(bytes, description.cutOff);
  return DescribeLteLog(logCode, payload, description) ||
         DescribeNrLog(logCode, payload, description) ||
         DescribeWcdmaLog(logCode, payload, description) ||
         DescribeGsmLog(logCode, payload, description) ||
         DescribeInternetLog(logCode, payload, description);
}

}  // namespace corvane
