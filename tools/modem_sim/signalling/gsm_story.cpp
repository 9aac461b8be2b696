#include "modem_sim/signalling/log_payloads.h"
#include "modem_sim/signalling/story.h"

namespace corvane::modem_sim {
namespace {

enum class eGsmStep { Rr, Mac, Nas, Cell };
constexpr bool kUp = true;
constexpr bool kDown = false;

struct sGsmStep {
  eGsmStep kind = eGsmStep::Cell;
  eGsmChannel channel = kGsmDcch;  // of Rr
  bool uplink = false;
  std::string_view shows = {};
  std::string_view hex = {};
};

// A message of radio resources, mobility or a call (3GPP TS 44.018, 24.008). On broadcast and
// common channels its first octet is the pseudo length.
constexpr sGsmStep Rr(eGsmChannel channel, bool uplink, std::string_view shows,
                      std::string_view hex) {
  return {eGsmStep::Rr, channel, uplink, shows, hex};
}

// A message of GPRS radio blocks (3GPP TS 44.060), with its MAC header octet.
constexpr sGsmStep Mac(bool uplink, std::string_view shows, std::string_view hex) {
  return {eGsmStep::Mac, kGsmDcch, uplink, shows, hex};
}

// A message of GPRS mobility or sessions (3GPP TS 24.008).
constexpr sGsmStep Nas(bool uplink, std::string_view shows, std::string_view hex) {
  return {eGsmStep::Nas, kGsmDcch, uplink, shows, hex};
}

constexpr sGsmStep Cell() { return {}; }

constexpr sGsmStep kSteps[] = {
    // What the cell broadcasts.
    Rr(kGsmBcch, kDown, "(CCCH) (RR) System Information Type 1",
       "550619000000000000000000000802008020097900002b"),
    Rr(kGsmBcch, kDown, "(CCCH) (RR) System Information Type 2",
       "59061a00000000000000000000080200802009ff790000"),
    Rr(kGsmBcch, kDown, "(CCCH) (RR) System Information Type 3",
       "49061b1a2b00f11001024905104765087900002b2b2b2b"),
    Rr(kGsmBcch, kDown, "(CCCH) (RR) System Information Type 4",
       "31061c00f110010265087900002b2b2b2b2b2b2b2b2b2b"),
    Cell(),
    Rr(kGsmCcch, kDown, "(CCCH) (RR) Paging Request Type 1",
       "1506210001f02b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b"),
    // Location updating.
    Rr(kGsmCcch, kDown, "(CCCH) (RR) Immediate Assignment",
       "2d063f004ae0427f532a01002b2b2b2b2b2b2b2b2b2b2b"),
    Rr(kGsmSdcch, kUp, "(DTAP) (MM) Location Updating Request",
       "05087000f110010233080910101032547698"),
    Rr(kGsmSdcch, kUp, "(DTAP) (RR) Classmark Change", "061603331981"),
    Rr(kGsmSdcch, kDown, "(DTAP) (MM) Authentication Request",
       "0512009f7c8b3e1d2a4c5f60718293a4b5c6d7"),
    Rr(kGsmSdcch, kUp, "(DTAP) (MM) Authentication Response", "05541a2b3c4d"),
    Rr(kGsmSdcch, kDown, "(DTAP) (RR) Ciphering Mode Command", "063511"),
    Rr(kGsmSdcch, kUp, "(DTAP) (RR) Ciphering Mode Complete", "0632"),
    Rr(kGsmSdcch, kDown, "(DTAP) (MM) Location Updating Accept", "050200f11001021705f4c0000142"),
    Rr(kGsmSdcch, kUp, "(DTAP) (MM) TMSI Reallocation Complete", "055b"),
    Rr(kGsmSdcch, kDown, "(DTAP) (MM) MM Information", "0532430880d4f29c0e7296e94742101020304008"),
    Rr(kGsmSdcch, kDown, "(DTAP) (RR) Channel Release", "060d00"),
    // A call, with a handover.
    Rr(kGsmCcch, kDown, "(CCCH) (RR) Immediate Assignment",
       "2d063f004ae0427f532a01002b2b2b2b2b2b2b2b2b2b2b"),
    Rr(kGsmSdcch, kUp, "(DTAP) (MM) CM Service Request", "0524010333198105f4c0000142"),
    Rr(kGsmSdcch, kDown, "(DTAP) (MM) CM Service Accept", "0521"),
    Rr(kGsmSdcch, kDown, "(DTAP) (RR) Ciphering Mode Command", "063511"),
    Rr(kGsmSdcch, kUp, "(DTAP) (RR) Ciphering Mode Complete", "0632"),
    Rr(kGsmSdcch, kUp, "(DTAP) (CC) Setup", "030504066004020005815e0791447700900021"),
    Rr(kGsmSdcch, kDown, "(DTAP) (CC) Call Proceeding", "8302"),
    Rr(kGsmSdcch, kDown, "(DTAP) (RR) Assignment Command", "062e0ae042056301"),
    Rr(kGsmFacchFull, kUp, "(DTAP) (RR) Assignment Complete", "062900"),
    Rr(kGsmSacch, kDown, "(DTAP) (RR) System Information Type 5",
       "061d00000000000000000000080200802009"),
    Rr(kGsmSacch, kDown, "(DTAP) (RR) System Information Type 6",
       "061e1a2b00f110010247ff2b2b2b2b2b2b2b"),
    Rr(kGsmSacch, kUp, "(DTAP) (RR) Measurement Report", "06152e2e0041948310400000000000000000"),
    Rr(kGsmFacchFull, kDown, "(DTAP) (CC) Alerting", "83011e02ea81"),
    Rr(kGsmFacchFull, kDown, "(DTAP) (CC) Connect", "8307"),
    Rr(kGsmFacchFull, kUp, "(DTAP) (CC) Connect Acknowledge", "030f"),
    Rr(kGsmFacchFull, kDown, "(DTAP) (RR) Handover Command", "062b19420ae0572107d0"),
    Rr(kGsmFacchFull, kUp, "(DTAP) (RR) Handover Complete", "062c00"),
    Rr(kGsmSacch, kUp, "(DTAP) (RR) Measurement Report", "06152e2e0041948310400000000000000000"),
    Rr(kGsmFacchFull, kUp, "(DTAP) (CC) Disconnect", "032502e090"),
    Rr(kGsmFacchFull, kDown, "(DTAP) (CC) Release", "832d"),
    Rr(kGsmFacchFull, kUp, "(DTAP) (CC) Release Complete", "032a"),
    Rr(kGsmFacchFull, kDown, "(DTAP) (RR) Channel Release", "060d00"),
    // The phone answers a page, on a half-rate channel.
    Rr(kGsmCcch, kDown, "(CCCH) (RR) Paging Request Type 1",
       "2506212005f4c00001422b2b2b2b2b2b2b2b2b2b2b2b2b"),
    Rr(kGsmCcch, kDown, "(CCCH) (RR) Immediate Assignment",
       "2d063f004ae0427f532a01002b2b2b2b2b2b2b2b2b2b2b"),
    Rr(kGsmSdcch, kUp, "(DTAP) (RR) Paging Response", "0627000333198105f4c0000142"),
    Rr(kGsmFacchHalf, kUp, "(DTAP) (RR) Assignment Complete", "062900"),
    Rr(kGsmSdcch, kDown, "(DTAP) (RR) Channel Release", "060d00"),
    // GPRS: attach, a context, another routing area, the end.
    Rr(kGsmCcch, kDown, "(CCCH) (RR) Immediate Assignment",
       "2d063f004ae0427f532a01002b2b2b2b2b2b2b2b2b2b2b"),
    Mac(kDown, "GPRS DL CTRL: PACKET_DOWNLINK_DUMMY_CONTROL_BLOCK",
        "40942b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b"),
    Mac(kUp, "GPRS UL CTRL: PACKET_CONTROL_ACKNOWLEDGEMENT",
        "40070000050b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b"),
    Nas(kUp, "(DTAP) (GMM) Attach Request",
        "080103e5e034710a0008091010103254769800f110fffeff051333632b20"),
    Nas(kDown, "(DTAP) (GMM) Attach Reject", "08040f"),
    Nas(kUp, "(DTAP) (GMM) Attach Request",
        "080103e5e034710a0008091010103254769800f110fffeff051333632b20"),
    Nas(kDown, "(DTAP) (GMM) Identity Request", "081500"),
    Nas(kUp, "(DTAP) (GMM) Identity Response", "0816083a15020103040506"),
    Nas(kDown, "(DTAP) (GMM) Authentication and Ciphering Req",
        "08120000211f8e7d6c5b4a39281706f5e4d3c2b1a080"),
    Nas(kUp, "(DTAP) (GMM) Authentication and Ciphering Resp", "081300225a6b7c8d"),
    Nas(kDown, "(DTAP) (GMM) Attach Accept", "080201490400f1100102051805f4c0000242"),
    Nas(kUp, "(DTAP) (GMM) Attach Complete", "0803"),
    Nas(kUp, "(DTAP) (SM) Activate PDP Context Request",
        "0a4105030b0000000000000000000000020121280908696e7465726e6574"),
    Nas(kDown, "(DTAP) (SM) Activate PDP Context Accept",
        "8a42030b23921f7396fefe74fb0040042b0601210a000004"),
    Nas(kUp, "(DTAP) (GMM) Routing Area Update Request", "08080000f110010205051333632b20"),
    Nas(kDown, "(DTAP) (GMM) Routing Area Update Accept", "0809004900f1100102051805f4c0000342"),
    Nas(kUp, "(DTAP) (GMM) Routing Area Update Complete", "080a"),
    Nas(kUp, "(DTAP) (SM) Deactivate PDP Context Request", "0a4624"),
    Nas(kDown, "(DTAP) (SM) Deactivate PDP Context Accept", "8a47"),
    Nas(kUp, "(DTAP) (GMM) Detach Request", "0805011805f4c0000342"),
    Nas(kDown, "(DTAP) (GMM) Detach Accept", "080600"),
    Rr(kGsmDcch, kUp, "(DTAP) (MM) IMSI Detach Indication", "05013305f4c0000142"),
};

// The logs of a second subscription are the same behind one byte that tells it.
Bytes OfSecondSubscription(ByteView payload) {
  Bytes second = {2};
  AppendBytes(second, payload);
  return second;
}

sStoryStep Told(const sGsmStep& step, bool second) {
  sStoryStep told;
  if (step.kind == eGsmStep::Cell) {
    told.logCode = kGsmCellLog;
    told.payload = GsmCellPayload();
    return told;
  }
  const Bytes message = Octets(step.hex);
  sShownMessage shown{"gsm_a_dtap", step.shows, step.uplink, message};
  switch (step.kind) {
    case eGsmStep::Mac:
      told.logCode = kGprsMacLog;
      told.payload = GprsMacPayload(step.uplink, ByteView(message).subspan(1));
      shown.dissector = step.uplink ? "gsm_rlcmac_ul" : "gsm_rlcmac_dl";
      break;
    case eGsmStep::Nas:
      told.logCode = kGprsNasLog;
      told.payload = GprsNasPayload(step.uplink, message);
      break;
    default:
      told.logCode = second ? kSecondGsmRrLog : kGsmRrLog;
      told.payload = GsmRrPayload(step.channel, step.uplink, message);
      if (second) {
        told.payload = OfSecondSubscription(told.payload);
      }
      if (step.channel == kGsmBcch || step.channel == kGsmCcch) {
        shown.dissector = "gsm_a_ccch";
      }
      break;
  }
  told.message = shown;
  return told;
}

}  // namespace

Story GsmStory(unsigned cycle) {
  Story story;
  for (const sGsmStep& step : kSteps) {
    story.push_back(Told(step, false));
    // Every other time the phone has a second subscription, which only listens.
    if (cycle % 2 == 1 && step.kind == eGsmStep::Rr && step.channel == kGsmBcch) {
      story.push_back(Told(step, true));
    }
  }
  return story;
}

}  // namespace corvane::modem_sim
