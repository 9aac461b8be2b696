// Adds arbitrary packets of either origin and of any type to a capture file in memory, and reads
// back what was written. docs/fuzzing.md describes the input.
//
//   scripts/fuzz.sh store 1
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <ios>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "analysis/verification.h"
#include "capture/isf/store.h"
#include "fuzz/checks.h"
#include "fuzz/diag_model.h"
#include "ota/dispatcher.h"
#include "platform/error_codes.h"
#include "reader/capture_file.h"

namespace corvane {
namespace {

using Bytes = ModelBytes;
using View = ModelView;

constexpr std::uint64_t kUnitsPerMillisecond = 10'000;
// 2020-01-01, in milliseconds since 1601.
constexpr std::uint64_t kStart = 13'222'310'400'000;

// --- The model: what a store has to write.

struct sModelItem {
  std::uint32_t type = 0;
  std::uint32_t extra = kModelUnknown;
  std::uint64_t time = 0;  // milliseconds since 1601
  Bytes packet;
};

class cModelStore {
 public:
  // Returns what AddItem has to return.
  std::uint32_t Add(View packet, std::uint32_t origin, std::uint32_t type, std::uint64_t fileTime) {
    if (packet.empty() || packet.size() > 16640) {
      return 160;
    }
    return type == kAutomaticType ? AddAutomatic(packet, origin, fileTime)
                                  : AddAs(packet, origin, {type}, fileTime);
  }

  [[nodiscard]] const std::vector<sModelItem>& Items() const { return items; }

 private:
  std::uint32_t AddAutomatic(View packet, std::uint32_t origin, std::uint64_t fileTime) {
    if (packet[0] > 0x92) {
      return 160;
    }
    if (origin == kOriginLibrary || !ModelIsReport(packet)) {
      return AddAs(packet, origin, ModelKind(packet, origin, learned), fileTime);
    }
    const sModelEvents split = IsKnown(origin) ? ModelSplitReport(packet) : sModelEvents{};
    for (const Bytes& event : split.isWhole ? split.events : std::vector<Bytes>()) {
      AddAs(event, kOriginDevice, {4}, fileTime);
    }
    return 0;
  }

  std::uint32_t AddAs(View packet, std::uint32_t origin, const sModelKind& kind,
                      std::uint64_t fileTime) {
    if (origin == kOriginLibrary) {
      learned.Learn(packet);
    }
    items.push_back({kind.type % 32,
                     kind.extra,
                     fileTime / kUnitsPerMillisecond,
                     {packet.begin(), packet.end()}});
    if (kind.type == 8) {
      AddRebuilt(packet, origin, fileTime);
    }
    if (kind.type == 9) {
      const View inside = ModelPacketInside(packet, origin);
      if (!inside.empty()) {
        AddAutomatic(inside, kOriginDevice, fileTime);
      }
    }
    return 0;
  }

  // What the reassembly rebuilds has a target of its own; that the store records it is held up
  // here.
  void AddRebuilt(View packet, std::uint32_t origin, std::uint64_t fileTime) {
    const auto time = DiagTimestampFromFileTime(fileTime);
    if (!time) {
      return;
    }
    const OwnedBuffer item = MakeBuffer(packet, origin);
    for (const OwnedBuffer& rebuilt : DecodeOtaPacket(blocks, *item, *time)) {
      AddAutomatic(rebuilt->Bytes(), kOriginDevice, fileTime);
    }
  }

  [[nodiscard]] static bool IsKnown(std::uint32_t origin) {
    return origin == kOriginDevice || origin == kOriginLibrary;
  }

  std::vector<sModelItem> items;
  sModelLearned learned;
  SibAssemblyMap blocks;
};

// --- The input

struct sStep {
  std::uint32_t origin = kOriginDevice;
  std::uint32_t type = kAutomaticType;
  std::uint64_t timeStep = 0;  // milliseconds, modulo 2^64
  Bytes packet;
};

[[nodiscard]] View Take(View& input, std::size_t count) {
  const View taken = input.first(std::min(count, input.size()));
  input = input.subspan(taken.size());
  return taken;
}

// One byte of flags, the type and the length, then the packet. docs/fuzzing.md lists the flags.
[[nodiscard]] std::optional<sStep> NextStep(View& input) {
  const View head = Take(input, 3);
  if (head.size() < 3) {
    return std::nullopt;
  }
  constexpr std::uint32_t kOrigins[] = {kOriginDevice, kOriginLibrary, kOriginDevice, 5};
  constexpr std::uint64_t kTimeSteps[] = {0, 200, 60'000, ~std::uint64_t{0}};
  sStep step{.origin = kOrigins[head[0] & 3],
             .type = kAutomaticType,
             .timeStep = kTimeSteps[(head[0] >> 2) & 3],
             .packet = {}};
  if ((head[0] & 0x10) != 0) {
    // Types of more than five bits too.
    step.type = head[1] + ((head[0] & 0x20) != 0 ? 0x10000u : 0u);
  }
  const View packet = Take(input, head[2]);
  step.packet.assign(packet.begin(), packet.end());
  // Lengths around the longest, and none.
  if ((head[0] & 0xC0) == 0xC0) {
    step.packet.resize(16512 + head[1]);
  }
  return step;
}

// --- The capture

class cCapture {
 public:
  cCapture() : store({.now = [this] { return fileTime; }, .keepsBrokenEvents = false}) {
    // The store wants a file that is open; what it writes goes into the memory.
    auto file = std::make_unique<std::ofstream>("/dev/null", std::ios::binary);
    static_cast<std::ios&>(*file).rdbuf(&memory);
    store.Attach(std::move(file));
  }

  void Add(const sStep& step) {
    fileTime += step.timeStep * kUnitsPerMillisecond;
    const cBufferReference packet(new sSharedBuffer(
        step.packet.data(), static_cast<std::int32_t>(step.packet.size()), step.origin));
    const std::lock_guard guard(store.storeLock);
    const std::uint32_t result = store.AddItem(packet.Get(), step.type);
    Require(result == model.Add(step.packet, step.origin, step.type, fileTime),
            "an item is taken or refused as expected");
    Require(packet->refCount == 1, "a packet is given back");
    hasOnlyOwnTypes = hasOnlyOwnTypes && step.type == kAutomaticType;
  }

  // The file as it is now.
  [[nodiscard]] Bytes File() const {
    const std::string file = memory.str();
    return {file.begin(), file.end()};
  }

  void Close() { store.Close(); }
  [[nodiscard]] const std::vector<sModelItem>& Expected() const { return model.Items(); }
  // Whether the store has chosen the types of all items.
  [[nodiscard]] bool HasOnlyOwnTypes() const { return hasOnlyOwnTypes; }

 private:
  std::uint64_t fileTime = kStart * kUnitsPerMillisecond;
  std::stringbuf memory{std::ios::in | std::ios::out | std::ios::binary};
  cISFStore store;
  cModelStore model;
  bool hasOnlyOwnTypes = true;
};

// --- The checks

// The recorder has these types. Others are the one fault that a caller of AddItem can bring about.
[[nodiscard]] bool IsForeign(const sModelItem& item) { return item.type == 3 || item.type > 10; }

void CheckItems(View bytes, const cCapture& capture, eCaptureState state) {
  const std::vector<sModelItem>& expected = capture.Expected();
  sCaptureError error;
  const auto file = cCaptureFile::Open(std::make_unique<cBytesSource>(bytes), error);
  Require(file != nullptr && file->State() == state, "the capture is in order");
  Require(file->ItemCount() == expected.size(), "the capture has the expected items");
  sCaptureItem item;
  for (std::size_t number = 0; number < expected.size(); ++number) {
    const sModelItem& wanted = expected[number];
    Require(!file->ReadItem(number, item), "every item can be read");
    Require(item.type == wanted.type, "an item has the expected type");
    Require(item.extra.value_or(kModelUnknown) == wanted.extra, "an extra field is as expected");
    Require(item.time == wanted.time, "an item has the time of its recording");
    Require(item.bytes == wanted.packet, "an item is the packet, byte for byte");
  }
}

void CheckRules(View bytes, const cCapture& capture) {
  const auto expected = std::ranges::count_if(capture.Expected(), IsForeign);
  std::int64_t found = 0;
  sVerifyRequest request;
  request.contents = capture.HasOnlyOwnTypes();
  request.onViolation = [&](const sViolation& violation) {
    Require(violation.rule == eRule::ItemType, violation.problem.c_str());
    ++found;
    return true;
  };
  const sVerified verified = VerifyCapture(std::make_unique<cBytesSource>(bytes), request);
  Require(verified.closed && found == expected, "the capture keeps every rule of its format");
}

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvane;
  std::span<const std::uint8_t> input(data, size);
  cCapture capture;
  while (const auto step = NextStep(input)) {
    capture.Add(*step);
  }
  // Somebody else may read the file while it grows.
  CheckItems(capture.File(), capture, eCaptureState::Unclosed);
  capture.Close();
  const std::vector<std::uint8_t> file = capture.File();
  const bool isForeign = std::ranges::any_of(capture.Expected(), IsForeign);
  CheckItems(file, capture, isForeign ? eCaptureState::Damaged : eCaptureState::Complete);
  CheckRules(file, capture);
  return 0;
}
