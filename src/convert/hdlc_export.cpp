#include "convert/hdlc_export.h"

#include <string_view>

#include "capture/isf/layout.h"
#include "convert/item_description.h"
#include "convert/rebuilt_blocks.h"
#include "convert/unshown_messages.h"
#include "diag/hdlc.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

[[nodiscard]] bool IsReceived(const sCaptureItem& item) {
  switch (item.type) {
    case isf::kShortLogItem:
    case isf::kPacketItem:
    case isf::kEventItem:
    case isf::kLogItem:
    case isf::kMessageItem:
    case isf::kSignallingLogItem:
    case isf::kSubsystemItem:
      return true;
    default:
      return false;
  }
}

// Whether it is worth describing an item to find out whether it was rebuilt.
[[nodiscard]] bool MayBeRebuilt(const sCaptureItem& item) {
  return item.bytes.size() > log_packet::kHeaderSize && item.bytes[0] == command::kLog &&
         Load16(&item.bytes[log_packet::kLogCode]) == ota_log::kLogCode;
}

void AppendStuffed(std::vector<std::uint8_t>& frame, std::uint8_t byte) {
  if (byte == kFrameFlag || byte == kFrameEscape) {
    frame.push_back(kFrameEscape);
    byte ^= kFrameStuffing;
  }
  frame.push_back(byte);
}

}  // namespace

cHdlcExport::cHdlcExport(const sExportOptions& wanted, cByteSink& output)
    : keepRebuilt(wanted.keepRebuilt), sink(output) {}

void cHdlcExport::Add(const sCaptureItem& item) {
  if (IsLeftOut(item)) {
    return;
  }
  // A recorder that stores wrappers as they are tells no subscription beside them. In a capture of
  // this recorder a subscription stays told while packets come that had no wrapper: modems wrap
  // logs alone. An imported one says where there was none.
  const bool hadWrapper = source.imported || item.bytes[0] == command::kLog;
  if (!source.subscription || !hadWrapper || item.bytes[0] == command::kWrapper) {
    WriteFrame(item.bytes);
    return;
  }
  wrapped.assign(wrapper::kPacket, 0);
  wrapped[0] = command::kWrapper;
  wrapped[wrapper::kVersion] = 1;
  Store32(&wrapped[wrapper::kSubscription], *source.subscription);
  wrapped.insert(wrapped.end(), item.bytes.begin(), item.bytes.end());
  WriteFrame(wrapped);
}

void cHdlcExport::Pass(const sCaptureItem& item) {
  ApplySourceText(DescribeItem(item).text, source);
}

void cHdlcExport::Mark(const sMarker&) { ++markersLeftOut; }

bool cHdlcExport::IsLeftOut(const sCaptureItem& item) {
  // Every item is shown to it: what follows a reply only counts right behind it.
  const bool isOutOfReply = kept.IsOutOfReply(item);
  if (item.type == isf::kInformationItem) {
    ApplySourceText(DescribeItem(item).text, source);
    return true;
  }
  if (item.type == isf::kRequestItem || item.type == isf::kSubsystemRequestItem) {
    return true;
  }
  if (!IsReceived(item)) {
    ++unknownLeftOut;
    return true;
  }
  if (isOutOfReply) {
    ++outOfReplyLeftOut;
    return true;
  }
  if (!keepRebuilt && MayBeRebuilt(item) && IsRebuilt(item, DescribeItem(item), source)) {
    ++rebuiltLeftOut;
    return true;
  }
  return false;
}

// FramePacket makes no frame that is longer than the longest packet. A reader of files has no such
// bound, and a long packet may be full of bytes to be stuffed.
void cHdlcExport::WriteFrame(const std::vector<std::uint8_t>& packet) {
  frame.clear();
  for (const std::uint8_t byte : packet) {
    AppendStuffed(frame, byte);
  }
  const std::uint16_t crc = Crc16X25(packet.data(), packet.size());
  AppendStuffed(frame, static_cast<std::uint8_t>(crc));
  AppendStuffed(frame, static_cast<std::uint8_t>(crc >> 8));
  frame.push_back(kFrameFlag);
  sink.Write(frame);
}

std::vector<std::string> cHdlcExport::Notes() const {
  std::vector<std::string> notes;
  const auto tell = [&notes](std::uint64_t count, std::string_view one, std::string_view more,
                             std::string_view rest) {
    if (count != 0) {
      notes.push_back(CountText(count, one, more) + std::string(rest));
    }
  };
  tell(rebuiltLeftOut, "system-information block that the recorder rebuilt is",
       "system-information blocks that the recorder rebuilt are", " left out (--synthetic keep)");
  tell(outOfReplyLeftOut, "packet is", "packets are",
       " left out, because the reply in front holds the same");
  tell(unknownLeftOut, "item of an unknown type is", "items of unknown types are", " left out");
  tell(markersLeftOut, "marker is", "markers are", " left out");
  return notes;
}

}  // namespace corvane
