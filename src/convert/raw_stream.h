#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace corvane {

// Why a frame of a raw stream holds no packet.
enum class eFrameFault : std::uint8_t {
  Checksum,    // its CRC is wrong
  TooShort,    // it has no room for a packet and its CRC
  TooLong,     // it is longer than any packet (cRawStream::kLongestPacket)
  Aborted,     // it ends right behind an escape, which stands for nothing
  Unfinished,  // the stream ends before it does
};

// The fault as the end of a sentence that names the frame: "has a wrong checksum".
[[nodiscard]] std::string_view FaultText(eFrameFault fault);

// Takes what a raw stream is cut into.
class cRawPacketSink {
 public:
  // A packet, unframed; its bytes last for the call. `offset` is that of its frame in the stream.
  virtual void OnPacket(std::uint64_t offset, std::span<const std::uint8_t> packet) = 0;
  virtual void OnBadFrame(std::uint64_t offset, eFrameFault fault) = 0;

 protected:
  ~cRawPacketSink() = default;
};

// Cuts a raw DIAG stream, as other recorders write it to files, into its packets: frames of
// diag/hdlc.h one behind the other. The stream comes in pieces of any length, and no length of
// stream or frame takes more memory than the longest packet.
//
// A file holds whatever a modem's port gave, from the middle of a frame on, and so every flag ends
// a frame here, also one behind an escape: a broken frame takes nothing of the next one with it.
// Flags without anything between them are fill, and no fault.
class cRawStream {
 public:
  // Log packets count their length in 16 bits, and may come in wrappers: far more is no packet.
  static constexpr std::size_t kLongestPacket = std::size_t{128} * 1024;

  // `sink` must outlive the object.
  explicit cRawStream(cRawPacketSink& packetSink) : sink(packetSink) {}

  // The next bytes of the stream.
  void Feed(std::span<const std::uint8_t> bytes);

  // The stream has ended. To be called once.
  void Finish();

 private:
  void Append(std::span<const std::uint8_t> unstuffed);
  void EndFrame();
  [[nodiscard]] std::optional<eFrameFault> FindFault() const;

  cRawPacketSink& sink;
  std::uint64_t position = 0;        // in the stream
  std::uint64_t frameStart = 0;      // of the frame that `position` lies in
  std::vector<std::uint8_t> packet;  // what has come of it, unstuffed, with its CRC
  bool isEscaped = false;            // its last byte was an escape
  bool isTooLong = false;
};

}  // namespace corvane
