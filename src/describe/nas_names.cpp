#include "describe/message_names.h"
#include "describe/message_types.h"

// The message types of NAS: 3GPP TS 24.301, 9.8, for LTE, and 3GPP TS 24.501, 9.7, for NR.
namespace corvane {
namespace {

constexpr sTypeName kEpsMobility[] = {
    {0x41, "Attach request"},
    {0x42, "Attach accept"},
    {0x43, "Attach complete"},
    {0x44, "Attach reject"},
    {0x45, "Detach request"},
    {0x46, "Detach accept"},
    {0x48, "Tracking area update request"},
    {0x49, "Tracking area update accept"},
    {0x4A, "Tracking area update complete"},
    {0x4B, "Tracking area update reject"},
    {0x4C, "Extended service request"},
    {0x4D, "Control plane service request"},
    {0x4E, "Service reject"},
    {0x4F, "Service accept"},
    {0x50, "GUTI reallocation command"},
    {0x51, "GUTI reallocation complete"},
    {0x52, "Authentication request"},
    {0x53, "Authentication response"},
    {0x54, "Authentication reject"},
    {0x55, "Identity request"},
    {0x56, "Identity response"},
    {0x5C, "Authentication failure"},
    {0x5D, "Security mode command"},
    {0x5E, "Security mode complete"},
    {0x5F, "Security mode reject"},
    {0x60, "EMM status"},
    {0x61, "EMM information"},
    {0x62, "Downlink NAS transport"},
    {0x63, "Uplink NAS transport"},
    {0x64, "CS service notification"},
    {0x68, "Downlink generic NAS transport"},
    {0x69, "Uplink generic NAS transport"},
};

constexpr sTypeName kEpsSession[] = {
    {0xC1, "Activate default EPS bearer context request"},
    {0xC2, "Activate default EPS bearer context accept"},
    {0xC3, "Activate default EPS bearer context reject"},
    {0xC5, "Activate dedicated EPS bearer context request"},
    {0xC6, "Activate dedicated EPS bearer context accept"},
    {0xC7, "Activate dedicated EPS bearer context reject"},
    {0xC9, "Modify EPS bearer context request"},
    {0xCA, "Modify EPS bearer context accept"},
    {0xCB, "Modify EPS bearer context reject"},
    {0xCD, "Deactivate EPS bearer context request"},
    {0xCE, "Deactivate EPS bearer context accept"},
    {0xD0, "PDN connectivity request"},
    {0xD1, "PDN connectivity reject"},
    {0xD2, "PDN disconnect request"},
    {0xD3, "PDN disconnect reject"},
    {0xD4, "Bearer resource allocation request"},
    {0xD5, "Bearer resource allocation reject"},
    {0xD6, "Bearer resource modification request"},
    {0xD7, "Bearer resource modification reject"},
    {0xD9, "ESM information request"},
    {0xDA, "ESM information response"},
    {0xDB, "Notification"},
    {0xDC, "ESM dummy message"},
    {0xE8, "ESM status"},
    {0xE9, "Remote UE report"},
    {0xEA, "Remote UE report response"},
    {0xEB, "ESM data transport"},
};

constexpr sTypeName k5gsMobility[] = {
    {0x41, "Registration request"},
    {0x42, "Registration accept"},
    {0x43, "Registration complete"},
    {0x44, "Registration reject"},
    {0x45, "Deregistration request (UE originating)"},
    {0x46, "Deregistration accept (UE originating)"},
    {0x47, "Deregistration request (UE terminated)"},
    {0x48, "Deregistration accept (UE terminated)"},
    {0x4C, "Service request"},
    {0x4D, "Service reject"},
    {0x4E, "Service accept"},
    {0x4F, "Control plane service request"},
    {0x50, "Network slice-specific authentication command"},
    {0x51, "Network slice-specific authentication complete"},
    {0x52, "Network slice-specific authentication result"},
    {0x54, "Configuration update command"},
    {0x55, "Configuration update complete"},
    {0x56, "Authentication request"},
    {0x57, "Authentication response"},
    {0x58, "Authentication reject"},
    {0x59, "Authentication failure"},
    {0x5A, "Authentication result"},
    {0x5B, "Identity request"},
    {0x5C, "Identity response"},
    {0x5D, "Security mode command"},
    {0x5E, "Security mode complete"},
    {0x5F, "Security mode reject"},
    {0x64, "5GMM status"},
    {0x65, "Notification"},
    {0x66, "Notification response"},
    {0x67, "UL NAS transport"},
    {0x68, "DL NAS transport"},
};

constexpr sTypeName k5gsSession[] = {
    {0xC1, "PDU session establishment request"},
    {0xC2, "PDU session establishment accept"},
    {0xC3, "PDU session establishment reject"},
    {0xC5, "PDU session authentication command"},
    {0xC6, "PDU session authentication complete"},
    {0xC7, "PDU session authentication result"},
    {0xC9, "PDU session modification request"},
    {0xCA, "PDU session modification reject"},
    {0xCB, "PDU session modification command"},
    {0xCC, "PDU session modification complete"},
    {0xCD, "PDU session modification command reject"},
    {0xD1, "PDU session release request"},
    {0xD2, "PDU session release reject"},
    {0xD3, "PDU session release command"},
    {0xD4, "PDU session release complete"},
    {0xD6, "5GSM status"},
};

// Protocol discriminators. Those of LTE are the lower half of the first octet.
constexpr std::uint8_t kEpsSessionManagement = 0x2;
constexpr std::uint8_t kEpsMobilityManagement = 0x7;
constexpr std::uint8_t k5gsSessionManagement = 0x2E;
constexpr std::uint8_t k5gsMobilityManagement = 0x7E;

// Security header types.
constexpr std::uint8_t kPlain = 0;
constexpr std::uint8_t kIntegrityProtected = 1;
constexpr std::uint8_t kCiphered = 2;
constexpr std::uint8_t kIntegrityProtectedNewContext = 3;
constexpr std::uint8_t kCipheredNewContext = 4;
constexpr std::uint8_t kPartlyCiphered = 5;  // of LTE: the message type is not
// From here on the security header is a message by itself, which has no type.
constexpr std::uint8_t kServiceRequest = 12;

// Octets in front of the message that a security header protects.
constexpr std::size_t kEpsSecurityHeader = 6;
constexpr std::size_t k5gsSecurityHeader = 7;

[[nodiscard]] std::string_view TypeAt(MessageBytes message, std::size_t offset,
                                      std::span<const sTypeName> types) {
  return offset < message.size() ? NameOfType(types, message[offset]) : std::string_view();
}

[[nodiscard]] MessageBytes Behind(MessageBytes message, std::size_t header) {
  return message.subspan(message.size() < header ? message.size() : header);
}

[[nodiscard]] std::string_view PlainEpsName(MessageBytes message) {
  if (message.empty()) {
    return {};
  }
  // The upper half is the bearer identity of a session management message.
  if ((message[0] & 0x0F) == kEpsSessionManagement) {
    return TypeAt(message, 2, kEpsSession);
  }
  return message[0] == kEpsMobilityManagement ? TypeAt(message, 1, kEpsMobility)
                                              : std::string_view();
}

[[nodiscard]] std::string_view EpsName(MessageBytes message) {
  if (message.empty() || (message[0] & 0x0F) != kEpsMobilityManagement) {
    return PlainEpsName(message);
  }
  const std::uint8_t security = message[0] >> 4;
  if (security >= kServiceRequest) {
    return "Service request";
  }
  switch (security) {
    case kPlain:
      return PlainEpsName(message);
    case kIntegrityProtected:
    case kIntegrityProtectedNewContext:
    case kPartlyCiphered:
      return PlainEpsName(Behind(message, kEpsSecurityHeader));
    default:
      return {};
  }
}

[[nodiscard]] std::string_view PlainName5gs(MessageBytes message) {
  if (message.size() < 2) {
    return {};
  }
  if (message[0] == k5gsSessionManagement) {
    return TypeAt(message, 3, k5gsSession);
  }
  return message[0] == k5gsMobilityManagement && message[1] == kPlain
             ? TypeAt(message, 2, k5gsMobility)
             : std::string_view();
}

[[nodiscard]] std::string_view Name5gs(MessageBytes message) {
  if (message.size() < 2 || message[0] != k5gsMobilityManagement) {
    return PlainName5gs(message);
  }
  const std::uint8_t security = message[1] & 0x0F;
  if (security == kIntegrityProtected || security == kIntegrityProtectedNewContext) {
    return PlainName5gs(Behind(message, k5gsSecurityHeader));
  }
  return PlainName5gs(message);
}

}  // namespace

std::string_view NasMessageName(eSyntax syntax, MessageBytes message) {
  switch (syntax) {
    case eSyntax::LteNasPlain:
    case eSyntax::LteNas:
      return EpsName(message);
    case eSyntax::NrNas:
      return Name5gs(message);
    default:
      return {};
  }
}

bool IsCiphered(eSyntax syntax, MessageBytes message) {
  if (message.size() < 2) {
    return false;
  }
  std::uint8_t security = kPlain;
  if (syntax == eSyntax::NrNas && message[0] == k5gsMobilityManagement) {
    security = message[1] & 0x0F;
  } else if ((syntax == eSyntax::LteNas || syntax == eSyntax::LteNasPlain) &&
             (message[0] & 0x0F) == kEpsMobilityManagement) {
    security = message[0] >> 4;
  }
  return security == kCiphered || security == kCipheredNewContext;
}

}  // namespace corvane
