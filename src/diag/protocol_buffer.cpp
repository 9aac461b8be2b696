#include "diag/protocol_buffer.h"

#include "diag/little_endian.h"
#include "diag/packets.h"
#include "platform/clock.h"

namespace corvane {
namespace {

[[nodiscard]] bool IsSubsystemPacket(const sSharedBuffer& packet) {
  switch (packet.data[0]) {
    case command::kSubsystem:
      return packet.size >= subsystem::kHeadSize;
    case command::kSecondSubsystem:
      return packet.size >= (packet.origin == kOriginDevice ? subsystem::kSecondResponseHeadSize
                                                            : subsystem::kHeadSize);
    default:
      return false;
  }
}

}  // namespace

sProtocolBuffer::sProtocolBuffer(sSharedBuffer* viewed) : timestamp(LocalCalendarTime()) {
  if (IsUsable(viewed)) {
    AddRef(viewed);
    buffer = viewed;
  }
  valid = buffer != nullptr;
}

sProtocolBuffer::~sProtocolBuffer() {
  if (IsUsable(buffer)) {
    Release(buffer);
  }
  buffer = nullptr;
  valid = false;
}

bool sProtocolBuffer::IsValid() const { return valid; }

bool sProtocolBuffer::Validate() {
  valid = IsUsable(buffer);
  return valid;
}

// Each class validates by its own rule, so that a view is ready for use once it is made.
sDiagBuffer::sDiagBuffer(sSharedBuffer* viewed) : sProtocolBuffer(viewed) {
  sDiagBuffer::Validate();
}

bool sDiagBuffer::Validate() {
  valid = IsValid() && (buffer->origin == kOriginDevice || buffer->origin == kOriginLibrary);
  return valid;
}

sDiagSubsystemCmd::sDiagSubsystemCmd(sSharedBuffer* viewed) : sDiagBuffer(viewed) {
  sDiagSubsystemCmd::Validate();
}

bool sDiagSubsystemCmd::Validate() {
  valid = IsValid() && IsSubsystemPacket(*buffer);
  return valid;
}

sDiagDbgSSGetItemRsp::sDiagDbgSSGetItemRsp(sSharedBuffer* viewed) : sDiagSubsystemCmd(viewed) {
  sDiagDbgSSGetItemRsp::Validate();
}

bool sDiagDbgSSGetItemRsp::Validate() {
  valid = sDiagSubsystemCmd::Validate() && IsValid() && buffer->size >= get_item::kPacket &&
          buffer->data[subsystem::kId] == subsystem::kDebugSubsystem &&
          Load16(buffer->data + subsystem::kCommand) == subsystem::kGetItemCommand;
  return valid;
}

}  // namespace corvane
