#include "modem_sim/sib_message.h"
#include "modem_sim/signalling/log_payloads.h"
#include "modem_sim/signalling/story.h"

namespace corvane::modem_sim {
namespace {

enum class eWcdmaStep { Rrc, Nas, Cell };
constexpr bool kUp = true;
constexpr bool kDown = false;

// A block of system information.
struct sShownBlock {
  std::string_view dissector;
  std::string_view shows;
  std::string_view hex;
};

// Wireshark shows the blocks of lists in the message, but not one of a fixed size, which has 226
// bits and is filled up with zeros.
constexpr sShownBlock kMasterInformation = {
    "rrc.si.mib", "MasterInformationBlock",
    "4000402300386224226075312280000000000000000000000000000000"};
constexpr sShownBlock kType3 = {"rrc.si.sib3", "SysInfoType 3",
                                "0286cb0c48cd60c010329c000000000000000000000000000000000000"};
// 574 bits in three segments. A last segment of a fixed size is filled up with zeros too.
constexpr sShownBlock kType11 = {
    "rrc.si.sib11", "SysInfoType 11",
    "00905e00a8942115e882335184d3a40a094a1086982c8d38413a8089b521246a829555856fac08195a17"
    "f6b827357849ab00a1f621612c8216d984a3b40bd96a10e6d82aa5b84768000000000000000000000000"};
constexpr sShownBlock kType11Short = {
    "rrc.si.sib11", "SysInfoType 11",
    "00905e00a8942115e882335184d3a40a094a1086982c8d38413a8089b521246a829555856fac08195a17"
    "f6b827357849ab00a1f621612c8216d984a3b40bd96a10e6d82aa5b84768"};
// The block of type 7 in the list on BCCH-FACH, as a recorder rebuilds it: 17 bits.
constexpr unsigned kType7 = 7;
constexpr std::uint32_t kType7Bits = 0b00000010100000001;
constexpr unsigned kType7Size = 17;

struct sWcdmaStep {
  eWcdmaStep kind = eWcdmaStep::Cell;
  eWcdmaChannel channel = kUlCcch;  // of Rrc
  bool uplink = false;
  std::string_view shows = {};
  std::string_view hex = {};
  const sShownBlock* completes = nullptr;
};

// A message of the RRC protocol (3GPP TS 25.331). `completes` is the block of system information
// that it completes, unless Wireshark finds the block in the message.
constexpr sWcdmaStep Rrc(eWcdmaChannel channel, std::string_view shows, std::string_view hex,
                         const sShownBlock* completes = nullptr) {
  return {eWcdmaStep::Rrc, channel, channel == kUlCcch || channel == kUlDcch,
          shows,           hex,     completes};
}

// A message of mobility, GPRS mobility or sessions (3GPP TS 24.008).
constexpr sWcdmaStep Nas(bool uplink, std::string_view shows, std::string_view hex) {
  return {eWcdmaStep::Nas, kUlCcch, uplink, shows, hex};
}

constexpr sWcdmaStep Cell() { return {}; }

constexpr sWcdmaStep kSteps[] = {
    // What the cell broadcasts: blocks of one message, and one of three segments. A recorder reads
    // the choice of a BCCH-BCH message in another bit order; with these frame numbers it rebuilds
    // nothing.
    Rrc(kBcchBch, "SystemInformation-BCH",
        "2a920400040230038622422607531228000000000000000000000000000000", &kMasterInformation),
    Rrc(kBcchBch, "SystemInformation-BCH (SysInfoType 1(cs-domain)(ps-domain)) (SysInfoType 7)",
        "2b6e215344040909400b10501618a388014040000000000000000000000000"),
    Rrc(kBcchBch, "SystemInformation-BCH",
        "2df230286cb0c48cd60c010329c00000000000000000000000000000000000", &kType3),
    Rrc(kBcchBch, "SystemInformation-BCH",
        "2b82b200905e00a8942115e882335184d3a40a094a1086982c8d38413a8088"),
    Rrc(kBcchBch, "SystemInformation-BCH",
        "2c04b06d48491aa0a555615beb02065685fdae09cd5e126ac0287d88584b20"),
    Rrc(kBcchBch, "SystemInformation-BCH",
        "2c94b1216d984a3b40bd96a10e6d82aa5b8476800000000000000000000000", &kType11),
    Cell(),
    Rrc(kBcchBch, "SystemInformation-BCH",
        "2e000000000000000000000000000000000000000000000000000000000000"),
    Rrc(kBcchFach, "SystemInformation-FACH (SysInfoType 7)",
        "1c0e20050100000000000000000000000000000000"),
    Rrc(kBcchBch, "SystemInformation-BCH",
        "2b82b200905e00a8942115e882335184d3a40a094a1086982c8d38413a8088"),
    Rrc(kBcchBch, "SystemInformation-BCH",
        "2c04b06d48491aa0a555615beb02065685fdae09cd5e126ac0287d88584b20"),
    Rrc(kBcchBch, "SystemInformation-BCH (SysInfoType 7)",
        "2ceab181216d984a3b40bd96a10e6d82aa5b847680e2005010000000000000", &kType11Short),
    // The network has no room at first. Then the phone registers with both domains.
    Rrc(kUlCcch, "RRCConnectionRequest", "21c0000142001008081300"),
    Rrc(kDlCcch, "RRCConnectionReject", "107000005080040202040c"),
    Rrc(kUlCcch, "RRCConnectionRequest", "21c0000142001008081300"),
    Rrc(kDlCcch, "RRCConnectionSetup",
        "3000380000284002010102408468acd681a46a0050858cdd1978646a2151898cdd1978646a425202e403"
        "260473ec02f5c0"),
    Rrc(kUlDcch, "RRCConnectionSetupComplete(cs-domain)(ps-domain)", "48280004a00068"),
    Nas(kUp, "(DTAP) (MM) Location Updating Request", "05087000f110010233080910101032547698"),
    Rrc(kUlDcch, "InitialDirectTransfer(cs-domain)(DTAP) (MM) Location Updating Request",
        "1401420088284380078880081198404880808192a3b4c0"),
    Rrc(kDlDcch, "DownlinkDirectTransfer(cs-domain)(DTAP) (MM) Authentication Request",
        "1400480a24013ef9167c3a5498bec0e30527496b8dae4020b9a3c5e6082b000016385a7c9ea0c2e4"),
    Nas(kDown, "(DTAP) (MM) Authentication Request",
        "0512009f7c8b3e1d2a4c5f60718293a4b5c6d720105cd1e2f3041580000b1c2d3e4f506172"),
    Nas(kUp, "(DTAP) (MM) Authentication Response", "05541a2b3c4d21045e6f7081"),
    Rrc(kUlDcch, "UplinkDirectTransfer(cs-domain)(DTAP) (MM) Authentication Response",
        "6c00582aa0d159e2690822f37b8408"),
    Rrc(kDlDcch, "SecurityModeCommand(cs-domain)", "8d961ea70c05000180015436587a80"),
    Rrc(kUlDcch, "SecurityModeComplete", "961ea72f8d04"),
    Rrc(kDlDcch, "DownlinkDirectTransfer(cs-domain)(DTAP) (MM) Location Updating Accept",
        "9ea72fb0114401a0a0401e22002042e0be9800002840"),
    Nas(kDown, "(DTAP) (MM) Location Updating Accept", "050200f11001021705f4c0000142"),
    Nas(kUp, "(DTAP) (MM) TMSI Reallocation Complete", "055b"),
    Rrc(kUlDcch, "UplinkDirectTransfer(cs-domain)(DTAP) (MM) TMSI Reallocation Complete",
        "a72fb03896c00082ad80"),
    Nas(kUp, "(DTAP) (GMM) Attach Request",
        "080103e5e034710a0008091010103254769800f110fffeff051333632b20"),
    Rrc(kUlDcch, "InitialDirectTransfer(ps-domain)(DTAP) (GMM) Attach Request",
        "14814200e840081f2f01a3885000404880808192a3b4c0078887fff7f828999b195900"),
    Nas(kDown, "(DTAP) (GMM) Authentication and Ciphering Req",
        "08120000211f8e7d6c5b4a39281706f5e4d3c2b1a080"),
    Nas(kUp, "(DTAP) (GMM) Authentication and Ciphering Resp", "081300225a6b7c8d"),
    Nas(kDown, "(DTAP) (GMM) Attach Accept", "080201490400f1100102051805f4c0000242"),
    Nas(kUp, "(DTAP) (GMM) Attach Complete", "0803"),
    Nas(kUp, "(DTAP) (SM) Activate PDP Context Request",
        "0a4105030b0000000000000000000000020121280908696e7465726e6574"),
    Nas(kDown, "(DTAP) (SM) Activate PDP Context Accept",
        "8a42030b23921f7396fefe74fb0040042b0601210a000004"),
    // Measurements, and the end of the connection.
    Rrc(kUlDcch, "MeasurementReport", "afb038c11a240021a891290c5758f0000ae0"),
    Rrc(kDlDcch, "MeasurementControl", "b038c1499a018c"),
    Rrc(kDlDcch, "SignallingConnectionRelease(cs-domain)", "b8c149d22440"),
    Rrc(kDlDcch, "RRCConnectionRelease [cause=userInactivity]", "c149d25aabc978"),
    Rrc(kUlDcch, "RRCConnectionReleaseComplete", "c9d25ae32c44"),
    // Paged; a service request; detached.
    Rrc(kPcch, "PagingType1(ps-domain)", "401580000284"),
    Nas(kUp, "(DTAP) (GMM) Service Request", "080c1005f4c0000342"),
    Nas(kDown, "(DTAP) (GMM) Service Accept", "080d"),
    Nas(kUp, "(DTAP) (SM) Deactivate PDP Context Request", "0a4624"),
    Nas(kDown, "(DTAP) (SM) Deactivate PDP Context Accept", "8a47"),
    Nas(kUp, "(DTAP) (GMM) Detach Request", "0805011805f4c0000342"),
    Nas(kDown, "(DTAP) (GMM) Detach Accept", "080600"),
};

std::string_view Dissector(eWcdmaChannel channel) {
  switch (channel) {
    case kUlCcch:
      return "rrc.ul.ccch";
    case kUlDcch:
      return "rrc.ul.dcch";
    case kDlCcch:
      return "rrc.dl.ccch";
    case kDlDcch:
      return "rrc.dl.dcch";
    case kBcchBch:
      return "rrc.bcch.bch";
    case kBcchFach:
      return "rrc.bcch.fach";
    default:
      return "rrc.pcch";
  }
}

sStoryStep ToldRrc(const sWcdmaStep& step, bool newer) {
  sStoryStep told;
  const Bytes message = Octets(step.hex);
  told.logCode = kWcdmaRrcLog;
  told.payload = WcdmaRrcPayload(step.channel, newer, message);
  told.message = sShownMessage{Dissector(step.channel), step.shows, step.uplink, message};
  if (step.completes != nullptr) {
    told.completes = sShownMessage{step.completes->dissector, step.completes->shows, false,
                                   Octets(step.completes->hex)};
  }
  // In the newer layout a recorder does not look for system information.
  if (step.channel == kBcchFach && !newer) {
    cBitString data;
    data.Put(kType7Bits, kType7Size);
    told.blocks = {WholeBlockPacket(kFach, 0, kType7, data)};
  }
  return told;
}

sStoryStep Told(const sWcdmaStep& step, bool newer, bool second) {
  if (step.kind == eWcdmaStep::Rrc) {
    return ToldRrc(step, newer);
  }
  sStoryStep told;
  if (step.kind == eWcdmaStep::Cell) {
    told.logCode = kWcdmaCellLog;
    told.payload = WcdmaCellPayload();
    return told;
  }
  const Bytes message = Octets(step.hex);
  told.logCode = kUmtsNasLog;
  told.payload = UmtsNasPayload(step.uplink, message);
  if (second) {
    told.logCode = kSecondUmtsNasLog;
    told.payload.insert(told.payload.begin(), 2);
  }
  told.message = sShownMessage{"gsm_a_dtap", step.shows, step.uplink, message};
  return told;
}

// The choice of a BCCH-BCH message stands behind 11 bits of frame number.
unsigned Choice(ByteView message) { return message[1] >> 1 & 0xFU; }

bool HasSegment(unsigned choice) {
  return choice != kCompleteSibList && choice != kCompleteSib && choice != 0;
}

}  // namespace

Story WcdmaStory(unsigned cycle) {
  // Every other time the layout is the newer one, and the phone has a second subscription, which
  // registers for calls only.
  const bool other = cycle % 2 == 1;
  unsigned block = 0;
  Story story;
  for (const sWcdmaStep& step : kSteps) {
    story.push_back(Told(step, other, false));
    if (step.channel == kBcchBch) {
      const unsigned choice = Choice(story.back().message->message);
      block += choice == kFirstSegment ? 1 : 0;
      story.back().parts = HasSegment(choice) ? block : 0;
    }
    if (other && step.kind == eWcdmaStep::Nas && step.shows.starts_with("(DTAP) (MM)")) {
      story.push_back(Told(step, false, true));
    }
  }
  return story;
}

}  // namespace corvane::modem_sim
