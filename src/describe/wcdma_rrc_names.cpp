#include "describe/message_names.h"
#include "describe/message_types.h"
#include "platform/error_codes.h"

// 3GPP TS 25.331, 11.2: the messages of each channel, and the types of system information blocks.
namespace corvane {
namespace {

// The last alternative of an uplink channel opens a choice of later messages.
constexpr std::string_view kLater = {};

constexpr std::string_view kUlCcch[] = {
    "Cell update",
    "RRC connection request",
    "URA update",
    kLater,
};
constexpr std::string_view kUlCcchLater[] = {
    "Cell update FDD-r11",
    "Spare 3",
    "Spare 2",
    "Spare 1",
};

constexpr std::string_view kUlDcch[] = {
    "Active set update complete",
    "Active set update failure",
    "Cell change order from UTRAN failure",
    "Counter check response",
    "Handover to UTRAN complete",
    "Initial direct transfer",
    "Handover from UTRAN failure",
    "Measurement control failure",
    "Measurement report",
    "Physical channel reconfiguration complete",
    "Physical channel reconfiguration failure",
    "Radio bearer reconfiguration complete",
    "Radio bearer reconfiguration failure",
    "Radio bearer release complete",
    "Radio bearer release failure",
    "Radio bearer setup complete",
    "Radio bearer setup failure",
    "RRC connection release complete",
    "RRC connection setup complete",
    "RRC status",
    "Security mode complete",
    "Security mode failure",
    "Signalling connection release indication",
    "Transport channel reconfiguration complete",
    "Transport channel reconfiguration failure",
    "Transport format combination control failure",
    "UE capability information",
    "Uplink direct transfer",
    "UTRAN mobility information confirm",
    "UTRAN mobility information failure",
    "MBMS modification request",
    kLater,
};
constexpr std::string_view kUlDcchLater[] = {
    "UE information response",
    "Spare 15",
    "Spare 14",
    "Spare 13",
    "Spare 12",
    "Spare 11",
    "Spare 10",
    "Spare 9",
    "Spare 8",
    "Spare 7",
    "Spare 6",
    "Spare 5",
    "Spare 4",
    "Spare 3",
    "Spare 2",
    "Spare 1",
};

constexpr std::string_view kDlCcch[] = {
    "Cell update confirm-CCCH",
    "RRC connection reject",
    "RRC connection release-CCCH",
    "RRC connection setup",
    "URA update confirm-CCCH",
    "ETWS primary notification with security",
    "Spare 2",
    "Spare 1",
};

constexpr std::string_view kDlDcch[] = {
    "Active set update",
    "Assistance data delivery",
    "Cell change order from UTRAN",
    "Cell update confirm",
    "Counter check",
    "Downlink direct transfer",
    "Handover from UTRAN command-GSM",
    "Handover from UTRAN command-CDMA2000",
    "Measurement control",
    "Paging type 2",
    "Physical channel reconfiguration",
    "Physical shared channel allocation",
    "Radio bearer reconfiguration",
    "Radio bearer release",
    "Radio bearer setup",
    "RRC connection release",
    "Security mode command",
    "Signalling connection release",
    "Transport channel reconfiguration",
    "Transport format combination control",
    "UE capability enquiry",
    "UE capability information confirm",
    "Uplink physical channel control",
    "URA update confirm",
    "UTRAN mobility information",
    "Handover from UTRAN command-GERANIu",
    "MBMS modified services information",
    "ETWS primary notification with security",
    "Handover from UTRAN command-EUTRA",
    "UE information request",
    "Logging measurement configuration",
    "Spare 1",
};

constexpr std::string_view kBcchFach[] = {
    "System information-FACH",
    "System information change indication",
    "Spare 2",
    "Spare 1",
};

constexpr std::string_view kPcch[] = {
    "Paging type 1",
    "Spare",
};

constexpr std::string_view kMcch[] = {
    "MBMS access information",
    "MBMS common PTM RB information",
    "MBMS current cell PTM RB information",
    "MBMS general information",
    "MBMS modified services information",
    "MBMS neighbouring cell PTM RB information",
    "MBMS unmodified services information",
    "Spare 9",
    "Spare 8",
    "Spare 7",
    "Spare 6",
    "Spare 5",
    "Spare 4",
    "Spare 3",
    "Spare 2",
    "Spare 1",
};

constexpr std::string_view kMsch[] = {
    "MBMS scheduling information",
    "Spare 3",
    "Spare 2",
    "Spare 1",
};

// By SIB-Type. Type 31 says that the real one is not in the message.
constexpr std::string_view kBlocks[] = {
    "Master information block", "SysInfo type 1",    "SysInfo type 2",    "SysInfo type 3",
    "SysInfo type 4",           "SysInfo type 5",    "SysInfo type 6",    "SysInfo type 7",
    "SysInfo type 8",           "SysInfo type 9",    "SysInfo type 10",   "SysInfo type 11",
    "SysInfo type 12",          "SysInfo type 13",   "SysInfo type 13.1", "SysInfo type 13.2",
    "SysInfo type 13.3",        "SysInfo type 13.4", "SysInfo type 14",   "SysInfo type 15",
    "SysInfo type 15.1",        "SysInfo type 15.2", "SysInfo type 15.3", "SysInfo type 16",
    "SysInfo type 17",          "SysInfo type 15.4", "SysInfo type 18",   "Scheduling block 1",
    "Scheduling block 2",       "SysInfo type 15.5", "SysInfo type 5bis",
};

// In front of the message type of a DCCH message: a bit that says whether integrity check info is
// there, which is an authentication code of 32 bits and a sequence number of 4.
void PassIntegrityCheckInfo(sBitReader& bits) {
  std::uint8_t isThere = 0;
  if (ReadBits8(bits, 1, isThere) == kErrorSuccess && isThere == 1) {
    bits.position += 32 + 4;
  }
}

[[nodiscard]] std::string_view ReadEither(sBitReader& bits, MessageTypes types,
                                          MessageTypes later) {
  const std::uint32_t start = bits.position;
  const std::string_view name = ReadMessageType(bits, types);
  // Without a name, either the bits ended, and then there are none for a later type, or it is one.
  return name.empty() && bits.position != start ? ReadMessageType(bits, later) : name;
}

}  // namespace

std::string_view WcdmaRrcMessageName(eSyntax syntax, MessageBytes message) {
  sBitReader bits = BitsOf(message);
  switch (syntax) {
    case eSyntax::WcdmaUlCcch:
      PassIntegrityCheckInfo(bits);
      return ReadEither(bits, kUlCcch, kUlCcchLater);
    case eSyntax::WcdmaUlDcch:
      PassIntegrityCheckInfo(bits);
      return ReadEither(bits, kUlDcch, kUlDcchLater);
    case eSyntax::WcdmaDlCcch:
      PassIntegrityCheckInfo(bits);
      return ReadMessageType(bits, kDlCcch);
    case eSyntax::WcdmaDlDcch:
      PassIntegrityCheckInfo(bits);
      return ReadMessageType(bits, kDlDcch);
    case eSyntax::WcdmaBcchBch:
      return message.empty() ? std::string_view() : "System information-BCH";
    case eSyntax::WcdmaBcchFach:
      return ReadMessageType(bits, kBcchFach);
    case eSyntax::WcdmaPcch:
      return ReadMessageType(bits, kPcch);
    case eSyntax::WcdmaMcch:
      return ReadMessageType(bits, kMcch);
    case eSyntax::WcdmaMsch:
      return ReadMessageType(bits, kMsch);
    case eSyntax::WcdmaSystemInformationContainer:
      return message.empty() ? std::string_view() : "System information container";
    default:
      return {};
  }
}

std::string_view SystemInformationBlockName(std::uint8_t sibType) {
  if (sibType < std::size(kBlocks)) {
    return kBlocks[sibType];
  }
  if (sibType == kSib11bis) {
    return "SysInfo type 11bis";
  }
  return sibType == kSib19 ? "SysInfo type 19" : std::string_view();
}

}  // namespace corvane
