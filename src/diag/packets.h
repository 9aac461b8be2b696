#pragma once

#include <cstdint>
#include <optional>
#include <span>

// The layout of every DIAG packet that is built, recognised or described: codes, offsets and sizes.
// All numbers in a packet are little-endian; offsets count from its first byte, the command code.
namespace corvane {

// Command codes, the first byte of a packet.
namespace command {

inline constexpr std::uint8_t kVersion = 0x00;
inline constexpr std::uint8_t kStatus = 0x0C;
inline constexpr std::uint8_t kLog = 0x10;
inline constexpr std::uint8_t kUnknownCommand = 0x13;  // the modem refuses a request
inline constexpr std::uint8_t kBadParameters = 0x14;   // likewise
inline constexpr std::uint8_t kBadLength = 0x15;       // likewise
// Behind these the request comes back as well. For which reason, nothing here tells.
inline constexpr std::uint8_t kRefusal18 = 0x18;
inline constexpr std::uint8_t kRefusal42 = 0x42;
inline constexpr std::uint8_t kRefusal47 = 0x47;
inline constexpr std::uint8_t kProtocolVersion = 0x1C;
inline constexpr std::uint8_t kTimeStamp = 0x1D;
inline constexpr std::uint8_t kMessage = 0x1F;
inline constexpr std::uint8_t kSubsystem = 0x4B;
inline constexpr std::uint8_t kEventReport = 0x60;  // also the request that switches them on or off
inline constexpr std::uint8_t kFeatureQuery = 0x63;
inline constexpr std::uint8_t kLogMask = 0x73;
inline constexpr std::uint8_t kSecondEventReport = 0x74;
inline constexpr std::uint8_t kExtendedMessage = 0x79;
inline constexpr std::uint8_t kBuildId = 0x7C;
inline constexpr std::uint8_t kMessageLevels = 0x7D;
inline constexpr std::uint8_t kSecondSubsystem = 0x80;
inline constexpr std::uint8_t kEventMask = 0x82;
inline constexpr std::uint8_t kTerseMessage = 0x92;
inline constexpr std::uint8_t kWrapper = 0x98;  // of multi-SIM modems: a packet and whose it is
inline constexpr std::uint8_t kNewTerseMessage = 0x99;
inline constexpr std::uint8_t kSecuredLog = 0x9E;  // encrypted

// The greatest code that an item of the capture file may have whose type is to be chosen.
inline constexpr std::uint8_t kLast = 0x92;

[[nodiscard]] constexpr bool IsSubsystem(std::uint8_t code) {
  return code == kSubsystem || code == kSecondSubsystem;
}

[[nodiscard]] constexpr bool IsEventReport(std::uint8_t code) {
  return code == kEventReport || code == kSecondEventReport;
}

}  // namespace command

// Log packets, and the header with which each begins. Shorter ones come as well.
namespace log_packet {

inline constexpr std::uint32_t kLength = 2;       // 16 bits: the packet's length - 4
inline constexpr std::uint32_t kLengthAgain = 4;  // the same again
inline constexpr std::uint32_t kUncountedBytes = 4;
inline constexpr std::uint32_t kLogCode = 6;    // 16 bits
inline constexpr std::uint32_t kTimestamp = 8;  // 64 bits, a DIAG timestamp (ota/ota_packet.h)
inline constexpr std::uint32_t kHeaderSize = 16;

// A log code has its equipment ID in bits 12 to 15 and its item number below them.
inline constexpr std::uint32_t kEquipmentIdShift = 12;
inline constexpr std::uint32_t kEquipmentIds = 16;
inline constexpr std::uint32_t kItemsPerEquipmentId = 4096;

}  // namespace log_packet

// Log packets that only the modem's maker can decrypt.
namespace secured_log {

inline constexpr std::uint32_t kLogCode = 22;  // 16 bits

}  // namespace secured_log

// The over-the-air signalling log: one WCDMA RRC message a packet, in unaligned PER (3GPP TS
// 25.331), behind the log header.
namespace ota_log {

inline constexpr std::uint16_t kLogCode = 0x412F;

inline constexpr std::uint32_t kChannel = 16;
inline constexpr std::uint32_t kRadioBearer = 17;
inline constexpr std::uint32_t kMessageLength = 18;  // 16 bits, in bytes
inline constexpr std::uint32_t kMessage = 20;
inline constexpr std::uint32_t kHeaderSize = kMessage - log_packet::kHeaderSize;

// The channels that matter to the reassembly of system information.
inline constexpr std::uint8_t kBcchBch = 4;
inline constexpr std::uint8_t kBcchFach = 5;
// Complete blocks, rebuilt from the segments that came on BCH or on FACH.
inline constexpr std::uint8_t kSibFromBch = 254;
inline constexpr std::uint8_t kSibFromFach = 255;

// The newer layout, whose channels have bit 7 set, has two more fields in front of the message.
inline constexpr std::uint8_t kNewLayout = 0x80;
inline constexpr std::uint32_t kUarfcn = 20;          // 16 bits
inline constexpr std::uint32_t kScramblingCode = 22;  // 16 bits
inline constexpr std::uint32_t kNewMessage = 24;

}  // namespace ota_log

// Debug messages: extended and terse ones begin with the same head. In an extended one the
// arguments follow, 32 bits each, then the format text and the source file's name, each with a zero
// behind it. A terse one has a hash in place of both, in front of the arguments.
namespace message {

inline constexpr std::uint32_t kTimeType = 1;
inline constexpr std::uint8_t kDiagTime = 0;  // the one time type whose layout is known
inline constexpr std::uint32_t kArgumentCount = 2;
inline constexpr std::uint32_t kDroppedCount = 3;
inline constexpr std::uint32_t kTimestamp = 4;  // 64 bits, a DIAG timestamp
inline constexpr std::uint32_t kLine = 12;      // 16 bits
inline constexpr std::uint32_t kSsid = 14;      // 16 bits
inline constexpr std::uint32_t kLevels = 16;    // 32 bits
inline constexpr std::uint32_t kHeadSize = 20;
inline constexpr std::uint32_t kArgumentSize = 4;

inline constexpr std::uint32_t kHash = 20;  // 32 bits
inline constexpr std::uint32_t kTerseArguments = 24;

}  // namespace message

// The newer terse messages, which say how long their arguments are. Their times are where those of
// the others are.
namespace new_terse_message {

inline constexpr std::uint32_t kArguments = 2;  // bits 0 to 3 how many, 4 to 7 how many bytes each
inline constexpr std::uint8_t kCountMask = 0x0F;
inline constexpr unsigned kSizeShift = 4;
inline constexpr std::uint32_t kHash = 12;  // 32 bits
inline constexpr std::uint32_t kFirstArgument = 18;

}  // namespace new_terse_message

// Event reports, and the packets of one event each that the store makes of them.
namespace event_report {

// The request that switches reports on or off is the command code and the switch.
inline constexpr std::uint32_t kSwitch = 1;
inline constexpr std::uint8_t kOn = 1;
// The short answer to that request is the code and two bytes of zero.
inline constexpr std::uint32_t kShortAnswerSize = 3;

inline constexpr std::uint32_t kLength = 1;  // 16 bits: how many bytes of events follow
inline constexpr std::uint32_t kEvents = 3;

// An event: its word, its time (16 or 64 bits), its payload.
inline constexpr std::uint16_t kIdMask = 0x0FFF;
inline constexpr std::uint16_t kLengthCodeMask = 0x6000;
inline constexpr unsigned kLengthCodeShift = 13;
inline constexpr std::uint16_t kShortTime = 0x8000;
// A time of 16 bits stands for these of the time before it.
inline constexpr std::uint64_t kShortTimeMask = 0xFFFF00;
inline constexpr unsigned kShortTimeShift = 8;
inline constexpr unsigned kCountedPayload = 3;  // length code: a count byte and as many bytes

// A packet of one event has the report's code, the length of what follows the length (16 bits), and
// the event with its whole time.
inline constexpr std::uint32_t kEventWord = 3;  // 16 bits: ID and length code
inline constexpr std::uint32_t kEventTime = 5;  // 64 bits
inline constexpr std::uint32_t kEventPayload = 13;
inline constexpr std::uint32_t kMaxEventPayload = 256;

// The event whose payload begins with the technology.
inline constexpr std::uint16_t kTechnologyEvent = 0x103;

}  // namespace event_report

namespace feature_query {

inline constexpr std::uint32_t kTechnology = 27;

}  // namespace feature_query

// Subsystem commands and their responses.
namespace subsystem {

inline constexpr std::uint32_t kId = 1;
inline constexpr std::uint32_t kCommand = 2;  // 16 bits
inline constexpr std::uint32_t kHeadSize = 4;
// A response of the second form has a status and a delayed-response header too, which requests
// lack.
inline constexpr std::uint32_t kSecondResponseHeadSize = 12;

// The request that tells the cell: 24 bits behind the head of command 0.
inline constexpr std::uint8_t kCellSubsystem = 0x09;
inline constexpr std::uint16_t kCellCommand = 0;
inline constexpr std::uint32_t kCellValue = 4;
inline constexpr std::uint32_t kCellRequestSize = 7;

inline constexpr std::uint8_t kDebugSubsystem = 0x25;
inline constexpr std::uint16_t kGetItemCommand = 8;

}  // namespace subsystem

// The debug subsystem's response to get-item: a packet that the modem had kept, if the status is 0.
namespace get_item {

inline constexpr std::uint32_t kStatus = 9;  // 32 bits
inline constexpr std::uint32_t kPacket = 13;

}  // namespace get_item

// The log-mask request: which log items of one equipment ID are wanted.
namespace log_mask {

inline constexpr std::uint32_t kOperation = 4;  // 32 bits, like the command code and what follows
inline constexpr std::uint32_t kSetMask = 3;
inline constexpr std::uint32_t kEquipmentId = 8;
inline constexpr std::uint32_t kItemCount = 12;
inline constexpr std::uint32_t kMask = 16;
inline constexpr std::uint32_t kMaskSize = log_packet::kItemsPerEquipmentId / 8;
inline constexpr std::uint32_t kSize = kMask + kMaskSize;

}  // namespace log_mask

// The event-mask request: which events are wanted.
namespace event_mask {

inline constexpr std::uint32_t kEventCount = 4;  // 16 bits
inline constexpr std::uint32_t kMask = 6;

}  // namespace event_mask

// The message-levels requests: the levels of a range of SSIDs, or one mask for all of them.
namespace message_levels {

inline constexpr std::uint32_t kOperation = 1;
inline constexpr std::uint8_t kSetRange = 4;
inline constexpr std::uint8_t kSetAll = 5;

inline constexpr std::uint32_t kFirstSsid = 2;  // 16 bits
inline constexpr std::uint32_t kLastSsid = 4;   // 16 bits
inline constexpr std::uint32_t kMasks = 8;      // 32 bits an SSID
inline constexpr std::uint32_t kMaskSize = 4;

inline constexpr std::uint32_t kMaskForAll = 4;  // 32 bits
inline constexpr std::uint32_t kSizeForAll = 8;

}  // namespace message_levels

// A packet of a multi-SIM modem in its wrapper.
namespace wrapper {

inline constexpr std::uint32_t kVersion = 1;       // one byte, 1; zeros up to the next
inline constexpr std::uint32_t kSubscription = 4;  // 32 bits, counted from 1; 0 and -1 mean 1
inline constexpr std::uint32_t kPacket = 8;        // a whole packet, command code included

}  // namespace wrapper

// The packet within a wrapper of multi-SIM modems, and its subscription (0 and -1 count as 1). Of
// wrappers in wrappers all are taken off, and the innermost one tells. The wrapper's version byte
// and the 16 bits behind it are not looked at: they are 1 and 0 in all that were seen. A packet of
// any other command is its own, without a subscription, and so is a wrapper with nothing in it.
struct sUnwrapped {
  std::span<const std::uint8_t> packet;
  std::optional<std::uint32_t> subscription;
};
[[nodiscard]] sUnwrapped Unwrap(std::span<const std::uint8_t> packet);

// How a received packet bears on the request in flight.
enum class eReply {
  None,         // log, message or event traffic that the modem sends on its own
  Response,     // any other packet; it is not compared with the request's command
  EventReport,  // 60 00 00, exactly: the short answer to the event-reporting request
};

// An empty packet is no reply.
[[nodiscard]] eReply ClassifyReply(std::span<const std::uint8_t> packet);

// True for 60 00 00, exactly.
[[nodiscard]] bool IsShortEventAnswer(std::span<const std::uint8_t> packet);

}  // namespace corvane
