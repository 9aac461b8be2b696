#include "describe/message_types.h"

// 3GPP TS 38.331, 6.2.1: the messages of each channel.
namespace corvane {
namespace {

constexpr std::string_view kExtension = "Message class extension";

constexpr std::string_view kBcchBch[] = {"MIB"};

constexpr std::string_view kBcchDlSch[] = {
    "System information",
    "SIB1",
};

constexpr std::string_view kDlCcch[] = {
    "RRC reject",
    "RRC setup",
    "Spare 2",
    "Spare 1",
};

constexpr std::string_view kDlDcch[] = {
    "RRC reconfiguration",
    "RRC resume",
    "RRC release",
    "RRC reestablishment",
    "Security mode command",
    "DL information transfer",
    "UE capability enquiry",
    "Counter check",
    "Mobility from NR command",
    "DL dedicated message segment",
    "UE information request",
    "DL information transfer MRDC",
    "Logged measurement configuration",
    "Spare 3",
    "Spare 2",
    "Spare 1",
};

constexpr std::string_view kMcch[] = {
    "MBS broadcast configuration",
    "Spare 1",
};

constexpr std::string_view kPcch[] = {
    "Paging",
    "Spare 1",
};

constexpr std::string_view kUlCcch[] = {
    "RRC setup request",
    "RRC resume request",
    "RRC reestablishment request",
    "RRC system info request",
};

constexpr std::string_view kUlCcch1[] = {
    "RRC resume request 1",
    "Spare 3",
    "Spare 2",
    "Spare 1",
};

constexpr std::string_view kUlDcch[] = {
    "Measurement report",
    "RRC reconfiguration complete",
    "RRC setup complete",
    "RRC reestablishment complete",
    "RRC resume complete",
    "Security mode complete",
    "Security mode failure",
    "UL information transfer",
    "Location measurement indication",
    "UE capability information",
    "Counter check response",
    "UE assistance information",
    "Failure information",
    "UL information transfer MRDC",
    "SCG failure information",
    "SCG failure information EUTRA",
};
constexpr std::string_view kUlDcchLater[] = {
    "UL dedicated message segment",
    "Dedicated SIB request",
    "MCG failure information",
    "UE information response",
    "Sidelink UE information NR",
    "UL information transfer IRAT",
    "IAB other information",
    "MBS interest indication",
    "UE positioning assistance info",
    "Measurement report app layer",
    "Spare 6",
    "Spare 5",
    "Spare 4",
    "Spare 3",
    "Spare 2",
    "Spare 1",
};
constexpr sMessageClass kUlDcchLaterClass = {kUlDcchLater, "Message class extension future-r16"};

// What the log carries without a channel around it has one type.
[[nodiscard]] std::string_view BareName(eSyntax syntax) {
  switch (syntax) {
    case eSyntax::NrReconfiguration:
      return "RRC reconfiguration";
    case eSyntax::NrReconfigurationComplete:
      return "RRC reconfiguration complete";
    case eSyntax::NrRadioBearerConfig:
      return "Radio bearer config";
    case eSyntax::NrMrdcCapability:
      return "UE MRDC capability";
    case eSyntax::NrCapability:
      return "UE NR capability";
    default:
      return {};
  }
}

}  // namespace

std::string_view NrRrcMessageName(eSyntax syntax, MessageBytes message) {
  switch (syntax) {
    case eSyntax::NrBcchBch:
      return ReadMessageClass(message, {kBcchBch, kExtension});
    case eSyntax::NrBcchDlSch:
      return ReadMessageClass(message, {kBcchDlSch, kExtension});
    case eSyntax::NrDlCcch:
      return ReadMessageClass(message, {kDlCcch, kExtension});
    case eSyntax::NrDlDcch:
      return ReadMessageClass(message, {kDlDcch, kExtension});
    case eSyntax::NrMcch:
      return ReadMessageClass(message, {kMcch, kExtension});
    case eSyntax::NrPcch:
      return ReadMessageClass(message, {kPcch, kExtension});
    case eSyntax::NrUlCcch:
      return ReadMessageClass(message, {kUlCcch, kExtension});
    case eSyntax::NrUlCcch1:
      return ReadMessageClass(message, {kUlCcch1, kExtension});
    case eSyntax::NrUlDcch:
      return ReadMessageClass(message, {kUlDcch, {}, &kUlDcchLaterClass});
    default:
      return message.empty() ? std::string_view() : BareName(syntax);
  }
}

}  // namespace corvane
