#include <utility>

#include "modem_sim/signalling/log_payloads.h"
#include "modem_sim/signalling/story.h"

namespace corvane::modem_sim {
namespace {

enum class eNrStep { Rrc, Nas, Mib, ServingCell };

struct sNrStep {
  eNrStep kind = eNrStep::Rrc;
  eNrChannel channel = eNrChannel::BcchBch;  // of Rrc
  std::uint16_t logCode = 0;                 // of Nas
  std::string_view shows = {};
  std::string_view hex = {};
};

// A message of the RRC protocol (3GPP TS 38.331).
constexpr sNrStep Rrc(eNrChannel channel, std::string_view shows, std::string_view hex) {
  return {eNrStep::Rrc, channel, 0, shows, hex};
}

// A message of mobility or sessions (3GPP TS 24.501), by its log code.
constexpr sNrStep Nas(std::uint16_t logCode, std::string_view shows, std::string_view hex) {
  return {eNrStep::Nas, eNrChannel::BcchBch, logCode, shows, hex};
}

constexpr sNrStep Of(eNrStep kind) { return {kind, eNrChannel::BcchBch, 0, {}, {}}; }

constexpr sServingCell kCell = {452, 640000, 640000, 0x1230101};

constexpr sNrStep kSteps[] = {
    // A cell is found, read and camped on.
    Rrc(eNrChannel::BcchBch, "MIB", "556524"),
    Of(eNrStep::Mib),
    Rrc(eNrChannel::BcchDlSch, "SIB1",
        "6e800c02080080400001c0048c0406011040190208cc010983f00000620808966aba400104881009936b"
        "58c0"),
    Of(eNrStep::ServingCell),
    // The network has no room at first, and then no place for the phone.
    Rrc(eNrChannel::UlCcch, "RRC Setup Request", "156bd42468a6"),
    Rrc(eNrChannel::DlCcch, "RRC Reject", "0880"),
    Nas(0xB80B, "Registration request", "7e004179000d0100f110f0ff000010325476982e04f0f0f0f0"),
    Rrc(eNrChannel::UlCcch, "RRC Setup Request", "156bd42468a6"),
    Rrc(eNrChannel::DlCcch, "RRC Setup", "204000524005000c7107340c0080"),
    Rrc(eNrChannel::UlDcch, "RRC Setup Complete, Registration request",
        "1000065f80105e400340403c443c3fc000040c951da60b813c3c3c3c00"),
    Nas(0xB80A, "Registration reject (N1 mode not allowed)", "7e00441b"),
    Rrc(eNrChannel::DlDcch, "RRC Release", "1600"),
    // The phone registers.
    Nas(0xB80B, "Registration request", "7e004179000d0100f110f0ff000010325476982e04f0f0f0f0"),
    Rrc(eNrChannel::UlCcch, "RRC Setup Request", "156bd42468a6"),
    Rrc(eNrChannel::DlCcch, "RRC Setup", "204000524005000c7107340c0080"),
    Rrc(eNrChannel::UlDcch, "RRC Setup Complete, Registration request",
        "1000065f80105e400340403c443c3fc000040c951da60b813c3c3c3c00"),
    Rrc(eNrChannel::DlDcch, "DL Information Transfer, Identity request", "28808fc00b6020"),
    Nas(0xB80A, "Identity request", "7e005b01"),
    Nas(0xB80B, "Identity response", "7e005c000d0100f110f0ff00001032547698"),
    Rrc(eNrChannel::UlDcch, "UL Information Transfer, Identity response",
        "3a093f002e000680807888787f800008192a3b4c00"),
    Rrc(eNrChannel::DlDcch, "DL Information Transfer, Authentication request",
        "2a854fc00ac00040000423f1cfad8b69472502e0debc9a78563404021478bce12365b00007ea2c6e90b2"
        "c14360"),
    Nas(0xB80A, "Authentication request",
        "7e005600020000211f8e7d6c5b4a39281706f5e4d3c2b1a02010a3c5e7091b2d80003f51637485960a1b"),
    Nas(0xB80B, "Authentication response", "7e00572d100f1e2d3c4b5a69788796a5b4c3d2e1f0"),
    Rrc(eNrChannel::UlDcch, "UL Information Transfer, Authentication response",
        "3a0abf002b9688078f169e25ad34bc43cb52da61e970f800"),
    Rrc(eNrChannel::DlDcch, "DL Information Transfer, Security mode command",
        "2c824fc06de3a587600fc00ba440009e1e1e1e1c20"),
    Nas(0xB80A, "Security mode command", "7e005d220004f0f0f0f0e1"),
    Nas(0xB80B, "Security mode complete", "7e005e7700093505010203040506f7"),
    Rrc(eNrChannel::UlDcch, "UL Information Transfer",
        "3a0b3f02444cd55d803f002f3b80049a828081018202837b80"),
    Rrc(eNrChannel::DlDcch, "Security Mode Command", "200910"),
    Rrc(eNrChannel::UlDcch, "Security Mode Complete", "2800"),
    Rrc(eNrChannel::DlDcch, "UE Capability Enquiry", "320000"),
    Rrc(eNrChannel::UlDcch, "UE Capability Information", "4a80"),
    Rrc(eNrChannel::DlDcch, "RRC Reconfiguration",
        "048a80409a01e00204e1b1401e800541231c41cd0328700c7107340c00e7e0211d2e3f4029a17c06e5d4"
        "4300"),
    Nas(0xB80A, "Registration accept",
        "7e0042010177000bf200f110800040c000014254070000f110000007150201015e0106"),
    Rrc(eNrChannel::UlDcch, "RRC Reconfiguration Complete", "0c00"),
    Nas(0xB80B, "Registration complete", "7e0043"),
    Rrc(eNrChannel::UlDcch, "UL Information Transfer", "3a053f0119a22ab300e0c68100"),
    // A PDU session for the internet.
    Nas(0xB801, "PDU session establishment request", "2e0101c1ffff91a17b000a80000d00000300000a00"),
    Nas(0xB80B, "UL NAS transport, PDU session establishment request",
        "7e00670100152e0101c1ffff91a17b000a80000d00000300000a00120181220101250908696e7465726e"
        "6574"),
    Rrc(eNrChannel::UlDcch, "UL Information Transfer", "3a06bf013bc44cd5016a7485be1af880"),
    Nas(0xB808, "", "7e025a6b7c8d09e1f20394a5"),
    Nas(0xB80A, "DL NAS transport, PDU session establishment accept",
        "7e00680100352e0101c211000901000631310101ff01060603e80603e82905010a000003220101790006"
        "012041010109250908696e7465726e65741201"),
    Nas(0xB800, "PDU session establishment accept",
        "2e0101c211000901000631310101ff01060603e80603e82905010a000003220101790006012041010109"
        "250908696e7465726e6574"),
    Nas(0xB80A, "Configuration update command", "7e0054430880d4f29c0e7296e9"),
    Rrc(eNrChannel::DlDcch, "RRC Reconfiguration",
        "048a80409a01e00204e1b1401e800541231c41cd0328700c7107340c00e7e0211d2e3f4029a17c06e5d4"
        "4300"),
    Rrc(eNrChannel::UlDcch, "RRC Reconfiguration Complete", "0c00"),
    Nas(0xB809, "", "7e020c1d2e3f09b6c7d8"),
    // A new connection after the loss of one; then idle, paged, connected.
    Rrc(eNrChannel::UlDcch, "Measurement Report", "00400005c459f4205c55a345"),
    Rrc(eNrChannel::UlCcch, "RRC Reestablishment Request", "48c02e22d1e4"),
    Rrc(eNrChannel::DlDcch, "RRC Reestablishment", "1820"),
    Rrc(eNrChannel::UlDcch, "RRC Reestablishment Complete", "1800"),
    Rrc(eNrChannel::DlDcch, "RRC Release", "1600"),
    Rrc(eNrChannel::Pcch, "Paging", "2000010300000508"),
    Nas(0xB80B, "Service request", "7e004c100007f40040c000014240022000"),
    Rrc(eNrChannel::UlCcch, "RRC Setup Request", "081800002844"),
    Rrc(eNrChannel::DlCcch, "RRC Setup", "204000524005000c7107340c0080"),
    Rrc(eNrChannel::UlDcch, "RRC Setup Complete, Service request",
        "1010045f8013040001fd0010300000509000880000081800002840"),
    Nas(0xB80A, "Service accept", "7e004e50022000"),
    // The second leg of a connection that LTE leads.
    Rrc(eNrChannel::Reconfiguration, "RRC Reconfiguration",
        "91500813403c00409c362803d000a824638839a0650e018e20e681801cfc0423a5c7e805342f80dcba88"
        "60"),
    Rrc(eNrChannel::ReconfigurationComplete, "RRC Reconfiguration Complete", "0c00"),
    Rrc(eNrChannel::RadioBearers, "RadioBearerConfig", "500813403c00409c3600"),
    // The end.
    Nas(0xB801, "PDU session release request", "2e0102d1"),
    Nas(0xB800, "PDU session release command (Regular deactivation)", "2e0102d324"),
    Nas(0xB801, "PDU session release complete", "2e0102d4"),
    Nas(0xB80B, "Deregistration request (UE originating)", "7e004501000bf200f110800040c0000142"),
    Nas(0xB80A, "Deregistration accept (UE originating)", "7e0046"),
    Rrc(eNrChannel::DlDcch, "RRC Release", "1600"),
};

// A longer message is logged in two parts, where the version knows parts.
constexpr std::size_t kLongestPart = 32;
// Numbers of messages in parts, which no other technology has.
constexpr unsigned kFirstParts = 200;

bool IsUplink(eNrChannel channel) {
  return channel == eNrChannel::UlCcch || channel == eNrChannel::UlDcch ||
         channel == eNrChannel::ReconfigurationComplete;
}

std::string_view Dissector(eNrChannel channel) {
  switch (channel) {
    case eNrChannel::BcchBch:
      return "nr-rrc.bcch.bch";
    case eNrChannel::BcchDlSch:
      return "nr-rrc.bcch.dl.sch";
    case eNrChannel::Pcch:
      return "nr-rrc.pcch";
    case eNrChannel::DlCcch:
      return "nr-rrc.dl.ccch";
    case eNrChannel::DlDcch:
      return "nr-rrc.dl.dcch";
    case eNrChannel::UlCcch:
      return "nr-rrc.ul.ccch";
    case eNrChannel::Reconfiguration:
      return "nr-rrc.rrc_reconf";
    case eNrChannel::RadioBearers:
      return "nr-rrc.radiobearerconfig";
    default:
      return "nr-rrc.ul.dcch";
  }
}

// A complete of a reconfiguration is logged without the five bits that make it a message of UL-DCCH
// (a choice of one bit and one of four), and is a byte shorter for it.
Bytes AsLogged(eNrChannel channel, const Bytes& message) {
  if (channel != eNrChannel::ReconfigurationComplete) {
    return message;
  }
  Bytes bare;
  for (std::size_t i = 0; i + 1 < message.size(); ++i) {
    bare.push_back(static_cast<std::uint8_t>(message[i] << 5 | message[i + 1] >> 3));
  }
  return bare;
}

// Tells the steps in the version of one cycle.
class cTelling {
 public:
  explicit cTelling(unsigned cycle)
      : version(NrRrcVersions()[cycle % NrRrcVersions().size()]), older(cycle % 2 == 1) {}

  void Tell(const sNrStep& step) {
    switch (step.kind) {
      case eNrStep::Rrc:
        TellRrc(step);
        break;
      case eNrStep::Nas:
        TellNas(step);
        break;
      case eNrStep::Mib:
        Add(kNrMibLog, NrMibPayload(kCell));
        break;
      case eNrStep::ServingCell:
        Add(kNrServingCellLog, NrServingCellPayload(older, kCell));
        break;
    }
  }

  [[nodiscard]] Story Take() { return std::move(story); }

 private:
  sStoryStep& Add(std::uint16_t logCode, Bytes payload) {
    sStoryStep& told = story.emplace_back();
    told.logCode = logCode;
    told.payload = std::move(payload);
    return told;
  }

  sStoryStep& AddRrc(eNrChannel channel, eSegment segment, ByteView message) {
    return Add(kNrRrcLog, NrRrcPayload(version, channel, kCell, segment, message));
  }

  void TellRrc(const sNrStep& step) {
    const sShownMessage shown{Dissector(step.channel), step.shows, IsUplink(step.channel),
                              Octets(step.hex)};
    const Bytes logged = AsLogged(step.channel, shown.message);
    const ByteView message = logged;
    if (message.size() <= kLongestPart || !NrRrcHasSegments(version)) {
      AddRrc(step.channel, kWholeMessage, message).message = shown;
      return;
    }
    AddRrc(step.channel, kFirstPart, message.first(kLongestPart)).parts = ++parts;
    sStoryStep& last = AddRrc(step.channel, kLastPart, message.subspan(kLongestPart));
    last.parts = parts;
    last.completes = shown;
  }

  void TellNas(const sNrStep& step) {
    const bool isOut = (step.logCode & 1) != 0;
    const Bytes message = Octets(step.hex);
    Add(step.logCode, NrNasPayload(message)).message =
        sShownMessage{"nas-5gs", step.shows, isOut, message};
  }

  std::uint8_t version;
  bool older;
  unsigned parts = kFirstParts;
  Story story;
};

}  // namespace

Story NrStory(unsigned cycle) {
  cTelling telling(cycle);
  for (const sNrStep& step : kSteps) {
    telling.Tell(step);
  }
  return telling.Take();
}

}  // namespace corvane::modem_sim
