#pragma once

#include <ctime>

#include "diag/shared_buffer.h"

namespace corvane {

// Views over a packet: each holds one counted reference to a buffer, remembers the local time at
// which it was made, and answers whether the buffer is a well-formed packet of its kind.
//
// Making a view validates it by its own class's rule, so IsValid answers from the start.
//
// The derived rules start from the stored flag, so a view once found invalid stays invalid: they
// only ever narrow the verdict. Only sProtocolBuffer::Validate looks at the buffer afresh.
//
// Because a view gives its reference back, whoever makes one must hold a reference too (or be done
// with the buffer): the release of the last reference destroys the buffer.

struct sProtocolBuffer {
  // `viewed` may be null; an unusable buffer is not attached. `timestamp` is zero throughout when
  // the system cannot tell the local time.
  explicit sProtocolBuffer(sSharedBuffer* viewed);
  sProtocolBuffer(const sProtocolBuffer&) = delete;
  sProtocolBuffer& operator=(const sProtocolBuffer&) = delete;
  virtual ~sProtocolBuffer();

  // The verdict of the last validation, without another look at the buffer.
  [[nodiscard]] virtual bool IsValid() const;
  // Validates by the class's rule, stores the verdict and returns it. Here: whether a usable buffer
  // is attached.
  virtual bool Validate();

  sSharedBuffer* buffer = nullptr;
  std::tm timestamp{};
  bool valid = false;
};

// A DIAG packet: any usable buffer of a known origin (kOriginDevice or kOriginLibrary).
struct sDiagBuffer : sProtocolBuffer {
  explicit sDiagBuffer(sSharedBuffer* viewed);
  bool Validate() override;
};

// A subsystem command or response: 0x4B of 4 bytes or more, or 0x80 of 4 bytes or more (12 when it
// was received).
struct sDiagSubsystemCmd : sDiagBuffer {
  explicit sDiagSubsystemCmd(sSharedBuffer* viewed);
  bool Validate() override;
};

// The debug subsystem's response to get-item: a subsystem packet of 13 bytes or more, subsystem
// 0x25, command 8.
struct sDiagDbgSSGetItemRsp : sDiagSubsystemCmd {
  explicit sDiagDbgSSGetItemRsp(sSharedBuffer* viewed);
  bool Validate() override;
};

}  // namespace corvane
