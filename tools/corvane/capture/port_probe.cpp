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

// A reply as most modems lay it out, counted from behind the command: texts of fixed length, filled
// up with blanks or zeros, and numbers behind them.
namespace version_reply {
constexpr std::size_t kDateSize = 11;  // "Oct 18 2019"
constexpr std::size_t kTimeSize = 8;   // "14:30:00"
constexpr std::size_t kCompiled = 0;
constexpr std::size_t kReleased = kCompiled + kDateSize + kTimeSize;
constexpr std::size_t kDirectory = kReleased + kDateSize + kTimeSize;
constexpr std::size_t kDirectorySize = 8;
}  // namespace version_reply

// A text of fixed length without what fills it up.
[[nodiscard]] std::string FixedText(std::span<const std::uint8_t> bytes) {
  const auto isText = [](std::uint8_t byte) { return byte > 0x20 && byte < 0x7F; };
  const auto end = std::find_if(bytes.begin(), bytes.end(),
                                [&](std::uint8_t byte) { return byte != 0x20 && !isText(byte); });
  std::string text(bytes.begin(), end);
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

// "Oct 18 2019 14:30:00", or nothing where date and time do not stand there.
[[nodiscard]] std::optional<std::string> DateIn(std::span<const std::uint8_t> bytes) {
  using namespace version_reply;
  const std::string date = FixedText(bytes.first(kDateSize));
  const std::string time = FixedText(bytes.subspan(kDateSize, kTimeSize));
  const bool isDate = date.size() == kDateSize && date[3] == ' ' && date[6] == ' ';
  const bool isTime = time.size() == kTimeSize && time[2] == ':' && time[5] == ':';
  return isDate && isTime ? std::optional(date + " " + time) : std::nullopt;
}

// What a reply of the usual layout tells, in words.
[[nodiscard]] std::optional<std::string> UsualVersion(std::span<const std::uint8_t> reply) {
  using namespace version_reply;
  if (reply.size() < kDirectory + kDirectorySize) {
    return std::nullopt;
  }
  const auto compiled = DateIn(reply.subspan(kCompiled));
  const auto released = DateIn(reply.subspan(kReleased));
  if (!compiled || !released) {
    return std::nullopt;
  }
  return fmt::format("version {}, compiled {}, released {}",
                     Quote(FixedText(reply.subspan(kDirectory, kDirectorySize))), *compiled,
                     *released);
}

// The pieces of text in a reply of another layout.
[[nodiscard]] std::string TextsIn(std::span<const std::uint8_t> reply) {
  constexpr std::size_t kShortest = 4;
  std::string texts;
  std::string piece;
  const auto take = [&] {
    if (piece.size() >= kShortest) {
      texts += (texts.empty() ? "" : ", ") + piece;
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
    if (auto usual = UsualVersion(packet.subspan(1))) {
      return usual;
    }
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
