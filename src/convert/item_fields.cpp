#include "convert/item_fields.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <string>

#include "convert/characters.h"
#include "describe/diag_time.h"
#include "describe/message_names.h"
#include "describe/names.h"
#include "platform/clock.h"
#include "reader/utc_time.h"

namespace corvane {
namespace {

// --- Parts of a row

// A null of what the row does not have, so that fields can look into all rows alike.
[[nodiscard]] const sSignalling* SignallingOf(const sItemRow& row) {
  return row.description.signalling ? &*row.description.signalling : nullptr;
}
[[nodiscard]] const sCell* CellOf(const sItemRow& row) {
  return row.description.cell ? &*row.description.cell : nullptr;
}
[[nodiscard]] const sDebugMessage* MessageOf(const sItemRow& row) {
  return row.description.message ? &*row.description.message : nullptr;
}
[[nodiscard]] const sCommand* CommandOf(const sItemRow& row) {
  return row.description.command ? &*row.description.command : nullptr;
}
// The first one: a capture of this recorder holds single events.
[[nodiscard]] const sEvent* EventOf(const sItemRow& row) {
  return row.description.events.empty() ? nullptr : &row.description.events.front();
}

template <typename Part, typename Member>
void SetNumberOf(const Part* part, Member Part::*member, cFieldValue& value) {
  if (part != nullptr) {
    value.SetNumber(part->*member);
  }
}

template <typename Part, typename Member>
void SetTextOf(const Part* part, Member Part::*member, cFieldValue& value) {
  if (part != nullptr) {
    value.SetText(part->*member);
  }
}

// --- Words

[[nodiscard]] std::string_view SortName(eItemSort sort) {
  switch (sort) {
    case eItemSort::Log:
      return "log";
    case eItemSort::Event:
      return "event";
    case eItemSort::Message:
      return "message";
    case eItemSort::Request:
      return "request";
    case eItemSort::Reply:
      return "reply";
    case eItemSort::Text:
      return "text";
    case eItemSort::Unknown:
      break;
  }
  return "unknown";
}

void AppendPadded(std::string& text, std::uint64_t number, std::size_t digits) {
  const std::string plain = std::to_string(number);
  text.append(digits - std::min(digits, plain.size()), '0');
  text += plain;
}

// The levels of a debug message, those of the bits above them left out.
[[nodiscard]] std::string LevelNames(std::uint32_t levels) {
  std::string text;
  for (std::uint32_t level = 0; !MessageLevelName(level).empty(); ++level) {
    if ((levels >> level & 1) != 0) {
      text += text.empty() ? "" : "/";
      text += MessageLevelName(level);
    }
  }
  return text;
}

// --- Fields that take more than a line

void FillModemTime(const sItemRow& row, cFieldValue& value) {
  if (!row.description.modemTime) {
    return;
  }
  const auto time = UnixNanosecondsFromDiag(*row.description.modemTime);
  const std::int64_t leap = std::int64_t{row.leapSeconds} * kNanosecondsPerSecond;
  if (!time || *time < leap) {
    return;
  }
  const std::int64_t utc = *time - leap;
  std::string text = FormatUtc(kUnixEpochMilliseconds +
                               static_cast<std::uint64_t>(utc / kNanosecondsPerMillisecond));
  text.pop_back();  // the Z stands behind all nine digits
  AppendPadded(text, static_cast<std::uint64_t>(utc % kNanosecondsPerMillisecond), 6);
  text += 'Z';
  value.SetText(text);
}

void FillDirection(const sItemRow& row, cFieldValue& value) {
  if (row.description.sort == eItemSort::Request) {
    value.SetText("to modem");
  } else if (row.description.sort != eItemSort::Text) {
    value.SetText("from modem");
  }
}

void FillSubscription(const sItemRow& row, cFieldValue& value) {
  // A packet that is still in its wrapper tells its own.
  value.SetNumber(row.description.subscription ? row.description.subscription
                                               : row.source.subscription);
}

void FillVersion(const sItemRow& row, cFieldValue& value) {
  const sDescription& description = row.description;
  if (description.logCode && description.version && HasMinorVersion(*description.logCode)) {
    value.SetText(VersionText(*description.logCode, *description.version));
  } else {
    value.SetNumber(description.version);
  }
}

void FillMessageName(const sItemRow& row, cFieldValue& value) {
  const sSignalling* const signalling = SignallingOf(row);
  if (signalling == nullptr) {
    return;
  }
  if (signalling->messageName.empty() && signalling->sibType) {
    value.SetText(SystemInformationBlockName(*signalling->sibType));
  } else {
    value.SetText(signalling->messageName);
  }
}

void FillLink(const sItemRow& row, cFieldValue& value) {
  const sSignalling* const signalling = SignallingOf(row);
  if (signalling != nullptr && signalling->link) {
    value.SetText(*signalling->link == eLink::Uplink ? "uplink" : "downlink");
  }
}

void FillSegment(const sItemRow& row, cFieldValue& value) {
  const sSignalling* const signalling = SignallingOf(row);
  if (signalling != nullptr && signalling->segment != eSegment::Whole) {
    value.SetNumber(signalling->segmentNumber);
  }
}

void FillText(const sItemRow& row, cFieldValue& value) {
  if (const sDebugMessage* const message = MessageOf(row)) {
    value.SetText(message->text);
  } else {
    value.SetText(row.description.text);
  }
}

void FillArguments(const sItemRow& row, cFieldValue& value) {
  const sDebugMessage* const message = MessageOf(row);
  if (message == nullptr || !message->HasOtherArguments()) {
    return;
  }
  std::string text;
  for (const std::uint32_t argument : message->arguments) {
    text += text.empty() ? "" : " ";
    text += std::to_string(argument);
  }
  value.SetText(text);
}

void FillDetails(const sItemRow& row, cFieldValue& value) {
  const sCommand* const command = CommandOf(row);
  value.SetText(command != nullptr && row.description.details.empty() ? command->details
                                                                      : row.description.details);
}

// --- The table

using Row = const sItemRow&;
using Value = cFieldValue&;

constexpr sItemField kFields[] = {
    {"number", "item number, from 0",
     [](Row row, Value value) { value.SetNumber(row.item.number); }},
    {"time", "when it was recorded, UTC",
     [](Row row, Value value) { value.SetText(FormatUtc(row.item.time)); }},
    {"modem_time", "the packet's own stamp, UTC as the modem knows it", FillModemTime},
    {"sort", "log, event, message, request, reply, text or unknown",
     [](Row row, Value value) { value.SetText(SortName(row.description.sort)); }},
    {"direction", "from modem or to modem", FillDirection},
    {"port", "the port, or the imported stream, that it came from",
     [](Row row, Value value) { value.SetText(row.source.port); }},
    {"subscription", "of a multi-SIM modem, from 1", FillSubscription},
    {"type", "item type of the capture file",
     [](Row row, Value value) { value.SetNumber(row.item.type); }},
    {"length", "of the packet, in bytes",
     [](Row row, Value value) { value.SetNumber(row.item.bytes.size()); }},
    {"technology", "CDMA, EV-DO, GSM, WCDMA, TD-SCDMA, LTE, NR, IMS or IP",
     [](Row row, Value value) { value.SetText(TechnologyName(row.description.technology)); }},

    {"log_code", "of a log packet",
     [](Row row, Value value) { value.SetHexNumber(row.description.logCode, 4); }},
    {"log_name", "what the log is called",
     [](Row row, Value value) { value.SetText(row.description.logName); }},
    {"log_version", "of the log's layout; a text where it has two numbers: 3.2", FillVersion},
    {"channel", "of a signalling message: DL-DCCH, SACCH",
     [](Row row, Value value) { SetTextOf(SignallingOf(row), &sSignalling::channel, value); }},
    {"link", "of a signalling message: uplink or downlink", FillLink},
    {"message", "what the signalling message is", FillMessageName},
    {"radio_bearer", "of a signalling message",
     [](Row row, Value value) {
       SetNumberOf(SignallingOf(row), &sSignalling::radioBearer, value);
     }},
    {"sib_type", "of a whole WCDMA system-information block",
     [](Row row, Value value) { SetNumberOf(SignallingOf(row), &sSignalling::sibType, value); }},
    {"segment", "which part of a message it is, where a log cuts long ones", FillSegment},
    {"rebuilt", "1: the recorder itself made it from segments",
     [](Row row, Value value) {
       if (row.rebuilt) {
         value.SetNumber(1);
       }
     }},

    {"frequency", "downlink ARFCN, UARFCN, EARFCN or NR-ARFCN",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::frequency, value); }},
    {"uplink_frequency", "the same of the uplink",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::uplinkFrequency, value); }},
    {"physical_cell", "PCI, or primary scrambling code of WCDMA",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::physicalCell, value); }},
    {"bsic", "of GSM: 8 times the network's colour code, and the base station's",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::bsic, value); }},
    {"plmn", "the network: 262-02",
     [](Row row, Value value) {
       const sCell* const cell = CellOf(row);
       if (cell != nullptr && cell->plmn) {
         value.SetText(PlmnText(*cell->plmn));
       }
     }},
    {"area_code", "LAC or TAC",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::areaCode, value); }},
    {"routing_area", "RAC",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::routingArea, value); }},
    {"cell_identity", "of the network",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::cellIdentity, value); }},
    {"ncgi", "of NR, the number that the log has: how it is made up is not known",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::globalIdentity, value); }},
    {"band", "of the cell",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::band, value); }},
    {"bandwidth", "of the downlink, in the unit of its log",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::bandwidth, value); }},
    {"uplink_bandwidth", "the same of the uplink",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::uplinkBandwidth, value); }},
    {"system_frame", "SFN",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::systemFrame, value); }},
    {"subframe", "within the frame",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::subframe, value); }},
    {"antennas", "of the cell",
     [](Row row, Value value) { SetNumberOf(CellOf(row), &sCell::antennas, value); }},

    {"event_id", "of an event",
     [](Row row, Value value) { SetNumberOf(EventOf(row), &sEvent::id, value); }},
    {"event_name", "what the event is called",
     [](Row row, Value value) { SetTextOf(EventOf(row), &sEvent::name, value); }},
    {"event_value", "the payload in words, where they are known",
     [](Row row, Value value) { SetTextOf(EventOf(row), &sEvent::value, value); }},
    {"event_payload", "in hexadecimal",
     [](Row row, Value value) {
       if (const sEvent* const event = EventOf(row)) {
         value.SetHex(event->payload);
       }
     }},
    {"events", "how many, in a report of several: the fields above are of the first",
     [](Row row, Value value) {
       if (row.description.events.size() > 1) {
         value.SetNumber(row.description.events.size());
       }
     }},

    {"ssid", "subsystem of a debug message",
     [](Row row, Value value) { SetNumberOf(MessageOf(row), &sDebugMessage::ssid, value); }},
    {"ssid_name", "what the subsystem is called",
     [](Row row, Value value) { SetTextOf(MessageOf(row), &sDebugMessage::subsystem, value); }},
    {"level", "of a debug message: low, medium, high, error, fatal",
     [](Row row, Value value) {
       if (const sDebugMessage* const message = MessageOf(row)) {
         value.SetText(LevelNames(message->levels.value_or(0)));
       }
     }},
    {"level_mask", "the same as a mask, whose higher bits differ between subsystems",
     [](Row row, Value value) {
       if (const sDebugMessage* const message = MessageOf(row)) {
         value.SetHexNumber(message->levels, 8);
       }
     }},
    {"file", "source file of a debug message",
     [](Row row, Value value) { SetTextOf(MessageOf(row), &sDebugMessage::file, value); }},
    {"line", "in the source file",
     [](Row row, Value value) { SetNumberOf(MessageOf(row), &sDebugMessage::line, value); }},
    {"text", "of a debug message with its arguments put in, or of the recorder", FillText},
    {"hash", "stands for text and file of a debug message",
     [](Row row, Value value) {
       if (const sDebugMessage* const message = MessageOf(row)) {
         value.SetHexNumber(message->hash, 8);
       }
     }},
    {"arguments", "of a debug message, all of them, where not all are in its text", FillArguments},
    {"dropped", "how many debug messages were lost before this one",
     [](Row row, Value value) {
       const sDebugMessage* const message = MessageOf(row);
       if (message != nullptr && message->dropped != 0) {
         value.SetNumber(message->dropped);
       }
     }},

    {"command", "code of a request, a reply or a packet that is none of the others",
     [](Row row, Value value) {
       if (const sCommand* const command = CommandOf(row)) {
         value.SetHexNumber(command->code, 2);
       }
     }},
    {"command_name", "what the command is called",
     [](Row row, Value value) { SetTextOf(CommandOf(row), &sCommand::name, value); }},
    {"subsystem", "of a subsystem command",
     [](Row row, Value value) { SetNumberOf(CommandOf(row), &sCommand::subsystem, value); }},
    {"subsystem_name", "what the subsystem is called",
     [](Row row, Value value) { SetTextOf(CommandOf(row), &sCommand::subsystemName, value); }},
    {"subsystem_command", "the command within its subsystem",
     [](Row row, Value value) { SetNumberOf(CommandOf(row), &sCommand::subsystemCommand, value); }},
    {"subsystem_command_name", "what that command is called",
     [](Row row, Value value) {
       SetTextOf(CommandOf(row), &sCommand::subsystemCommandName, value);
     }},
    {"refusal", "why the modem refused a request",
     [](Row row, Value value) { SetTextOf(CommandOf(row), &sCommand::refusal, value); }},

    {"details", "what else the packet tells", FillDetails},
    {"cut_off", "1: the packet is shorter than its layout",
     [](Row row, Value value) {
       if (row.description.cutOff) {
         value.SetNumber(1);
       }
     }},
    {"message_bytes", "the signalling message, in hexadecimal",
     [](Row row, Value value) {
       if (const sSignalling* const signalling = SignallingOf(row)) {
         value.SetHex(signalling->message);
       }
     }},
};

}  // namespace

void cFieldValue::SetNumber(std::optional<std::uint64_t> value) {
  if (value) {
    kind = eKind::Number;
    number = *value;
  }
}

void cFieldValue::SetText(std::string_view value) {
  if (!value.empty()) {
    kind = eKind::Text;
    text = value;
  }
}

void cFieldValue::SetHex(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) {
    return;
  }
  kind = eKind::Text;
  text.resize(2 * bytes.size());
  auto digit = text.begin();
  for (const std::uint8_t byte : bytes) {
    *digit++ = kHexDigits[byte >> 4];
    *digit++ = kHexDigits[byte & 0xF];
  }
}

void cFieldValue::SetHexNumber(std::optional<std::uint64_t> value, unsigned digits) {
  if (!value) {
    return;
  }
  kind = eKind::Text;
  text = "0x";
  for (unsigned place = digits; place-- > 0;) {
    text += kHexDigits[*value >> (4 * place) & 0xF];
  }
}

std::span<const sItemField> ItemFields() { return kFields; }

const sItemField* FindItemField(std::string_view name) {
  const sItemField* const found =
      std::find_if(std::begin(kFields), std::end(kFields),
                   [name](const sItemField& field) { return field.name == name; });
  return found == std::end(kFields) ? nullptr : found;
}

}  // namespace corvane
