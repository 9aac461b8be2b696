#include "corvane/capture/port_probe.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "corvane/command/readable_text.h"
#include "describe/description.h"
#include "diag/hdlc.h"
#include "diag/packets.h"
#include "diag/shared_buffer.h"

namespace corvane::tools {
namespace {

constexpr std::uint8_t kRequest[] = {command::kVersion};

// The pieces of text in a reply: date and time of the modem's software, and its name. How they are
// laid out differs from modem to modem.
[[nodiscard]] std::string TextsIn(std::span<const std::uint8_t> reply) {
  constexpr std::size_t kShortest = 4;
  std::string texts;
  std::string piece;
  const auto take = [&] {
    if (piece.size() >= kShortest) {
      texts += (texts.empty() ? "" : " ") + piece;
    }
    piece.clear();
  };
  for (const std::uint8_t byte : reply) {
    if (byte >= 0x20 && byte < 0x7F) {
      piece += static_cast<char>(byte);
    } else {
      take();
    }
  }
  take();
  return texts;
}

// What a packet answers to the request; nothing when it is no answer to it.
[[nodiscard]] std::optional<std::string> AnswerIn(std::span<const std::uint8_t> packet) {
  if (packet.size() < 2) {
    return std::nullopt;  // nothing, or the request's own echo
  }
  if (packet[0] == command::kVersion) {
    const std::string texts = TextsIn(packet.subspan(1));
    return texts.empty() ? "its version" : fmt::format("version {}", Quote(texts));
  }
  const sDescription told = DescribePacket(packet, eSender::Modem);
  if (told.command && !told.command->refusal.empty() && packet[1] == command::kVersion) {
    return fmt::format("it refuses to tell its version ({})", told.command->refusal);
  }
  return std::nullopt;
}

// Takes the whole frames off the front of what was received. Returns the answer, if it is in one.
[[nodiscard]] std::optional<std::string> TakeFrames(std::vector<std::uint8_t>& received) {
  std::size_t done = 0;
  std::optional<std::string> answer;
  while (!answer) {
    const OwnedBuffer rest = MakeBuffer(std::span(received).subspan(done), kOriginDevice);
    std::uint32_t consumed = 0;
    const OwnedBuffer packet = UnframePacket(rest.get(), &consumed);
    if (consumed == 0) {
      break;
    }
    if (packet != nullptr) {
      answer = AnswerIn(packet->Bytes());
    }
    done += consumed;
  }
  received.erase(received.begin(), received.begin() + static_cast<std::ptrdiff_t>(done));
  return answer;
}

}  // namespace

sProbeAnswer AskVersion(cProbedLine& line, const std::function<bool()>& isOver) {
  using enum sProbeAnswer::eOutcome;
  const OwnedBuffer frame = FramePacket(MakeBuffer(kRequest, kOriginLibrary).get());
  if (frame == nullptr || !line.Write(frame->Bytes())) {
    return {Failed, "it takes no data"};
  }
  std::vector<std::uint8_t> received;
  while (!isOver()) {
    const auto bytes = line.Read();
    if (!bytes) {
      return {Failed, "it cannot be read"};
    }
    received.insert(received.end(), bytes->begin(), bytes->end());
    if (auto answer = TakeFrames(received)) {
      return {Answered, std::move(*answer)};
    }
    // What is no DIAG stream has no frames, and would be kept for ever.
    if (received.size() > kMaxBufferSize) {
      received.clear();
    }
  }
  return {Silent, "no answer"};
}

}  // namespace corvane::tools
