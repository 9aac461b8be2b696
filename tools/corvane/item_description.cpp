#include "corvane/item_description.h"

#include <fmt/format.h>

#include "capture/isf/layout.h"
#include "corvane/log_description.h"
#include "corvane/packet_description.h"
#include "corvane/readable_text.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane::tools {
namespace {

[[nodiscard]] std::string DescribeText(const sCaptureItem& item) {
  const std::optional<std::string> text = isf::LoadTextItem(item.bytes);
  return text ? "text " + Quote(*text) : "information without a text header";
}

// The store's form of one event: command, length, event word, time, payload.
[[nodiscard]] std::string DescribeEvent(const sCaptureItem& item) {
  if (item.bytes.size() < event_report::kEventPayload) {
    return "event that is cut off";
  }
  const unsigned id = Load16(&item.bytes[event_report::kEventWord]) & event_report::kIdMask;
  const std::size_t payload = item.bytes.size() - event_report::kEventPayload;
  if (payload == 0) {
    return fmt::format("event {}", id);
  }
  return fmt::format("event {}, {} byte{} of payload", id, payload, payload == 1 ? "" : "s");
}

}  // namespace

std::string_view ItemTypeName(std::uint32_t type) {
  switch (type) {
    case isf::kShortLogItem:
      return "short-log";
    case isf::kPacketItem:
      return "packet";
    case isf::kRequestItem:
      return "request";
    case isf::kEventItem:
      return "event";
    case isf::kLogItem:
      return "log";
    case isf::kMessageItem:
      return "message";
    case isf::kInformationItem:
      return "information";
    case isf::kSignallingLogItem:
      return "signalling-log";
    case isf::kSubsystemItem:
      return "subsystem";
    case isf::kSubsystemRequestItem:
      return "subsystem-request";
    default:
      return "unknown";
  }
}

std::string DescribeItem(const sCaptureItem& item) {
  switch (item.type) {
    case isf::kInformationItem:
      return DescribeText(item);
    case isf::kEventItem:
      return DescribeEvent(item);
    case isf::kShortLogItem:
    case isf::kLogItem:
    case isf::kSignallingLogItem:
      return DescribeLog(item);
    case isf::kMessageItem:
      return DescribeMessage(item.bytes);
    case isf::kRequestItem:
    case isf::kSubsystemRequestItem:
      return DescribeRequest(item.bytes);
    case isf::kPacketItem:
    case isf::kSubsystemItem:
      return DescribeReply(item.bytes);
    default:
      return "item of an unknown type";
  }
}

bool HasCommand(const sCaptureItem& item) {
  return item.type != isf::kInformationItem && !item.bytes.empty();
}

}  // namespace corvane::tools
