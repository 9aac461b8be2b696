#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "describe/signalling.h"

// What a DIAG packet is, in the field's words. All lists, tables, reports and exports are made of
// this one result. Nothing here knows a terminal or a file.
namespace corvane {

enum class eItemSort : std::uint8_t {
  Unknown,  // none of the others; `command` has the command code, if there is one
  Log,
  Event,    // one event, or a report of several; see sDescription::events
  Message,  // a debug message
  Request,  // to the modem
  Reply,    // of the modem to a request
  Text,     // text of the recorder
};

// A mobile network.
struct sPlmn {
  std::uint16_t mcc = 0;
  std::uint16_t mnc = 0;
  std::uint8_t mncDigits = 2;  // 2 or 3

  friend bool operator==(const sPlmn&, const sPlmn&) = default;
};

// "262-02", "310-410"
[[nodiscard]] std::string PlmnText(const sPlmn& plmn);

// What a packet tells of a cell. What it does not tell is empty.
struct sCell {
  std::optional<std::uint32_t> frequency;        // downlink ARFCN, UARFCN, EARFCN or NR-ARFCN
  std::optional<std::uint32_t> uplinkFrequency;  // the same of the uplink
  std::optional<std::uint16_t> physicalCell;     // PCI, or primary scrambling code of WCDMA
  std::optional<std::uint8_t> bsic;              // GSM: NCC << 3 | BCC
  std::optional<sPlmn> plmn;
  std::optional<std::uint64_t> cellIdentity;    // of the network: CI, UTRAN, E-UTRAN or NR cell ID
  std::optional<std::uint64_t> globalIdentity;  // NCGI as its log has it: how, is not known
  std::optional<std::uint32_t> areaCode;        // LAC or TAC
  std::optional<std::uint32_t> routingArea;     // RAC
  std::optional<std::uint32_t> band;
  std::optional<std::uint32_t> bandwidth;        // of the downlink, in the unit of its log
  std::optional<std::uint32_t> uplinkBandwidth;  // of the uplink
  std::optional<std::uint32_t> systemFrame;      // SFN
  std::optional<std::uint8_t> subframe;
  std::optional<std::uint32_t> antennas;

  friend bool operator==(const sCell&, const sCell&) = default;
};

struct sEvent {
  std::uint16_t id = 0;
  std::string_view name;              // "LTE RRC state change"; empty when there is none
  std::optional<std::uint64_t> time;  // DIAG timestamp
  std::vector<std::uint8_t> payload;
  std::string value;  // the payload in words, where they are known: "connected"
};

// A debug message. Its texts are the modem's bytes as they are: any but zeros, and not always
// UTF-8.
struct sDebugMessage {
  std::optional<std::uint16_t> ssid;  // subsystem ID
  std::string_view subsystem;         // its name; empty when there is none
  std::optional<std::uint16_t> line;
  std::optional<std::uint32_t> levels;  // bit 0 low, 1 medium, 2 high, 3 error, 4 fatal (a guess)
  std::optional<std::uint32_t> hash;  // stands for text and file, which only the maker can look up
  std::uint8_t dropped = 0;           // how many messages were lost before this one
  std::string format;                 // the text without its arguments
  std::string text;                   // with its arguments put in, as far as they are there
  std::string file;                   // source file name
  std::vector<std::uint32_t> arguments;
  std::size_t argumentsInText = 0;  // how many of them, from the first on, `text` has

  [[nodiscard]] bool HasOtherArguments() const { return argumentsInText < arguments.size(); }
};

// A request or its reply.
struct sCommand {
  std::uint8_t code = 0;
  std::string_view name;  // "log mask", "version"; empty when there is none for this code
  std::optional<std::uint8_t> subsystem;
  std::string_view subsystemName;
  std::optional<std::uint16_t> subsystemCommand;
  std::string_view subsystemCommandName;
  std::string details;       // what it asks for or tells: "equipment ID 1, 12 log codes"
  std::string_view refusal;  // why the modem refused a request: "bad length"; else empty
};

// What a packet is. Views of names last for ever; nothing refers to the packet's bytes.
struct sDescription {
  eItemSort sort = eItemSort::Unknown;
  // Of multi-SIM modems, counted from 1; empty when the packet was not in a wrapper.
  std::optional<std::uint32_t> subscription;
  std::optional<std::uint64_t> modemTime;  // DIAG timestamp (describe/diag_time.h)
  eTechnology technology = eTechnology::None;

  // Log packets.
  std::optional<std::uint16_t> logCode;
  std::string_view logName;               // "LTE RRC OTA message"; empty when there is none
  std::string_view logKey;                // its hyphenated form
  std::optional<std::uint32_t> version;   // of the log's layout (VersionText), where it has one
  std::optional<sSignalling> signalling;  // the message, if the log carries one that is understood
  std::optional<sCell> cell;              // what the log tells of a cell, beside a message or alone
  // What else it tells: "EMM state 3". Of a log of messages without one that can be shown, why:
  // "DL-DCCH, 12 of 40 bytes".
  std::string details;
  // The packet of a log of messages has none to show, and nothing is lacking: it is filler, or for
  // the modem's own use. `signalling` is empty. False for a message that is not understood.
  bool leftOut = false;

  std::vector<sEvent> events;  // one, but for a report that was not split
  std::optional<sDebugMessage> message;
  std::optional<sCommand> command;
  std::string text;  // of the recorder's text items
  // The packet is shorter than its layout; what could be read is described.
  bool cutOff = false;
};

// Who sent a packet.
enum class eSender : std::uint8_t { Modem, Host };

// Describes any packet. A wrapper of multi-SIM modems (0x98) is described as the packet within,
// with its subscription. A packet that is not as its command promises, or of an unknown version, is
// described as far as it is sure. An event report is described with all its events.
[[nodiscard]] sDescription DescribePacket(std::span<const std::uint8_t> packet, eSender sender);

// Describes a packet of one event, as a capture file holds them: command, 16-bit length, event
// word, 64-bit time, payload.
[[nodiscard]] sDescription DescribeSingleEvent(std::span<const std::uint8_t> packet);

}  // namespace corvane
