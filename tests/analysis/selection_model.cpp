#include "analysis/selection_model.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

namespace corvane {

sFacts Text(const std::string& text) {
  sFacts facts;
  facts.built = {7, 0, TextItem(text), {}};
  facts.text = text;
  return facts;
}

sFacts Plain(unsigned type, const char* bytes, eDirection direction) {
  sFacts facts;
  facts.built = {type, 0, Hex(bytes), {}};
  facts.direction = direction;
  return facts;
}

namespace {

void AppendBytes(ByteVector& bytes, std::string_view text) {
  bytes.insert(bytes.end(), text.begin(), text.end());
  bytes.push_back(0);
}

[[nodiscard]] ByteVector LogPacket(std::uint32_t code, std::size_t size) {
  ByteVector packet = Hex("10 00");
  Append(packet, size - 4, 2);
  Append(packet, size - 4, 2);
  Append(packet, code, 2);
  packet.resize(size, 0x5A);
  return packet;
}

[[nodiscard]] sFacts Log(unsigned type, std::uint32_t code, std::size_t size = 20) {
  sFacts facts;
  facts.built = {type, 0, LogPacket(code, size), {}};
  facts.logCode = code;
  facts.direction = eDirection::FromModem;
  return facts;
}

[[nodiscard]] sFacts WrappedLog(std::uint32_t code) {
  sFacts facts = Log(1, code);
  ByteVector packet = Hex("98 01 00 00 02 00 00 00");
  packet.insert(packet.end(), facts.built.packet.begin(), facts.built.packet.end());
  facts.built.packet = packet;
  return facts;
}

[[nodiscard]] sFacts SecuredLog(std::uint32_t code) {
  sFacts facts = Log(1, code);
  facts.built.packet = ByteVector(30, 0x11);
  facts.built.packet[0] = 0x9E;
  Put(facts.built.packet, 22, code, 2);
  return facts;
}

// Single events, and a report that was not taken apart.
[[nodiscard]] sFacts Events(const std::vector<std::uint32_t>& ids) {
  sFacts facts;
  ByteVector packet = Hex("60");
  Append(packet, 10 * ids.size(), 2);
  for (const std::uint32_t id : ids) {
    Append(packet, id, 2);
    Append(packet, 0, 8);
  }
  facts.built = {ids.size() == 1 ? 4U : 1U, 0, packet, {}};
  facts.events = ids;
  facts.direction = eDirection::FromModem;
  return facts;
}

[[nodiscard]] sFacts Message(std::uint32_t ssid, std::uint32_t levels, const std::string& text) {
  sFacts facts;
  ByteVector packet = Hex("79 00 00 00");
  Append(packet, 0, 8);
  Append(packet, 17, 2);
  Append(packet, ssid, 2);
  Append(packet, levels, 4);
  AppendBytes(packet, text);
  AppendBytes(packet, "Port.c");
  facts.built = {6, 0, packet, {}};
  facts.ssid = ssid;
  facts.levels = levels;
  facts.text = text;
  facts.direction = eDirection::FromModem;
  return facts;
}

[[nodiscard]] std::uint32_t Below(Random& random, std::uint32_t end) {
  return static_cast<std::uint32_t>(random() % end);
}

template <typename Value>
[[nodiscard]] Value OneOf(Random& random, std::initializer_list<Value> values) {
  return values.begin()[Below(random, static_cast<std::uint32_t>(values.size()))];
}

[[nodiscard]] sFacts RandomItem(Random& random) {
  const auto code = OneOf<std::uint32_t>(random, {0xB0C0, 0xB0C1, 0x412F, 0x1FEB});
  const auto event = [&random] { return OneOf<std::uint32_t>(random, {0, 256, 1606, 4095}); };
  switch (Below(random, 14)) {
    case 0:
      return Log(8, code);
    case 1:
      return Log(0, code, 12);
    case 2:
      return Plain(0, "10 00 02 00 02 00", eDirection::FromModem);  // ends before its code
    case 3:
      return WrappedLog(code);
    case 4:
      return SecuredLog(code);
    case 5:
      return Events({event()});
    case 6:
      return Events({event(), event()});
    case 7:
      return Message(OneOf<std::uint32_t>(random, {0, 5, 9501, 65535}),
                     1U << OneOf<std::uint32_t>(random, {0, 2, 3, 31}),
                     OneOf<std::string>(random, {"state 4", "Port lost", "port lost"}));
    case 8:
      return Text(OneOf<std::string>(random, {"Port COM7 connected", "Port COM9 connected",
                                              "Subscription 2", "Subscription none", "a state"}));
    case 9:
      return Plain(2, "1D", eDirection::ToModem);
    case 10:
      return Plain(10, "4B 0F 00 00", eDirection::ToModem);
    case 11:
      return Plain(9, "4B 0F 00 00 01", eDirection::FromModem);
    case 12:
      return Plain(1, "60 00 00", eDirection::FromModem);  // the short answer is no event
    default:
      return Log(5, code);
  }
}

[[nodiscard]] bool IsInRange(const std::vector<sNumberRange>& ranges, std::uint32_t number) {
  bool isIn = false;
  for (const sNumberRange& range : ranges) {
    isIn = isIn || (number >= range.first && number <= range.last);
  }
  return isIn;
}

[[nodiscard]] bool IsOfKind(const sFacts& facts, const sSelection& selection) {
  if (selection.types.empty() && selection.logCodes.empty() && selection.events.empty() &&
      selection.ssids.empty()) {
    return true;
  }
  bool isEvent = false;
  for (const std::uint32_t event : facts.events) {
    isEvent = isEvent || IsInRange(selection.events, event);
  }
  return isEvent || (facts.logCode && IsInRange(selection.logCodes, *facts.logCode)) ||
         (facts.ssid && IsInRange(selection.ssids, *facts.ssid)) ||
         std::count(selection.types.begin(), selection.types.end(), facts.built.type) != 0;
}

[[nodiscard]] bool HasContent(const sFacts& facts, const sSelection& selection) {
  return IsOfKind(facts, selection) &&
         (selection.levels == 0 || (facts.levels & selection.levels) != 0) &&
         (!selection.direction || facts.direction == selection.direction) &&
         (selection.contains.empty() ||
          (facts.text && facts.text->find(selection.contains) != std::string::npos));
}

[[nodiscard]] std::uint64_t BoundIn(const sSelectionBound& bound, std::uint64_t otherwise) {
  if (bound.time) {
    return *bound.time;
  }
  if (bound.sinceStart) {
    return kNoon + *bound.sinceStart;
  }
  // kNoon is twelve hours behind midnight.
  return bound.timeOfDay ? kNoon - 43'200'000 + *bound.timeOfDay : otherwise;
}

[[nodiscard]] sSelectionBound RandomBound(Random& random, std::uint32_t items) {
  sSelectionBound bound;
  switch (Below(random, 8)) {
    case 0:
      bound.number = Below(random, items + 2);
      break;
    case 1:
      bound.time = kNoon + Below(random, items * 200);
      break;
    case 2:
      bound.sinceStart = Below(random, items * 200);
      break;
    case 3:
      bound.timeOfDay = 43'200'000 + Below(random, items * 200);
      break;
    default:
      break;
  }
  return bound;
}

}  // namespace

std::vector<sFacts> RandomCapture(Random& random, std::size_t count) {
  std::vector<sFacts> capture;
  std::uint64_t time = kNoon;
  for (std::size_t number = 0; number < count; ++number) {
    time = Below(random, 20) == 0 ? time - Below(random, 3000) : time + Below(random, 400);
    capture.push_back(RandomItem(random));
    capture.back().built.time = number == 0 ? kNoon : time;
  }
  return capture;
}

ByteVector BytesOf(const std::vector<sFacts>& capture) {
  cCaptureBuilder builder;
  for (const sFacts& facts : capture) {
    builder.Add(facts.built);
  }
  return builder.Closed();
}

sSelection RandomSelection(Random& random, std::uint32_t items) {
  sSelection selection;
  const auto sometimes = [&random] { return Below(random, 3) == 0; };
  while (sometimes()) {
    selection.types.push_back(Below(random, 12));
  }
  if (sometimes()) {
    selection.logCodes = {{0xB0C0, OneOf<std::uint32_t>(random, {0xB0C0, 0xB0FF})},
                          {0x412F, 0x412F}};
  }
  if (sometimes()) {
    selection.events = {{OneOf<std::uint32_t>(random, {0, 1606}), 1700}};
  }
  if (sometimes()) {
    selection.ssids = {{5, OneOf<std::uint32_t>(random, {5, 65535})}};
  }
  if (Below(random, 8) == 0) {
    selection.levels = OneOf<std::uint32_t>(random, {8, 5, 0x8000'0000});
  }
  if (Below(random, 6) == 0) {
    selection.direction = OneOf(random, {eDirection::FromModem, eDirection::ToModem});
  }
  if (Below(random, 8) == 0) {
    selection.contains = OneOf<std::string>(random, {"Port", "state", "nowhere"});
  }
  selection.invert = sometimes();
  selection.from = RandomBound(random, items);
  selection.to = RandomBound(random, items);
  return selection;
}

std::vector<std::uint64_t> Expected(const std::vector<sFacts>& capture,
                                    const sSelection& selection) {
  std::vector<std::uint64_t> numbers;
  std::uint64_t last = BoundIn(selection.to, UINT64_MAX);
  if (selection.from.timeOfDay &&
      selection.to.timeOfDay.value_or(UINT64_MAX) < *selection.from.timeOfDay) {
    last += 86'400'000;  // over midnight
  }
  for (std::uint64_t number = 0; number < capture.size(); ++number) {
    const sFacts& facts = capture[number];
    if (number >= selection.from.number.value_or(0) &&
        number <= selection.to.number.value_or(UINT64_MAX) &&
        facts.built.time >= BoundIn(selection.from, 0) && facts.built.time <= last &&
        HasContent(facts, selection) != selection.invert) {
      numbers.push_back(number);
    }
  }
  return numbers;
}

}  // namespace corvane
