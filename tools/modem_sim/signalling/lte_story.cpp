#include <utility>

#include "modem_sim/signalling/log_payloads.h"
#include "modem_sim/signalling/story.h"

namespace corvane::modem_sim {
namespace {

enum class eLteStep { Rrc, Nas, Mib, CellInfo, ServingCell, EmmState, NextCell, Internet, Event };

struct sLteStep {
  eLteStep kind = eLteStep::Rrc;
  eLteChannel channel = eLteChannel::BcchBch;  // of Rrc
  std::uint16_t number = 0;                    // log code of Nas, ID of Event, state of EmmState
  std::string_view shows = {};
  std::string_view hex = {};
};

// A message of the RRC protocol (3GPP TS 36.331).
constexpr sLteStep Rrc(eLteChannel channel, std::string_view shows, std::string_view hex) {
  return {eLteStep::Rrc, channel, 0, shows, hex};
}

// A message of mobility or sessions (3GPP TS 24.301), by its log code.
constexpr sLteStep Nas(std::uint16_t logCode, std::string_view shows, std::string_view hex) {
  return {eLteStep::Nas, eLteChannel::BcchBch, logCode, shows, hex};
}

constexpr sLteStep Event(std::uint16_t id, std::string_view payload) {
  return {eLteStep::Event, eLteChannel::BcchBch, id, {}, payload};
}

constexpr sLteStep EmmState(std::uint16_t state) {
  return {eLteStep::EmmState, eLteChannel::BcchBch, state, {}, {}};
}

// A cell that was measured, with its master information.
constexpr sLteStep CellInfo(std::string_view shows, std::string_view mib) {
  return {eLteStep::CellInfo, eLteChannel::BcchBch, 0, shows, mib};
}

constexpr sLteStep Of(eLteStep kind) { return {kind, eLteChannel::BcchBch, 0, {}, {}}; }

// Its states: 1 idle and not camped, 2 idle and camped, 3 connecting, 4 connected, 7 closing.
constexpr std::uint16_t kRrcStateEvent = 1606;

constexpr sServingCell kFirstCell = {324, 1300, 19300, 0x12301};
constexpr sServingCell kNextCell = {215, 1300, 19300, 0x12302};

constexpr sLteStep kSteps[] = {
    // A cell is found, read and camped on.
    Rrc(eLteChannel::BcchBch, "MasterInformationBlock (SFN=85)", "695400"),
    Of(eLteStep::Mib),
    CellInfo("MasterInformationBlock (SFN=85)", "695400"),
    Rrc(eLteChannel::BcchDlSch, "SystemInformationBlockType1",
        "4040040300070012301818309021005120"),
    Rrc(eLteChannel::BcchDlSch, "SystemInformation [ SIB2 SIB3 ]",
        "00800c59bd6c8cc0d6165a024004080481fd05699b5ac00e11292541bb48"),
    Rrc(eLteChannel::BcchDlSch, "SystemInformation [ SIB5 ]", "000c04028a0c548788"),
    Of(eLteStep::ServingCell),
    Event(kRrcStateEvent, "02"),
    EmmState(1),
    // The network has no room at first.
    Nas(0xB0E3, "PDN connectivity request", "0201d031d1"),
    Nas(0xB0ED, "Attach request, PDN connectivity request",
        "07417108091010103254769802e0e000050201d031d1"),
    Event(kRrcStateEvent, "03"),
    Rrc(eLteChannel::UlCcch, "RRCConnectionRequest", "55ea12345676"),
    Rrc(eLteChannel::DlCcch, "RRCConnectionReject", "4060"),
    Event(kRrcStateEvent, "02"),
    // It refuses the phone in this tracking area.
    Event(kRrcStateEvent, "03"),
    Rrc(eLteChannel::UlCcch, "RRCConnectionRequest", "55ea12345676"),
    Rrc(eLteChannel::DlCcch, "RRCConnectionSetup", "68129ba4b88e1e67028470"),
    Rrc(eLteChannel::UlDcch, "RRCConnectionSetupComplete, Attach request, PDN connectivity request",
        "22002c0e82e2101220202064a8ed3005c1c0000a0403a063a2"),
    Event(kRrcStateEvent, "04"),
    Nas(0xB0EC, "Attach reject (No Suitable Cells In tracking area)", "07440f"),
    Rrc(eLteChannel::DlDcch, "RRCConnectionRelease [cause=other]", "2802"),
    Event(kRrcStateEvent, "07"),
    Event(kRrcStateEvent, "02"),
    // The phone attaches.
    Nas(0xB0E3, "PDN connectivity request", "0201d031d1"),
    Nas(0xB0ED, "Attach request, PDN connectivity request",
        "07417108091010103254769802e0e000050201d031d1"),
    Event(kRrcStateEvent, "03"),
    Rrc(eLteChannel::UlCcch, "RRCConnectionRequest", "55ea12345676"),
    Rrc(eLteChannel::DlCcch, "RRCConnectionSetup", "68129ba4b88e1e67028470"),
    Rrc(eLteChannel::UlDcch, "RRCConnectionSetupComplete, Attach request, PDN connectivity request",
        "22002c0e82e2101220202064a8ed3005c1c0000a0403a063a2"),
    Event(kRrcStateEvent, "04"),
    EmmState(2),
    Rrc(eLteChannel::DlDcch, "DLInformationTransfer, Identity request", "0800183aa808"),
    Nas(0xB0EC, "Identity request", "075501"),
    Nas(0xB0ED, "Identity response", "0756080910101032547698"),
    Rrc(eLteChannel::UlDcch, "ULInformationTransfer, Identity response",
        "480160eac101220202064a8ed300"),
    Rrc(eLteChannel::DlDcch, "DLInformationTransfer, Authentication request",
        "0a01203a9004fbe459f0e95262fb038c149d25ae36b882e68f179820ac000058e169f27a830b90"),
    Nas(0xB0EC, "Authentication request",
        "0752009f7c8b3e1d2a4c5f60718293a4b5c6d7105cd1e2f3041580000b1c2d3e4f506172"),
    Nas(0xB0ED, "Authentication response", "0753082a4b6c8d9eafb0c1"),
    Rrc(eLteChannel::UlDcch, "ULInformationTransfer, Authentication response",
        "480160ea6105496d91b3d5f61820"),
    Rrc(eLteChannel::DlDcch, "DLInformationTransfer, Security mode command",
        "0c0071bd0d961ea0003ae9100017070608"),
    Nas(0xB0EC, "Security mode command", "075d220002e0e0c1"),
    Nas(0xB0ED, "Security mode complete", "075e23093305010203040506f7"),
    Rrc(eLteChannel::UlDcch, "ULInformationTransfer, Security mode complete",
        "480268e2a4c6e90000ebc4612660a020406080a0dee0"),
    Rrc(eLteChannel::DlDcch, "DLInformationTransfer, Ciphered message", "080049385d6f80680f24d288"),
    Nas(0xB0EA, "Ciphered message", "270badf00d01e49a51"),
    Nas(0xB0E2, "ESM information request", "0201d9"),
    Nas(0xB0E3, "ESM information response", "0201da280908696e7465726e6574"),
    Nas(0xB0EB, "Ciphered message", "275ad0c3b7018be05d174ca2f9013e6647b1"),
    Rrc(eLteChannel::UlDcch, "ULInformationTransfer, Ciphered message",
        "480244eb5a1876e0317c0ba2e9945f2027ccc8f620"),
    Rrc(eLteChannel::DlDcch, "UECapabilityEnquiry", "3e0000"),
    Rrc(eLteChannel::UlDcch, "UECapabilityInformation", "3e01010859800208313040b82e0bafdff8400000"),
    Rrc(eLteChannel::DlDcch, "SecurityModeCommand", "340220"),
    Rrc(eLteChannel::UlDcch, "SecurityModeComplete", "2c00"),
    Rrc(eLteChannel::DlDcch, "RRCConnectionReconfiguration, Ciphered message",
        "201615804000028a5a10003459d0800920a100020a40a163c20000200a000c2777e1d2c30263d8f0a2b1"
        "4c607c1f50368108e2860e91c0"),
    Nas(0xB0EC, "Attach accept, Activate default EPS bearer context request",
        "07420129060000f1100007001f5201c101090908696e7465726e657405010a000002270880000d040a00"
        "00fe500bf600f110800101c0000142"),
    Nas(0xB0E2, "Activate default EPS bearer context request",
        "5201c101090908696e7465726e657405010a000002270880000d040a0000fe"),
    Rrc(eLteChannel::UlDcch, "RRCConnectionReconfigurationComplete", "1000"),
    Nas(0xB0E3, "Activate default EPS bearer context accept", "5200c2"),
    Nas(0xB0ED, "Attach complete, Activate default EPS bearer context accept", "074300035200c2"),
    Rrc(eLteChannel::UlDcch, "ULInformationTransfer, Ciphered message", "480124f896b4d2e045f1cda0"),
    Nas(0xB0EC, "EMM information", "0761430880d4f29c0e7296e94742101020304008"),
    EmmState(3),
    Of(eLteStep::Internet),
    // It is handed over to a better cell, loses it for a moment and comes back.
    Rrc(eLteChannel::UlDcch, "MeasurementReport", "08002938"),
    Rrc(eLteChannel::UlDcch, "MeasurementReport", "0810ac30135db458576a09"),
    Rrc(eLteChannel::DlDcch, "RRCConnectionReconfiguration",
        "220931ae05142c3d0f680c59bd756045859680900102012000"),
    Of(eLteStep::NextCell),
    Rrc(eLteChannel::UlDcch, "RRCConnectionReconfigurationComplete", "1200"),
    Of(eLteStep::ServingCell),
    Nas(0xB0E0, "Ciphered message", "2791a2b3c407d0c17e55"),
    Nas(0xB0E1, "Ciphered message", "274d5e6f7007a87b1c"),
    Rrc(eLteChannel::UlCcch, "RRCConnectionReestablishmentRequest", "07a1ed77a3c8"),
    Rrc(eLteChannel::DlCcch, "RRCConnectionReestablishment", "10101b20"),
    Rrc(eLteChannel::UlDcch, "RRCConnectionReestablishmentComplete", "1c00"),
    Rrc(eLteChannel::DlDcch, "RRCConnectionReconfiguration", "2602203e"),
    Rrc(eLteChannel::UlDcch, "RRCConnectionReconfigurationComplete", "1600"),
    // Idle; paged; connected again.
    Rrc(eLteChannel::DlDcch, "RRCConnectionRelease [cause=other]", "2802"),
    Event(kRrcStateEvent, "07"),
    Event(kRrcStateEvent, "02"),
    Rrc(eLteChannel::Pcch, "Paging (1 PagingRecord)", "40081c00001420"),
    Nas(0xB0ED, "Service request", "c7429d3b"),
    Event(kRrcStateEvent, "03"),
    Rrc(eLteChannel::UlCcch, "RRCConnectionRequest", "481c00001424"),
    Rrc(eLteChannel::DlCcch, "RRCConnectionSetup", "68129ba4b88e1e67028470"),
    Rrc(eLteChannel::UlDcch, "RRCConnectionSetupComplete, Service request",
        "2221800806000404131d0a74ec"),
    Event(kRrcStateEvent, "04"),
    Rrc(eLteChannel::UlDcch, "RRCConnectionReconfigurationComplete", "1000"),
    Nas(0xB0E2, "Deactivate EPS bearer context request (Regular deactivation)", "5202cd24"),
    Nas(0xB0E3, "Deactivate EPS bearer context accept", "5202ce"),
    Rrc(eLteChannel::DlDcch, "RRCConnectionRelease [cause=other]", "2a2254df80"),
    Event(kRrcStateEvent, "07"),
    Event(kRrcStateEvent, "02"),
    // Another tracking area, a refusal there, and the end.
    Nas(0xB0ED, "Tracking area update request",
        "0748090bf600f110800101c00001425200f110000757022000"),
    Nas(0xB0EC, "Tracking area update accept", "0749005a29500bf600f110800101c0000142"),
    Nas(0xB0ED, "Tracking area update complete", "074a"),
    Nas(0xB0EC, "Service reject (UE identity cannot be derived by the network)", "074e09"),
    Nas(0xB0ED, "Tracking area update request",
        "0748090bf600f110800101c00001425200f110000757022000"),
    Nas(0xB0EC, "Tracking area update reject (Implicitly detached)", "074b0a"),
    Nas(0xB0EC, "Authentication reject", "0754"),
    Nas(0xB0ED, "Detach request (EPS detach)", "0745010bf600f110800101c0000142"),
    Nas(0xB0EC, "Detach accept", "0746"),
    EmmState(1),
    Event(kRrcStateEvent, "01"),
};

// A message of a dedicated channel that is longer is logged in two parts, where the version knows
// parts.
constexpr std::size_t kLongestPart = 48;
// Numbers of messages in parts, which no other technology has.
constexpr unsigned kFirstParts = 100;

bool IsUplink(eLteChannel channel) {
  return channel == eLteChannel::UlCcch || channel == eLteChannel::UlDcch;
}

std::string_view Dissector(eLteChannel channel) {
  switch (channel) {
    case eLteChannel::BcchBch:
      return "lte_rrc.bcch_bch";
    case eLteChannel::BcchDlSch:
      return "lte_rrc.bcch_dl_sch";
    case eLteChannel::Pcch:
      return "lte_rrc.pcch";
    case eLteChannel::DlCcch:
      return "lte_rrc.dl_ccch";
    case eLteChannel::DlDcch:
      return "lte_rrc.dl_dcch";
    case eLteChannel::UlCcch:
      return "lte_rrc.ul_ccch";
    default:
      return "lte_rrc.ul_dcch";
  }
}

// The secured logs are 0xB0E0 and 0xB0E1 (sessions), 0xB0EA and 0xB0EB (mobility).
std::string_view NasDissector(std::uint16_t logCode) {
  const bool secured = logCode < 0xB0E2 || logCode == 0xB0EA || logCode == 0xB0EB;
  return secured ? "nas-eps" : "nas-eps_plain";
}

// Tells the steps in the versions of one cycle.
class cTelling {
 public:
  explicit cTelling(unsigned cycle)
      : version(LteRrcVersions()[cycle % LteRrcVersions().size()]), older(cycle % 2 == 1) {}

  void Tell(const sLteStep& step) {
    switch (step.kind) {
      case eLteStep::Rrc:
        TellRrc(step);
        break;
      case eLteStep::Nas:
        TellNas(step);
        break;
      case eLteStep::Mib:
        Add(kLteMibLog, LteMibPayload(older ? 1 : 2, cell));
        break;
      case eLteStep::CellInfo:
        Add(kLteCellLog, LteCellPayload(older ? 1 : 2, cell, Octets(step.hex))).message =
            sShownMessage{Dissector(eLteChannel::BcchBch), step.shows, false, Octets(step.hex)};
        break;
      case eLteStep::ServingCell:
        Add(kLteServingCellLog, LteServingCellPayload(older ? 2 : 3, cell));
        break;
      case eLteStep::EmmState:
        Add(kEmmStateLog, EmmStatePayload(static_cast<std::uint8_t>(step.number), 0));
        break;
      case eLteStep::NextCell:
        cell = kNextCell;
        break;
      case eLteStep::Internet:
        for (sStoryStep& told : InternetStory()) {
          story.push_back(std::move(told));
        }
        break;
      case eLteStep::Event:
        story.emplace_back().event = {step.number, 1, false, 0, Octets(step.hex)};
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

  sStoryStep& AddRrc(eLteChannel channel, eSegment segment, ByteView message) {
    return Add(kLteRrcLog, LteRrcPayload(version, channel, cell, segment, message));
  }

  void TellRrc(const sLteStep& step) {
    const sShownMessage shown{Dissector(step.channel), step.shows, IsUplink(step.channel),
                              Octets(step.hex)};
    const ByteView message = shown.message;
    if (message.size() <= kLongestPart || !LteRrcHasSegments(version)) {
      AddRrc(step.channel, kWholeMessage, message).message = shown;
      return;
    }
    AddRrc(step.channel, kFirstPart, message.first(kLongestPart)).parts = ++parts;
    sStoryStep& last = AddRrc(step.channel, kLastPart, message.subspan(kLongestPart));
    last.parts = parts;
    last.completes = shown;
  }

  void TellNas(const sLteStep& step) {
    const bool isOut = (step.number & 1) != 0;
    const Bytes message = Octets(step.hex);
    Add(step.number, LteNasPayload(message)).message =
        sShownMessage{NasDissector(step.number), step.shows, isOut, message};
  }

  std::uint8_t version;
  bool older;
  sServingCell cell = kFirstCell;
  unsigned parts = kFirstParts;
  Story story;
};

}  // namespace

Story LteStory(unsigned cycle) {
  cTelling telling(cycle);
  for (const sLteStep& step : kSteps) {
    telling.Tell(step);
  }
  return telling.Take();
}

}  // namespace corvane::modem_sim
