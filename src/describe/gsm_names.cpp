#include "describe/message_types.h"

// The message types of layer 3 on the air of GSM, and of what GSM and WCDMA share.
namespace corvane {
namespace {

// 3GPP TS 44.018, 10.4: radio resources.
constexpr sTypeName kRr[] = {
    {0x00, "System information type 13"},
    {0x02, "System information type 2bis"},
    {0x03, "System information type 2ter"},
    {0x04, "System information type 9"},
    {0x05, "System information type 5bis"},
    {0x06, "System information type 5ter"},
    {0x07, "System information type 2quater"},
    {0x08, "RR-cell change order"},
    {0x09, "VGCS uplink grant"},
    {0x0A, "Partial release"},
    {0x0D, "Channel release"},
    {0x0E, "Uplink release"},
    {0x0F, "Partial release complete"},
    {0x10, "Channel mode modify"},
    {0x11, "Talker indication"},
    {0x12, "RR status"},
    {0x13, "Classmark enquiry"},
    {0x14, "Frequency redefinition"},
    {0x15, "Measurement report"},
    {0x16, "Classmark change"},
    {0x17, "Channel mode modify acknowledge"},
    {0x18, "System information type 8"},
    {0x19, "System information type 1"},
    {0x1A, "System information type 2"},
    {0x1B, "System information type 3"},
    {0x1C, "System information type 4"},
    {0x1D, "System information type 5"},
    {0x1E, "System information type 6"},
    {0x1F, "System information type 7"},
    {0x20, "Notification/NCH"},
    {0x21, "Paging request type 1"},
    {0x22, "Paging request type 2"},
    {0x23, "PDCH assignment command"},
    {0x24, "Paging request type 3"},
    {0x26, "Notification/response"},
    {0x27, "Paging response"},
    {0x28, "Handover failure"},
    {0x29, "Assignment complete"},
    {0x2A, "Uplink busy"},
    {0x2B, "Handover command"},
    {0x2C, "Handover complete"},
    {0x2D, "Physical information"},
    {0x2E, "Assignment command"},
    {0x2F, "Assignment failure"},
    {0x30, "Configuration change command"},
    {0x31, "Configuration change ack."},
    {0x32, "Ciphering mode complete"},
    {0x33, "Configuration change reject"},
    {0x34, "GPRS suspension request"},
    {0x35, "Ciphering mode command"},
    {0x36, "Extended measurement report"},
    {0x37, "Extended measurement order"},
    {0x38, "Application information"},
    {0x39, "Immediate assignment extended"},
    {0x3A, "Immediate assignment reject"},
    {0x3B, "Additional assignment"},
    {0x3D, "System information type 16"},
    {0x3E, "System information type 17"},
    {0x3F, "Immediate assignment"},
    {0x40, "System information type 18"},
    {0x41, "System information type 19"},
    {0x42, "System information type 20"},
    {0x46, "System information type 21"},
    {0x48, "DTM assignment failure"},
    {0x49, "DTM reject"},
    {0x4A, "DTM request"},
    {0x4B, "Packet assignment"},
    {0x4C, "DTM assignment command"},
    {0x4D, "DTM information"},
    {0x4E, "Packet notification"},
    {0x60, "UTRAN classmark change"},
    {0x62, "cdma2000 classmark change"},
    {0x63, "Inter system to UTRAN handover command"},
    {0x64, "Inter system to cdma2000 handover command"},
    {0x6A, "EC-Immediate assignment type 1"},
    {0xC0, "UTRAN classmark change/handover to UTRAN command"},
};

// 3GPP TS 24.008, 10.4: mobility management.
constexpr sTypeName kMm[] = {
    {0x01, "IMSI detach indication"},
    {0x02, "Location updating accept"},
    {0x04, "Location updating reject"},
    {0x08, "Location updating request"},
    {0x11, "Authentication reject"},
    {0x12, "Authentication request"},
    {0x14, "Authentication response"},
    {0x18, "Identity request"},
    {0x19, "Identity response"},
    {0x1A, "TMSI reallocation command"},
    {0x1B, "TMSI reallocation complete"},
    {0x1C, "Authentication failure"},
    {0x21, "CM service accept"},
    {0x22, "CM service reject"},
    {0x23, "CM service abort"},
    {0x24, "CM service request"},
    {0x25, "CM service prompt"},
    {0x28, "CM re-establishment request"},
    {0x29, "Abort"},
    {0x30, "MM null"},
    {0x31, "MM status"},
    {0x32, "MM information"},
};

// 3GPP TS 24.008, 10.4: call control.
constexpr sTypeName kCc[] = {
    {0x01, "Alerting"},
    {0x02, "Call proceeding"},
    {0x03, "Progress"},
    {0x04, "CC establishment"},
    {0x05, "Setup"},
    {0x06, "CC establishment confirmed"},
    {0x07, "Connect"},
    {0x08, "Call confirmed"},
    {0x09, "Start CC"},
    {0x0B, "Recall"},
    {0x0E, "Emergency setup"},
    {0x0F, "Connect acknowledge"},
    {0x10, "User information"},
    {0x13, "Modify reject"},
    {0x17, "Modify"},
    {0x18, "Hold"},
    {0x19, "Hold acknowledge"},
    {0x1A, "Hold reject"},
    {0x1C, "Retrieve"},
    {0x1D, "Retrieve acknowledge"},
    {0x1E, "Retrieve reject"},
    {0x1F, "Modify complete"},
    {0x25, "Disconnect"},
    {0x2A, "Release complete"},
    {0x2D, "Release"},
    {0x31, "Stop DTMF"},
    {0x32, "Stop DTMF acknowledge"},
    {0x34, "Status enquiry"},
    {0x35, "Start DTMF"},
    {0x36, "Start DTMF acknowledge"},
    {0x37, "Start DTMF reject"},
    {0x39, "Congestion control"},
    {0x3A, "Facility"},
    {0x3D, "Status"},
    {0x3E, "Notify"},
};

// 3GPP TS 24.008, 10.4: mobility management of packet services.
constexpr sTypeName kGmm[] = {
    {0x01, "Attach request"},
    {0x02, "Attach accept"},
    {0x03, "Attach complete"},
    {0x04, "Attach reject"},
    {0x05, "Detach request"},
    {0x06, "Detach accept"},
    {0x08, "Routing area update request"},
    {0x09, "Routing area update accept"},
    {0x0A, "Routing area update complete"},
    {0x0B, "Routing area update reject"},
    {0x0C, "Service request"},
    {0x0D, "Service accept"},
    {0x0E, "Service reject"},
    {0x10, "P-TMSI reallocation command"},
    {0x11, "P-TMSI reallocation complete"},
    {0x12, "Authentication and ciphering req"},
    {0x13, "Authentication and ciphering resp"},
    {0x14, "Authentication and ciphering rej"},
    {0x15, "Identity request"},
    {0x16, "Identity response"},
    {0x1C, "Authentication and ciphering failure"},
    {0x20, "GMM status"},
    {0x21, "GMM information"},
};

// 3GPP TS 24.008, 10.4: session management.
constexpr sTypeName kSm[] = {
    {0x41, "Activate PDP context request"},
    {0x42, "Activate PDP context accept"},
    {0x43, "Activate PDP context reject"},
    {0x44, "Request PDP context activation"},
    {0x45, "Request PDP context activation rej."},
    {0x46, "Deactivate PDP context request"},
    {0x47, "Deactivate PDP context accept"},
    {0x48, "Modify PDP context request (network to MS direction)"},
    {0x49, "Modify PDP context accept (MS to network direction)"},
    {0x4A, "Modify PDP context request (MS to network direction)"},
    {0x4B, "Modify PDP context accept (network to MS direction)"},
    {0x4C, "Modify PDP context reject"},
    {0x4D, "Activate secondary PDP context request"},
    {0x4E, "Activate secondary PDP context accept"},
    {0x4F, "Activate secondary PDP context reject"},
    {0x55, "SM status"},
    {0x56, "Activate MBMS context request"},
    {0x57, "Activate MBMS context accept"},
    {0x58, "Activate MBMS context reject"},
    {0x59, "Request MBMS context activation"},
    {0x5A, "Request MBMS context activation reject"},
    {0x5B, "Request secondary PDP context activation"},
    {0x5C, "Request secondary PDP context activation reject"},
    {0x5D, "Notification"},
};

// 3GPP TS 24.011, 8.1.3: short messages.
constexpr sTypeName kSms[] = {
    {0x01, "CP-DATA"},
    {0x04, "CP-ACK"},
    {0x10, "CP-ERROR"},
};

// 3GPP TS 24.080, 3.4: supplementary services.
constexpr sTypeName kSs[] = {
    {0x2A, "Release complete"},
    {0x3A, "Facility"},
    {0x3B, "Register"},
};

// 3GPP TS 44.068 and 44.069, 9.3: group and broadcast calls.
constexpr sTypeName kGcc[] = {
    {0x31, "Immediate setup"},
    {0x32, "Setup"},
    {0x33, "Connect"},
    {0x34, "Termination"},
    {0x35, "Termination request"},
    {0x36, "Termination reject"},
    {0x38, "Status"},
    {0x39, "Get status"},
    {0x3A, "Set parameter"},
};
constexpr sTypeName kBcc[] = {
    {0x31, "Immediate setup"},
    {0x32, "Setup"},
    {0x33, "Connect"},
    {0x34, "Termination"},
    {0x35, "Termination request"},
    {0x36, "Termination reject"},
    {0x38, "Status"},
    {0x39, "Get status"},
    {0x3A, "Set parameter"},
    {0x3B, "Immediate setup 2"},
};

// 3GPP TS 44.014, 36.509 and 38.509: test procedures.
constexpr sTypeName kTest[] = {
    {0x00, "Close TCH loop cmd"},
    {0x01, "Close TCH loop ack"},
    {0x06, "Open loop cmd"},
    {0x0C, "Act EMMI cmd"},
    {0x0D, "Act EMMI ack"},
    {0x10, "Deact EMMI"},
    {0x14, "Test interface"},
    {0x20, "Close multi-slot loop cmd"},
    {0x21, "Close multi-slot loop ack"},
    {0x22, "Open multi-slot loop cmd"},
    {0x23, "Open multi-slot loop ack"},
    {0x24, "GPRS test mode cmd"},
    {0x25, "EGPRS start radio block loopback cmd"},
    {0x26, "Reset MS positioning stored information"},
    {0x40, "Close UE test loop"},
    {0x41, "Close UE test loop complete"},
    {0x42, "Open UE test loop"},
    {0x43, "Open UE test loop complete"},
    {0x44, "Activate RB test mode"},
    {0x45, "Activate RB test mode complete"},
    {0x46, "Deactivate RB test mode"},
    {0x47, "Deactivate RB test mode complete"},
    {0x48, "Reset UE positioning stored information"},
    {0x49, "UE test loop mode 3 RLC SDU counter request"},
    {0x4A, "UE test loop mode 3 RLC SDU counter response"},
    {0x80, "Close UE test loop"},
    {0x81, "Close UE test loop complete"},
    {0x82, "Open UE test loop"},
    {0x83, "Open UE test loop complete"},
    {0x84, "Activate test mode"},
    {0x85, "Activate test mode complete"},
    {0x86, "Deactivate test mode"},
    {0x87, "Deactivate test mode complete"},
    {0x88, "Reset UE positioning stored information"},
    {0x89, "UE test loop mode C MBMS packet counter request"},
    {0x8A, "UE test loop mode C MBMS packet counter response"},
    {0x8B, "Update UE location information"},
    {0x8C, "UE test loop ProSe packet counter request"},
    {0x8D, "UE test loop ProSe packet counter response"},
    {0x8E, "UE test loop mode F SCPTM packet counter request"},
    {0x8F, "UE test loop mode F SCPTM packet counter response"},
};

// The protocol discriminator is the lower half of the first octet.
constexpr std::uint8_t kDiscriminator = 0x0F;
constexpr std::uint8_t kRadioResources = 0x6;

// What it says.
struct sProtocol {
  std::span<const sTypeName> types;
  std::uint8_t discriminator = 0;
  // The bits of the octet that tell the type; the others count messages.
  std::uint8_t typeBits = 0xFF;
  // The upper half of the first octet is a transaction identifier, else a skip indicator.
  bool hasTransaction = false;
};

constexpr sProtocol kProtocols[] = {
    {kGcc, 0x0, 0x3F, true},
    {kBcc, 0x1, 0x3F, true},
    {kCc, 0x3, 0x3F, true},
    {kMm, 0x5, 0x3F, false},
    {kRr, kRadioResources, 0xFF, false},
    {kGmm, 0x8, 0xFF, false},
    {kSms, 0x9, 0xFF, true},
    {kSm, 0xA, 0xFF, true},
    {kSs, 0xB, 0x3F, true},
    {kTest, 0xF, 0xFF, false},
};

// A transaction identifier of this value goes on in the octet behind.
constexpr std::uint8_t kExtendedTransaction = 0x70;

[[nodiscard]] std::string_view LayerThreeName(MessageBytes message) {
  if (message.empty()) {
    return {};
  }
  for (const sProtocol& protocol : kProtocols) {
    if (protocol.discriminator != (message[0] & kDiscriminator)) {
      continue;
    }
    const bool isExtended =
        protocol.hasTransaction && (message[0] & kExtendedTransaction) == kExtendedTransaction;
    const std::size_t type = isExtended ? 2 : 1;
    return type < message.size() ? NameOfType(protocol.types, message[type] & protocol.typeBits)
                                 : std::string_view();
  }
  return {};
}

}  // namespace

std::string_view GsmMessageName(eSyntax syntax, MessageBytes message) {
  if (syntax == eSyntax::GsmLayer3) {
    return LayerThreeName(message);
  }
  // Behind the pseudo length, which is one octet, stand messages of radio resources alone.
  const bool isRr = syntax == eSyntax::GsmPseudoLength && message.size() > 1 &&
                    (message[1] & kDiscriminator) == kRadioResources;
  return isRr ? LayerThreeName(message.subspan(1)) : std::string_view();
}

}  // namespace corvane
