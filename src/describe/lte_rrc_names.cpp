#include "describe/message_types.h"

// 3GPP TS 36.331, 6.2.1: the messages of each channel.
namespace corvane {
namespace {

constexpr std::string_view kMasterInformationBlock = "Master information block";
constexpr std::string_view kExtension = "Message class extension";

constexpr std::string_view kBcchDlSch[] = {
    "System information",
    "System information block type 1",
};

constexpr std::string_view kMcch[] = {"MBSFN area configuration-r9"};
constexpr std::string_view kMcchLater[] = {"MBMS counting request-r10"};

constexpr std::string_view kPcch[] = {"Paging"};

constexpr std::string_view kDlCcch[] = {
    "RRC connection reestablishment",
    "RRC connection reestablishment reject",
    "RRC connection reject",
    "RRC connection setup",
};
constexpr std::string_view kDlCcchLater[] = {
    "RRC early data complete-r15",
    "Spare 3",
    "Spare 2",
    "Spare 1",
};

constexpr std::string_view kDlDcch[] = {
    "CSFB parameters response CDMA2000",
    "DL information transfer",
    "Handover from EUTRA preparation request",
    "Mobility from EUTRA command",
    "RRC connection reconfiguration",
    "RRC connection release",
    "Security mode command",
    "UE capability enquiry",
    "Counter check",
    "UE information request-r9",
    "Logged measurement configuration-r10",
    "RN reconfiguration-r10",
    "RRC connection resume-r13",
    "DL dedicated message segment-r16",
    "Spare 2",
    "Spare 1",
};

constexpr std::string_view kUlCcch[] = {
    "RRC connection reestablishment request",
    "RRC connection request",
};
constexpr std::string_view kUlCcchLater[] = {"RRC connection resume request-r13"};
constexpr std::string_view kUlCcchLast[] = {
    "RRC early data request-r15",
    "Spare 3",
    "Spare 2",
    "Spare 1",
};

constexpr std::string_view kUlDcch[] = {
    "CSFB parameters request CDMA2000",
    "Measurement report",
    "RRC connection reconfiguration complete",
    "RRC connection reestablishment complete",
    "RRC connection setup complete",
    "Security mode complete",
    "Security mode failure",
    "UE capability information",
    "UL handover preparation transfer",
    "UL information transfer",
    "Counter check response",
    "UE information response-r9",
    "Proximity indication-r9",
    "RN reconfiguration complete-r10",
    "MBMS counting response-r10",
    "Inter freq RSTD measurement indication-r10",
};
constexpr std::string_view kUlDcchLater[] = {
    "UE assistance information-r11",
    "In device coex indication-r11",
    "MBMS interest indication-r11",
    "SCG failure information-r12",
    "Sidelink UE information-r12",
    "WLAN connection status report-r13",
    "RRC connection resume complete-r13",
    "UL information transfer MRDC-r15",
    "SCG failure information NR-r15",
    "Meas report app layer-r15",
    "Failure information-r15",
    "UL dedicated message segment-r16",
    "PUR configuration request-r16",
    "Failure information-r16",
    "MCG failure information-r16",
    "UL information transfer IRAT-r16",
};

constexpr sMessageClass kMcchLaterClass = {kMcchLater, kExtension};
constexpr sMessageClass kDlCcchLaterClass = {kDlCcchLater, "Message class extension future-r15"};
constexpr sMessageClass kUlCcchLastClass = {kUlCcchLast, "Message class extension future-r15"};
constexpr sMessageClass kUlCcchLaterClass = {kUlCcchLater, {}, &kUlCcchLastClass};
constexpr sMessageClass kUlDcchLaterClass = {kUlDcchLater, "Message class extension future-r11"};

// The narrow-band channels have messages and numbers of their own.

constexpr std::string_view kNbMasterInformationBlock = "Master information block-NB";

constexpr std::string_view kNbBcchDlSch[] = {
    "System information-NB",
    "System information block type 1-NB",
};

constexpr std::string_view kNbPcch[] = {"Paging-NB"};

constexpr std::string_view kNbDlCcch[] = {
    "RRC connection reestablishment-NB",
    "RRC connection reestablishment reject",
    "RRC connection reject-NB",
    "RRC connection setup-NB",
    "RRC early data complete-NB-r15",
    "Spare 3",
    "Spare 2",
    "Spare 1",
};

constexpr std::string_view kNbDlDcch[] = {
    "DL information transfer-NB",    "RRC connection reconfiguration-NB",
    "RRC connection release-NB",     "Security mode command",
    "UE capability enquiry-NB",      "RRC connection resume-NB",
    "UE information request-NB-r16", "Spare 1",
};

constexpr std::string_view kNbUlCcch[] = {
    "RRC connection reestablishment request-NB",
    "RRC connection request-NB",
    "RRC connection resume request-NB",
    "RRC early data request-NB-r15",
};

constexpr std::string_view kNbUlDcch[] = {
    "RRC connection reconfiguration complete-NB",
    "RRC connection reestablishment complete-NB",
    "RRC connection setup complete-NB",
    "Security mode complete",
    "Security mode failure",
    "UE capability information-NB",
    "UL information transfer-NB",
    "RRC connection resume complete-NB",
    "UE information response-NB-r16",
    "PUR configuration request-NB-r16",
    "Spare 6",
    "Spare 5",
    "Spare 4",
    "Spare 3",
    "Spare 2",
    "Spare 1",
};

}  // namespace

std::string_view LteRrcMessageName(eSyntax syntax, MessageBytes message) {
  switch (syntax) {
    case eSyntax::LteBcchBch:
      return message.empty() ? std::string_view() : kMasterInformationBlock;
    case eSyntax::LteBcchDlSch:
      return ReadMessageClass(message, {kBcchDlSch, kExtension});
    case eSyntax::LteMcch:
      return ReadMessageClass(message, {kMcch, {}, &kMcchLaterClass});
    case eSyntax::LtePcch:
      return ReadMessageClass(message, {kPcch, kExtension});
    case eSyntax::LteDlCcch:
      return ReadMessageClass(message, {kDlCcch, {}, &kDlCcchLaterClass});
    case eSyntax::LteDlDcch:
      return ReadMessageClass(message, {kDlDcch, kExtension});
    case eSyntax::LteUlCcch:
      return ReadMessageClass(message, {kUlCcch, {}, &kUlCcchLaterClass});
    case eSyntax::LteUlDcch:
      return ReadMessageClass(message, {kUlDcch, {}, &kUlDcchLaterClass});
    default:
      return {};
  }
}

std::string_view LteNbRrcMessageName(eSyntax syntax, MessageBytes message) {
  switch (syntax) {
    case eSyntax::LteNbBcchBch:
      return message.empty() ? std::string_view() : kNbMasterInformationBlock;
    case eSyntax::LteNbBcchDlSch:
      return ReadMessageClass(message, {kNbBcchDlSch, kExtension});
    case eSyntax::LteNbPcch:
      return ReadMessageClass(message, {kNbPcch, kExtension});
    case eSyntax::LteNbDlCcch:
      return ReadMessageClass(message, {kNbDlCcch, kExtension});
    case eSyntax::LteNbDlDcch:
      return ReadMessageClass(message, {kNbDlDcch, kExtension});
    case eSyntax::LteNbUlCcch:
      return ReadMessageClass(message, {kNbUlCcch, kExtension});
    case eSyntax::LteNbUlDcch:
      return ReadMessageClass(message, {kNbUlDcch, kExtension});
    default:
      return {};
  }
}

}  // namespace corvane
