// Describes arbitrary items, and words what comes of it. docs/fuzzing.md has the input.
//
//   cmake --preset fuzz && cmake --build --preset fuzz --target describe_fuzzer
//   mkdir -p build/fuzz/found/describe
//   build/fuzz/bin/describe_fuzzer -max_total_time=10 build/fuzz/found/describe
//   fuzz/corpus/describe
//
// The committed corpus is what make_describe_corpus.py writes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "capture/isf/layout.h"
#include "convert/item_description.h"
#include "convert/rebuilt_blocks.h"
#include "corvane/reading/item_wording.h"
#include "describe/description.h"
#include "describe/message_names.h"
#include "diag/packets.h"

namespace corvane {
namespace {

using Packet = std::span<const std::uint8_t>;

void Require(bool isTrue, const char* what) {
  if (isTrue) {
    return;
  }
  std::fprintf(stderr, "Not true: %s\n", what);
  std::abort();
}

[[nodiscard]] bool IsPrintable(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char character) { return character >= 0x20 && character < 0x7F; });
}

// Takes a character of UTF-8 off the front of `text`. False for what is none, in its shortest form,
// and for a control character.
[[nodiscard]] bool TakePrintable(std::string_view& text) {
  const auto byte = [&text](std::size_t place) {
    return place < text.size() ? static_cast<std::uint8_t>(text[place]) : std::uint8_t{0};
  };
  const std::uint8_t lead = byte(0);
  std::size_t size = 1;
  std::uint32_t code = lead;
  if (lead >= 0x80) {
    size = lead >= 0xF0 ? 4 : (lead >= 0xE0 ? 3 : 2);
    code = lead & (0xFFu >> (size + 1));
    for (std::size_t place = 1; place < size; ++place) {
      if ((byte(place) & 0xC0) != 0x80) {
        return false;
      }
      code = code << 6 | (byte(place) & 0x3Fu);
    }
    const std::uint32_t smallest[] = {0, 0, 0xA0, 0x800, 0x10000};
    if (lead < 0xC0 || code < smallest[size] || code > 0x10FFFF) {
      return false;
    }
  }
  text.remove_prefix(size);
  return code >= 0x20 && code != 0x7F;
}

[[nodiscard]] bool IsReadable(std::string_view text) {
  while (!text.empty()) {
    if (!TakePrintable(text)) {
      return false;
    }
  }
  return true;
}

void CheckMessage(const sDebugMessage& message, std::size_t size) {
  Require(message.arguments.size() <= 255 && message.arguments.size() <= size,
          "a message has the arguments of its packet");
  Require(message.format.size() + message.file.size() <= size,
          "a message's texts are its packet's");
  Require(message.text.size() <= message.format.size() + 100 * message.arguments.size(),
          "an argument takes at most 100 characters");
  Require(IsPrintable(message.subsystem), "a subsystem's name can be printed");
}

void CheckEvents(const std::vector<sEvent>& events, std::size_t size) {
  std::size_t bytes = 0;
  for (const sEvent& event : events) {
    // An event has at least a word and a short time.
    bytes += 4 + event.payload.size();
    Require(event.id < 0x1000 && event.payload.size() <= 255, "an event is one");
    Require(IsPrintable(event.name) && IsPrintable(event.value), "an event's words can be printed");
  }
  Require(bytes <= size, "events are no larger than their packet");
}

void CheckSignalling(const sSignalling& signalling, std::size_t size) {
  // Some messages get the octet that their log leaves out.
  Require(!signalling.message.empty() && signalling.message.size() <= size + 1,
          "a message is no larger than its packet");
  Require(IsPrintable(signalling.channel) && IsPrintable(signalling.messageName),
          "a message's names can be printed");
  Require(signalling.segmentNumber <= 7 || signalling.syntax == eSyntax::Ip,
          "a segment has a number of three bits");
  Require((signalling.segment == eSegment::Whole) == (signalling.segmentNumber == 0) ||
              signalling.syntax == eSyntax::Ip,
          "a whole message is no segment");
}

// Everything that a description of a packet of `size` bytes promises.
void CheckDescription(const sDescription& told, std::size_t size) {
  Require(told.details.size() <= 200 && IsPrintable(told.details), "details are a few words");
  Require(IsPrintable(told.logName) && IsPrintable(told.logKey), "a log's names can be printed");
  Require(told.text.size() <= 2 * size, "a text is no longer than its item");
  Require((told.sort == eItemSort::Log) || !told.logCode, "only a log has a log code");
  Require((told.sort == eItemSort::Message) == told.message.has_value(), "a message is told");
  Require(told.sort == eItemSort::Event || told.events.empty(), "only events are told as such");
  Require(!told.signalling || !told.leftOut, "a message that is left out is not there");
  if (told.message) {
    CheckMessage(*told.message, size);
  }
  if (told.signalling) {
    CheckSignalling(*told.signalling, size);
  }
  CheckEvents(told.events, size);
  if (told.command) {
    Require(told.command->details.size() <= 200 && IsPrintable(told.command->details),
            "a request's details are a few words");
  }
  if (told.cell && told.cell->plmn) {
    const sPlmn& plmn = *told.cell->plmn;
    Require(plmn.mcc < 1000 && plmn.mnc < (plmn.mncDigits == 2 ? 100 : 1000), "a PLMN is one");
  }
}

[[nodiscard]] std::string WordsOf(const sCaptureItem& item, const sDescription& told) {
  std::string words;
  tools::AppendWords(words, item, told, IsRebuilt(item, told, {}));
  // An argument of a hashed message has few characters; one in a text 100, each at most 4 long.
  Require(words.size() <= 1000 + 104 * item.bytes.size(), "words are few");
  Require(!words.empty(), "an item has words");
  const bool hasForeignText = told.sort == eItemSort::Text || told.sort == eItemSort::Message;
  Require(hasForeignText ? IsReadable(words) : IsPrintable(words), "words can be printed");
  return words;
}

// Describes a copy of the packet that is gone when the description is looked at.
template <typename Describe>
[[nodiscard]] sDescription DescribeCopy(Packet packet, Describe describe) {
  // Of exactly this size, so that a read behind its end is seen.
  const std::vector<std::uint8_t> copy(packet.begin(), packet.end());
  return describe(Packet(copy));
}

void CheckUnwrapping(const sCaptureItem& item, const sDescription& told) {
  const Packet packet = item.bytes;
  const sUnwrapped inner = Unwrap(packet);
  Require(inner.packet.data() + inner.packet.size() == packet.data() + packet.size(),
          "what is within a wrapper ends with it");
  Require(inner.subscription.has_value() == (inner.packet.size() != packet.size()),
          "a packet in a wrapper has a subscription");
  Require(!inner.subscription || (packet[0] == 0x98 && *inner.subscription != 0),
          "a subscription is told by a wrapper");
  Require(!Unwrap(inner.packet).subscription, "nothing is left to take off");
  if (told.subscription) {
    sDescription within = DescribeCopy(
        inner.packet, [](Packet bytes) { return DescribePacket(bytes, eSender::Modem); });
    Require(!within.subscription && told.subscription == inner.subscription,
            "the subscription is the wrapper's");
    within.subscription = told.subscription;
    Require(WordsOf(item, within) == WordsOf(item, told), "a wrapper changes nothing");
  }
}

void CheckPacket(Packet packet) {
  sCaptureItem item;
  item.type = isf::kPacketItem;
  item.bytes.assign(packet.begin(), packet.end());
  const auto fromModem = [](Packet bytes) { return DescribePacket(bytes, eSender::Modem); };
  const sDescription told = DescribeCopy(packet, fromModem);
  CheckDescription(told, packet.size());
  CheckUnwrapping(item, told);
  Require(WordsOf(item, told) == WordsOf(item, DescribeCopy(packet, fromModem)),
          "a packet is described alike each time");

  const sDescription request =
      DescribeCopy(packet, [](Packet bytes) { return DescribePacket(bytes, eSender::Host); });
  CheckDescription(request, packet.size());
  Require(request.sort == eItemSort::Request, "the host sends requests");
  std::ignore = WordsOf(item, request);

  const sDescription event =
      DescribeCopy(packet, [](Packet bytes) { return DescribeSingleEvent(bytes); });
  CheckDescription(event, packet.size());
  std::ignore = WordsOf(item, event);
}

void CheckItem(std::uint32_t type, Packet packet) {
  sCaptureItem item;
  item.type = type;
  item.bytes.assign(packet.begin(), packet.end());
  item.bytes.shrink_to_fit();
  sDescription told = DescribeItem(item);
  CheckDescription(told, packet.size());
  const std::string words = WordsOf(item, told);
  // An extra field adds words, and takes none away.
  item.extra = 7;
  Require(WordsOf(item, told).size() >= words.size(), "an extra field is told too");
}

void CheckNames(Packet message) {
  const std::vector<std::uint8_t> copy(message.begin(), message.end());
  for (auto syntax = static_cast<unsigned>(eSyntax::GsmLayer3);
       syntax <= static_cast<unsigned>(eSyntax::Sip); ++syntax) {
    const std::string_view name = MessageName(static_cast<eSyntax>(syntax), copy);
    Require(name.size() <= 100 && IsPrintable(name), "a message's name can be printed");
  }
}

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvane;
  // A packet that a capture can hold.
  if (size < 2 || size > 1 + isf::kLongestPacket) {
    return 0;
  }
  const Packet packet(data + 1, size - 1);
  CheckItem(data[0] % isf::kItemTypes, packet);
  CheckPacket(packet);
  CheckNames(packet);
  return 0;
}
