#pragma once

#include <span>
#include <string>

#include "convert/byte_sink.h"

namespace corvane {

// Keeps what a target has written.
class cTextSink final : public cByteSink {
 public:
  // All of it so far.
  [[nodiscard]] const std::string& Text() {
    Flush();
    return text;
  }

 private:
  [[nodiscard]] int Deliver(std::span<const std::uint8_t> bytes) override {
    text.append(bytes.begin(), bytes.end());
    return 0;
  }

  std::string text;
};

}  // namespace corvane
