#include <string>

#include "modem_sim/signalling/log_payloads.h"
#include "modem_sim/signalling/story.h"

namespace corvane::modem_sim {
namespace {

struct sIpPacket {
  bool sent = false;
  std::string_view shows = {};
  std::string_view hex = {};
};

// A name is looked up, and an address tried.
constexpr sIpPacket kIpPackets[] = {
    {true, "Standard query 0x2c51 A www.example.org",
     "4500003d12014000401113b00a0000020a0000fec00000350029b0b32c5101000001000000000000"
     "03777777076578616d706c65036f72670000010001"},
    {false, "Standard query response 0x2c51 A www.example.org A 192.0.2.33",
     "4500004d7d2040004011a8800a0000fe0a0000020035c0000039eb812c5181800001000100000000"
     "03777777076578616d706c65036f72670000010001c00c0001000100000e100004c0000221"},
    {true, "Echo (ping) request id=0x5a5a, seq=1, hop limit=64",
     "6000000000183a4020010db800010000000000000000000220010db8000000000000000000000001"
     "800086905a5a00016162636465666768696a6b6c6d6e6f70"},
};

struct sSipMessage {
  bool uplink = false;
  std::string_view shows = {};
  std::string_view start = {};
  std::string_view toTag = {};
};

// The phone registers with IMS.
constexpr std::string_view kCallId = "9f1c2e7a@10.0.0.2";
constexpr sSipMessage kSipMessages[] = {
    {true, "Request: REGISTER sip:ims.example.org  (1 binding) |",
     "REGISTER sip:ims.example.org SIP/2.0", ""},
    {false, "Status: 200 OK (REGISTER)  (1 binding) |", "SIP/2.0 200 OK", ";tag=a81c55"},
};

std::string SipText(const sSipMessage& message) {
  std::string text(message.start);
  text +=
      "\r\nVia: SIP/2.0/UDP 10.0.0.2:5060;branch=z9hG4bK7d1a90c2"
      "\r\nMax-Forwards: 70"
      "\r\nFrom: <sip:001010123456789@ims.example.org>;tag=3f6b21"
      "\r\nTo: <sip:001010123456789@ims.example.org>";
  text += message.toTag;
  text += "\r\nCall-ID: ";
  text += kCallId;
  text +=
      "\r\nCSeq: 1 REGISTER"
      "\r\nContact: <sip:10.0.0.2:5060>;expires=600000"
      "\r\nContent-Length: 0\r\n\r\n";
  return text;
}

// Packets longer than this are logged in two segments.
constexpr std::size_t kLongestSegment = 64;
// Numbers of packets in segments, which nothing else has.
constexpr unsigned kFirstParts = 300;

sStoryStep IpStep(const sIpPacket& packet, std::uint16_t number, std::uint16_t segment, bool last,
                  ByteView data) {
  sStoryStep told;
  told.logCode = kIpLog;
  told.payload = IpPayload(packet.sent, number, segment, last, data);
  return told;
}

void TellIpPacket(Story& story, const sIpPacket& packet, std::uint16_t number) {
  const sShownMessage shown{"ip", packet.shows, packet.sent, Octets(packet.hex)};
  const ByteView data = shown.message;
  if (data.size() <= kLongestSegment) {
    story.push_back(IpStep(packet, number, 0, true, data));
    story.back().message = shown;
    return;
  }
  story.push_back(IpStep(packet, number, 0, false, data.first(kLongestSegment)));
  story.back().parts = kFirstParts + number;
  story.push_back(IpStep(packet, number, 1, true, data.subspan(kLongestSegment)));
  story.back().parts = kFirstParts + number;
  story.back().completes = shown;
}

}  // namespace

Story InternetStory() {
  Story story;
  for (const sSipMessage& message : kSipMessages) {
    const std::string text = SipText(message);
    sStoryStep& told = story.emplace_back();
    told.logCode = kSipLog;
    told.payload = SipPayload(message.uplink, kCallId, text);
    told.message = sShownMessage{"sip", message.shows, message.uplink, {}};
    AppendText(told.message->message, text);
  }
  std::uint16_t number = 0;
  for (const sIpPacket& packet : kIpPackets) {
    TellIpPacket(story, packet, ++number);
  }
  return story;
}

}  // namespace corvane::modem_sim
