#include <algorithm>
#include <utility>

#include "modem_sim/diag_packets.h"
#include "modem_sim/scenario.h"

namespace corvane::modem_sim {
namespace {

enum eKind { kStory, kEvents, kMessages };

bool Contains(const std::vector<std::uint16_t>& values, std::uint16_t value) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

// The log codes or the events of a story, each of them once.
std::vector<std::uint16_t> LogCodesOf(const Story& story) {
  std::vector<std::uint16_t> codes;
  for (const sStoryStep& step : story) {
    if (step.logCode != 0 && !Contains(codes, step.logCode)) {
      codes.push_back(step.logCode);
    }
  }
  return codes;
}

std::vector<std::uint16_t> EventsOf(const Story& story) {
  std::vector<std::uint16_t> ids;
  for (const sStoryStep& step : story) {
    if (step.logCode == 0 && !Contains(ids, step.event.id)) {
      ids.push_back(step.event.id);
    }
  }
  return ids;
}

}  // namespace

cSignallingScenario::cSignallingScenario(const sStreamOptions& streamOptions)
    : options(streamOptions), others(streamOptions) {
  // Some log codes come in every other cycle only.
  Story twice = TellStory(0);
  for (sStoryStep& step : TellStory(1)) {
    twice.push_back(std::move(step));
  }
  toldLogs = LogCodesOf(twice);
  toldEvents = EventsOf(twice);
  BeginCycle(0);
}

void cSignallingScenario::BeginCycle(unsigned next) {
  cycle = next;
  story = TellStory(cycle);
  place = 0;
  lostParts = 0;
}

void cSignallingScenario::HostGone() { BeginCycle(0); }

bool cSignallingScenario::IsLogAllowed(std::uint16_t code, const cMasks& masks) const {
  return options.logWeight > 0 && Contains(masks.LogCodes(), code) &&
         (options.logCodes.empty() || Contains(options.logCodes, code));
}

bool cSignallingScenario::IsEventAllowed(std::uint16_t id, const cMasks& masks) const {
  return options.eventWeight > 0 && Contains(masks.EventIds(), id);
}

bool cSignallingScenario::CanTell(const cMasks& masks) const {
  const auto isOn = [this, &masks](std::uint16_t code) { return IsLogAllowed(code, masks); };
  return std::any_of(toldLogs.begin(), toldLogs.end(), isOn) ||
         std::any_of(toldEvents.begin(), toldEvents.end(),
                     [this, &masks](std::uint16_t id) { return IsEventAllowed(id, masks); });
}

std::vector<std::uint16_t> cSignallingScenario::OtherEvents(const cMasks& masks) const {
  std::vector<std::uint16_t> ids = masks.EventIds();
  std::erase_if(ids, [this](std::uint16_t id) { return Contains(toldEvents, id); });
  return ids;
}

bool cSignallingScenario::CanSend(const cMasks& masks) const {
  return CanTell(masks) || (options.eventWeight > 0 && !OtherEvents(masks).empty()) ||
         (options.messageWeight > 0 && !masks.MessageSources().empty());
}

const sStoryStep& cSignallingScenario::NextStep(const cMasks& masks) {
  while (true) {
    if (place == story.size()) {
      BeginCycle((cycle + 1) % kStoryCycles);
    }
    const sStoryStep& step = story[place++];
    if (step.logCode != 0 ? IsLogAllowed(step.logCode, masks)
                          : IsEventAllowed(step.event.id, masks)) {
      return step;
    }
  }
}

sStreamPacket cSignallingScenario::Make(std::uint64_t number, bool delivered, const cMasks& masks) {
  cRandom random(options.seed, eDraw::Content, number);
  const std::vector<std::uint16_t> events = OtherEvents(masks);
  const unsigned storyWeight = options.logWeight > 0 ? options.logWeight : options.eventWeight;
  const std::vector<unsigned> weights = {
      CanTell(masks) ? storyWeight : 0,
      events.empty() ? 0 : options.eventWeight,
      masks.MessageSources().empty() ? 0 : options.messageWeight,
  };
  switch (random.Weighted(weights)) {
    case kEvents:
      return others.MakeEvents(number, random, events);
    case kMessages:
      return others.MakeMessage(number, random, masks.MessageSources());
    default:
      return Tell(NextStep(masks), PacketTime(options, number, random), delivered);
  }
}

sStreamPacket cSignallingScenario::Tell(const sStoryStep& step, std::uint64_t time,
                                        bool delivered) {
  sStreamPacket made;
  if (step.logCode == 0) {
    sEvent event = step.event;
    event.time = time;
    made.kind = "event";
    made.packet = EventReport({event});
    made.events = {SingleEvent(event)};
    return made;
  }
  made.kind = "log";
  made.packet = LogPacket(step.logCode, time, step.payload);
  if (!delivered) {
    lostParts = step.parts == 0 ? lostParts : step.parts;
    return made;
  }
  made.message = step.message;
  made.blocks = step.blocks;
  if (step.parts == 0 || step.parts != lostParts) {
    made.completes = step.completes;
  }
  return made;
}

}  // namespace corvane::modem_sim
