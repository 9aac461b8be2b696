#include "rewrite/source_texts_in_force.h"

#include "capture/isf/layout.h"

namespace corvane {
namespace {

[[nodiscard]] std::optional<std::string> TextOfItem(std::uint32_t type,
                                                    std::span<const std::uint8_t> packet) {
  return type == isf::kInformationItem ? isf::LoadTextItem(packet) : std::nullopt;
}

}  // namespace

eSourceText SourceTextIn(std::uint32_t type, std::span<const std::uint8_t> packet) {
  const auto text = TextOfItem(type, packet);
  return text ? KindOfSourceText(*text) : eSourceText::None;
}

void cTextsInForce::Pass(std::uint32_t type, std::span<const std::uint8_t> packet) {
  const auto text = TextOfItem(type, packet);
  if (!text) {
    return;
  }
  const tTextPacket bytes(packet.begin(), packet.end());
  const sSource before = source;
  ApplySourceText(*text, source);
  switch (KindOfSourceText(*text)) {
    case eSourceText::Capture:
      capture = bytes;
      port.clear();
      subscription.clear();
      break;
    case eSourceText::Port:
      port = bytes;
      if (source.port != before.port || source.imported != before.imported) {
        subscription.clear();
      }
      break;
    case eSourceText::PortGone:
      // Repeating that it was connected would begin a connection. The subscription goes on over a
      // reconnection, after which a recorder does not tell it again.
      port.clear();
      break;
    case eSourceText::Subscription:
      subscription = bytes;
      break;
    case eSourceText::None:
      break;
  }
}

std::vector<tTextPacket> cTextsInForce::MissingIn(const cTextsInForce& told,
                                                  eSourceText next) const {
  std::vector<tTextPacket> missing;
  const auto need = [&missing](const tTextPacket& text) {
    if (!text.empty()) {
      missing.push_back(text);
    }
  };
  // Each text makes those behind it untold.
  const bool isOtherCapture = next != eSourceText::Capture && source.capture != told.source.capture;
  if (isOtherCapture) {
    need(capture);
  }
  const bool isOtherPort =
      isOtherCapture || source.port != told.source.port || source.imported != told.source.imported;
  if (isOtherPort && next != eSourceText::Capture && next != eSourceText::Port) {
    need(port);
  }
  // No text tells a port that is gone.
  const bool isAnew = isOtherCapture || (isOtherPort && !port.empty());
  if (next == eSourceText::None && (isAnew ? source.subscription.has_value()
                                           : source.subscription != told.source.subscription)) {
    need(subscription);
  }
  return missing;
}

bool cSourcedWriter::Add(const isf::sRecordHead& head, std::span<const std::uint8_t> packet,
                         const cTextsInForce& inForce) {
  for (const tTextPacket& text : inForce.MissingIn(told, SourceTextIn(head.type, packet))) {
    if (!writer.Add({isf::kInformationItem, head.time, {}}, text)) {
      return false;
    }
    told.Pass(isf::kInformationItem, text);
    ++texts;
  }
  told.Pass(head.type, packet);
  return writer.Add(head, packet);
}

}  // namespace corvane
