#pragma once

#include "modem_sim/bytes.h"

// The DIAG packets that the simulated modem understands and makes, from its own side of the
// protocol. Codes and layouts are written down a second time here, not taken from the recorder's
// diag/packets.h: the simulator checks the recorder, and a wrong offset that both shared would
// pass.
namespace corvane::modem_sim {

// Command codes: the first byte of every packet.
enum eCommand : std::uint8_t {
  kVersion = 0x00,
  kStatus = 0x0C,
  kLog = 0x10,
  kBadCommand = 0x13,
  kBadParameters = 0x14,
  kBadLength = 0x15,
  kDiagVersion = 0x1C,
  kTimeStamp = 0x1D,
  kMessage = 0x1F,
  kSubsystem = 0x4B,
  kEventReport = 0x60,
  kStateQuery = 0x63,
  kLogMask = 0x73,
  kExtendedMessage = 0x79,
  kExtendedBuild = 0x7C,
  kMessageLevels = 0x7D,
  kGetEventMask = 0x81,
  kSetEventMask = 0x82,
  kTerseMessage = 0x92,
  kWrapper = 0x98,
};

// A packet's time stamp: upper 48 bits in units of 1.25 ms since 1980-01-06 00:00:00 UTC, lower 16
// bits in 1/49152 of a unit. The simulator's clock is virtual: it stands at the start of 2024,
// unless an option says otherwise, and moves by 5 ms with each streamed packet.
inline constexpr std::uint64_t kUnitsPerSecond = 800;
inline constexpr std::uint64_t kClockStart = std::uint64_t{1388102400} * kUnitsPerSecond;
inline constexpr std::uint64_t kUnitsPerPacket = 4;
inline constexpr std::uint32_t kFractionsPerUnit = 49152;

[[nodiscard]] constexpr std::uint64_t DiagTime(std::uint64_t units, std::uint32_t fraction) {
  return units << 16 | fraction;
}

// The log code of over-the-air signalling.
inline constexpr std::uint16_t kOtaLogCode = 0x412F;

// 0x10: the log header (16 bytes) and the payload.
inline constexpr std::size_t kLogHeaderSize = 16;
[[nodiscard]] Bytes LogPacket(std::uint16_t code, std::uint64_t time, ByteView payload);

// One event as it happened in the modem.
struct sEvent {
  std::uint16_t id = 0;     // 0 to 4095
  unsigned lengthCode = 0;  // 0: no payload; 1, 2: that many bytes; 3: counted
  bool shortTime = false;   // sent as 16 bits that replace bits 8 to 23 of the time before it
  std::uint64_t time = 0;   // a DIAG time stamp
  Bytes payload;            // without the count byte of length code 3
};

// 0x60: all events in one report.
[[nodiscard]] Bytes EventReport(const std::vector<sEvent>& events);

// The same event as a report of its own with its full time, in the form in which a recorder keeps
// single events: the length code in bits 13 and 14, payload length + 10 as the length, and of a
// counted payload the count byte too.
[[nodiscard]] Bytes SingleEvent(const sEvent& event);

// A debug message of the modem.
struct sMessage {
  std::uint16_t ssid = 0;
  unsigned level = 0;  // bit number in the SSID's mask
  std::uint16_t line = 0;
  std::uint64_t time = 0;
  std::vector<std::uint32_t> arguments;
  std::string format;
  std::string file;
};

[[nodiscard]] Bytes ExtendedMessage(const sMessage& message);                   // 0x79
[[nodiscard]] Bytes TerseMessage(const sMessage& message, std::uint32_t hash);  // 0x92
// 0x1F. It has three arguments, 39 characters of format, 12 of file name, and no SSID.
[[nodiscard]] Bytes LegacyMessage(const sMessage& message);

// The answer to a request that the modem does not accept: the error and the request itself.
[[nodiscard]] Bytes ErrorReply(eCommand error, ByteView request);

// The debug subsystem's get-item answer (subsystem 0x25, command 8) around a packet that the modem
// had kept.
[[nodiscard]] Bytes GetItemReply(ByteView keptPacket);

}  // namespace corvane::modem_sim
