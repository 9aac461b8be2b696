#include "fuzz/import_model.h"

#include <algorithm>
#include <optional>
#include <string>

namespace corvane {
namespace {

using Bytes = ModelBytes;
using View = ModelView;

constexpr std::size_t kLongestItem = 16640;
constexpr std::uint32_t kFromDevice = 3;
constexpr std::size_t kLongestFrame = 131072 + 2;  // packet and CRC

// The packet of what stands between two flags.
[[nodiscard]] std::optional<Bytes> Unframe(View frame) {
  Bytes bytes;
  for (std::size_t at = 0; at < frame.size(); ++at) {
    if (frame[at] != 0x7D) {
      bytes.push_back(frame[at]);
    } else if (++at == frame.size()) {
      return std::nullopt;
    } else {
      bytes.push_back(frame[at] ^ 0x20);
    }
  }
  if (bytes.size() < 3 || bytes.size() > kLongestFrame) {
    return std::nullopt;
  }
  return ModelChecked(bytes);
}

// Adds what is recorded of a packet. Returns whether there is anything.
bool AddItems(View packet, std::vector<Bytes>& items, std::size_t& left) {
  const std::size_t before = items.size();
  while (packet[0] <= 0x92 && packet.size() <= kLongestItem) {
    if (ModelIsReport(packet)) {
      const sModelEvents split = ModelSplitReport(packet);
      left += split.isWhole ? 0u : 1u;
      if (split.isWhole) {
        items.insert(items.end(), split.events.begin(), split.events.end());
      }
      return items.size() != before;
    }
    items.emplace_back(packet.begin(), packet.end());
    packet = ModelPacketInside(packet, kFromDevice);
    if (packet.empty()) {
      return true;
    }
  }
  ++left;
  return items.size() != before;
}

[[nodiscard]] Bytes TextOf(const std::string& text) { return {text.begin(), text.end()}; }

// Takes packets out of their wrappers and tells whose they are.
class cModelledCapture {
 public:
  cModelledCapture(sImportModel& whole, bool drops) : model(whole), dropsWrapped(drops) {
    model.items.push_back(TextOf("Imported from fuzz"));
  }

  void Add(View packet) {
    ++model.packets;
    if (packet[0] == 0x98 && dropsWrapped) {
      return;
    }
    std::optional<std::uint32_t> number;
    packet = ModelUnwrap(packet, number);
    const std::string subscription =
        "Subscription " + (number ? std::to_string(*number) : std::string("none"));
    std::vector<Bytes> items;
    if (!AddItems(packet, items, model.left)) {
      return;
    }
    if (subscription != told) {
      told = subscription;
      model.items.push_back(TextOf(subscription));
    }
    model.items.insert(model.items.end(), items.begin(), items.end());
  }

 private:
  sImportModel& model;
  bool dropsWrapped;
  std::string told = "Subscription none";
};

}  // namespace

sImportModel ModelImport(View stream, bool dropsWrapped) {
  sImportModel model;
  cModelledCapture capture(model, dropsWrapped);
  while (!stream.empty()) {
    const auto flag = std::find(stream.begin(), stream.end(), 0x7E);
    const auto length = static_cast<std::size_t>(flag - stream.begin());
    if (flag == stream.end()) {
      ++model.badFrames;
      break;
    }
    if (length != 0) {
      const auto packet = Unframe(stream.first(length));
      model.badFrames += packet ? 0u : 1u;
      if (packet) {
        capture.Add(*packet);
      }
    }
    stream = stream.subspan(length + 1);
  }
  return model;
}

}  // namespace corvane
