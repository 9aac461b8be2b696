// Splits arbitrary event reports into their events. docs/fuzzing.md describes the input.
//
//   scripts/fuzz.sh event_report 1
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "capture/isf/event_report.h"
#include "diag/protocol_buffer.h"
#include "fuzz/checks.h"
#include "fuzz/diag_model.h"

namespace corvane {
namespace {

using Bytes = ModelBytes;
using View = ModelView;

constexpr std::uint8_t kIsOneEvent = 0x04;

// --- The input

// Behind the first byte, which says what the rest is: the bytes of a report (with a good head), or
// the report itself.
[[nodiscard]] Bytes ReportOf(std::uint8_t kind, View input) {
  if ((kind & kIsOneEvent) != 0) {
    return {input.begin(), input.end()};
  }
  Bytes report = {static_cast<std::uint8_t>((kind & 1) != 0 ? 0x74 : 0x60),
                  static_cast<std::uint8_t>(input.size()),
                  static_cast<std::uint8_t>(input.size() >> 8)};
  report.insert(report.end(), input.begin(), input.end());
  return report;
}

// A report of one event is split into itself, but for the bits of its word that are not kept.
void CheckAgain(const sSharedBuffer& event) {
  const cBufferReference copy(MakeBuffer(event.Bytes(), event.origin));
  const sDiagBuffer view(copy.Get());
  std::vector<cBufferReference> again;
  Require(SplitEventReport(view, again) && again.size() == 1 &&
              std::ranges::equal(again[0]->Bytes(), event.Bytes()),
          "an event is a report of itself");
}

void Check(View report, std::uint32_t origin) {
  const bool isKnown = origin == kOriginDevice || origin == kOriginLibrary;
  const sModelEvents expected = isKnown ? ModelSplitReport(report) : sModelEvents{};
  const cBufferReference packet(MakeBuffer(report, origin));
  const sDiagBuffer view(packet.Get());
  std::vector<cBufferReference> events;
  Require(SplitEventReport(view, events) == expected.isWhole, "a report is whole or not");
  Require(events.size() == expected.events.size(), "a report has the expected events");
  for (std::size_t number = 0; number < events.size(); ++number) {
    const sSharedBuffer& event = *events[number];
    Require(std::ranges::equal(event.Bytes(), expected.events[number]),
            "an event is the expected one");
    Require(event.origin == kOriginDevice && event.refCount == 1, "an event is the list's alone");
    // The bytes are fewer than 269, of which a report needs at least 4.
    Require(event.size <= 13 + 256, "an event is short");
    CheckAgain(event);
  }
  Require(packet->refCount == 2, "a report is held by its view alone");
}

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvane;
  if (size < 2 || size > kMaxBufferSize - 2) {
    return 0;
  }
  // Bits 4 and 5 are the origin: one of a packet mostly.
  const std::uint32_t origins[] = {kOriginDevice, kOriginLibrary, kOriginDevice, 5};
  Check(ReportOf(data[0], {data + 1, size - 1}), origins[(data[0] >> 4) & 3]);
  return 0;
}
