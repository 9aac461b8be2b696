// Looks at arbitrary packets in every way in which the recorder looks at them, and takes packets
// out of get-item responses. docs/fuzzing.md describes the input.
//
//   scripts/fuzz.sh packet 1
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "capture/isf/item_types.h"
#include "diag/packets.h"
#include "diag/protocol_buffer.h"
#include "fuzz/checks.h"
#include "fuzz/diag_model.h"

namespace corvane {
namespace {

using Bytes = ModelBytes;
using View = ModelView;

[[nodiscard]] eReply ModelReply(View packet) {
  constexpr std::uint8_t kOwnTraffic[] = {0x10, 0x1F, 0x60, 0x74, 0x79, 0x92};
  if (packet.empty()) {
    return eReply::None;
  }
  if (std::ranges::find(kOwnTraffic, packet[0]) == std::end(kOwnTraffic)) {
    return eReply::Response;
  }
  return ModelIsShortAnswer(packet) ? eReply::EventReport : eReply::None;
}

[[nodiscard]] bool IsKnownOrigin(std::uint32_t origin) { return origin == 3 || origin == 4; }

// --- The checks

// A view answers alike from the start and when it is asked again, and holds one reference.
template <typename Viewing>
void CheckView(sSharedBuffer& buffer, bool isUsable, bool expected) {
  {
    Viewing view(&buffer);
    Require(view.IsValid() == expected && view.Validate() == expected && view.IsValid() == expected,
            "a view has the expected verdict");
    Require(view.buffer == (isUsable ? &buffer : nullptr), "a view holds a usable buffer");
    Require(buffer.refCount == (isUsable ? 2 : 1), "a view takes one reference");
    // Once found invalid, a view of a narrower rule stays invalid.
    view.valid = false;
    Require(view.Validate() == (expected && std::is_same_v<Viewing, sProtocolBuffer>),
            "a verdict only narrows");
  }
  Require(buffer.refCount == 1, "a view gives its reference back");
}

void CheckViews(View packet, std::uint32_t origin) {
  const cBufferReference buffer(
      new sSharedBuffer(packet.data(), static_cast<std::int32_t>(packet.size()), origin));
  const bool isUsable = !packet.empty() && packet.size() <= 16640;
  Require(buffer->IsUsable() == isUsable, "a buffer is usable or not");
  CheckView<sProtocolBuffer>(*buffer, isUsable, isUsable);
  CheckView<sDiagBuffer>(*buffer, isUsable, isUsable && IsKnownOrigin(origin));
  CheckView<sDiagSubsystemCmd>(*buffer, isUsable, isUsable && ModelIsSubsystem(packet, origin));
  CheckView<sDiagDbgSSGetItemRsp>(*buffer, isUsable, isUsable && ModelIsGetItem(packet, origin));
}

void CheckKind(sSharedBuffer& buffer, const sLearnedValues& learned, const sModelLearned& model) {
  const View packet = buffer.Bytes();
  const bool isReport = buffer.origin != kOriginLibrary && ModelIsReport(packet);
  Require(IsEventReport(buffer) == isReport, "an event report is one");
  Require(IsShortEventAnswer(packet) == ModelIsShortAnswer(packet), "an answer is one");
  Require(ClassifyReply(packet) == ModelReply(packet), "a reply is the expected one");
  if (!isReport && IsKnownOrigin(buffer.origin)) {
    const sItemKind kind = ChooseItemKind(buffer, learned);
    const sModelKind expected = ModelKind(packet, buffer.origin, model);
    Require(kind.type == expected.type, "an item has the expected type");
    Require(kind.extra.value_or(kModelUnknown) == expected.extra, "an extra field is as expected");
  }
}

// All packets inside, each in the one before.
void CheckGetItems(View packet, std::uint32_t origin) {
  cBufferReference outer(MakeBuffer(packet, origin));
  while (IsUsable(outer.Get())) {
    const View expected = ModelPacketInside(packet, outer->origin);
    const cBufferReference inner = UnwrapGetItemResponse(*outer);
    Require(static_cast<bool>(inner) == !expected.empty(), "a response has a packet inside or not");
    Require(outer->refCount == 1 && std::ranges::equal(outer->Bytes(), packet),
            "a response stays as it is");
    if (inner) {
      packet = expected;
      Require(std::ranges::equal(inner->Bytes(), packet) && inner->origin == kOriginDevice &&
                  inner->refCount == 1,
              "the packet inside is the expected one");
    }
    outer = inner;
  }
}

void CheckWrappers(View packet) {
  const sUnwrapped unwrapped = Unwrap(packet);
  std::optional<std::uint32_t> subscription;
  const View inner = ModelUnwrap(packet, subscription);
  Require(unwrapped.subscription == subscription, "a subscription is the expected one");
  Require(unwrapped.packet.data() == inner.data() && unwrapped.packet.size() == inner.size(),
          "a wrapper holds the expected packet");
}

// --- The input

constexpr std::uint32_t kOrigins[] = {kOriginDevice, kOriginLibrary, kOriginDevice, 5};

// The packet behind as many heads of get-item responses as `kind` says, or of wrappers.
[[nodiscard]] Bytes PacketOf(std::uint8_t kind, View input) {
  constexpr std::array<std::uint8_t, 13> kGetItem = {0x4B, 0x25, 8};
  constexpr std::array<std::uint8_t, 8> kWrapper = {0x98, 1, 0, 0, 2};
  Bytes packet;
  for (int head = (kind >> 2) & 7; head != 0; --head) {
    if ((kind & 0x20) != 0) {
      packet.insert(packet.end(), kWrapper.begin(), kWrapper.end());
    } else {
      packet.insert(packet.end(), kGetItem.begin(), kGetItem.end());
    }
  }
  packet.insert(packet.end(), input.begin(), input.end());
  return packet;
}

// The input begins with the request that was sent last.
void LearnFrom(View& input, sLearnedValues& learned, sModelLearned& model) {
  const std::size_t size = std::min<std::size_t>(input[0], input.size() - 1);
  const View request = input.subspan(1, size);
  input = input.subspan(1 + size);
  if (request.empty()) {
    return;
  }
  // What the device sends teaches nothing.
  learned.LearnFrom(*MakeBuffer(request, kOriginDevice));
  Require(learned.technology == model.technology && learned.cellValue == model.cell,
          "the device teaches nothing");
  learned.LearnFrom(*MakeBuffer(request, kOriginLibrary));
  model.Learn(request);
  Require(learned.technology == model.technology && learned.cellValue == model.cell,
          "what is learned is as expected");
}

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvane;
  if (size < 2) {
    return 0;
  }
  // Bits 0 and 1 are the origin, bits 2 to 5 what the packet lies in.
  const std::uint8_t kind = data[0];
  const std::uint32_t origin = kOrigins[kind & 3];
  View input(data + 1, size - 1);
  sLearnedValues learned;
  sModelLearned model;
  LearnFrom(input, learned, model);
  const Bytes packet = PacketOf(kind, input);
  CheckViews(packet, origin);
  CheckWrappers(packet);
  CheckGetItems(packet, origin);
  const cBufferReference buffer(MakeBuffer(packet, origin));
  if (IsUsable(buffer.Get())) {
    CheckKind(*buffer, learned, model);
  }
  return 0;
}
