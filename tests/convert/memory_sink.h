#pragma once

#include "convert/byte_sink.h"
#include "support/bytes.h"

namespace corvane {

// A sink that keeps everything, or refuses what it is told to.
class cMemorySink final : public cByteSink {
 public:
  // What was written until now, or since it was cleared.
  [[nodiscard]] const ByteVector& Bytes() {
    Flush();
    return bytes;
  }
  void Clear() {
    Flush();
    bytes.clear();
  }
  // From now on nothing is taken, for this reason (a value of errno).
  void Refuse(int reason) { refusal = reason; }
  // How many pieces were handed on.
  [[nodiscard]] std::size_t Pieces() const { return pieces; }

 private:
  [[nodiscard]] int Deliver(std::span<const std::uint8_t> piece) override {
    ++pieces;
    bytes.insert(bytes.end(), piece.begin(), piece.end());
    return refusal;
  }

  ByteVector bytes;
  int refusal = 0;
  std::size_t pieces = 0;
};

}  // namespace corvane
