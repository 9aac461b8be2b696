// Recovers captures that are damaged in any way, and reads back what is written of them. An input
// is a script (file_script.h).
//
//   cmake --preset fuzz && cmake --build --preset fuzz --target recover_fuzzer
//   mkdir -p build/fuzz/found/recover
//   build/fuzz/bin/recover_fuzzer -max_total_time=10 build/fuzz/found/recover fuzz/corpus/recover
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "analysis/verification.h"
#include "fuzz/checks.h"
#include "fuzz/file_script.h"
#include "reader/capture_file.h"
#include "rewrite/capture_writer.h"
#include "rewrite/record_proof.h"
#include "rewrite/recovery.h"

namespace corvane {
namespace {

using Bytes = std::span<const std::uint8_t>;

// Recovers what is in `file`, and returns the capture that is made of it.
[[nodiscard]] std::string Recover(Bytes file, sRecoveryReport& report) {
  std::stringstream stream;
  cCaptureWriter writer(stream);
  cBytesSource source(file);
  std::uint64_t end = 0;
  report = RecoverCapture(source, [&](const sRecoveredItem& item) {
    // Each lies in the file as it is, behind the one before.
    Require(item.offset >= end && item.offset + item.packet.size() < file.size(),
            "an item lies in the file, behind the one before");
    end = item.offset + 1 + item.packet.size();
    const Bytes record = file.subspan(static_cast<std::size_t>(item.offset));
    Require(std::search(record.begin(), record.end(), item.packet.begin(), item.packet.end()) !=
                record.end(),
            "a packet stands in the file as it is");
    return writer.Add(item.head, item.packet);
  });
  Require(writer.Finish() && report.items == writer.Items(), "all items are written");
  Require(report.items != 0 || report.proven == 0, "only what is there is proven");
  return stream.str();
}

// What is recovered keeps every rule of the format, also that a packet is of its item's sort, but
// for items that were told of. What else is in a packet, and the value of an extra field, stays as
// it was found. Of a complete capture the items are what they are, and all that break such a rule
// are told of.
void CheckRules(Bytes made, const sRecoveryReport& report) {
  sCaptureError error;
  const auto file = cCaptureFile::Open(std::make_unique<cBytesSource>(made), error);
  const bool wasComplete = report.state == eCaptureState::Complete;
  std::uint64_t found = 0;
  sVerifyRequest request;
  request.contents = true;
  request.onViolation = [&](const sViolation& violation) {
    if (violation.rule == eRule::ExtraField) {
      return true;
    }
    Require(violation.rule == eRule::Contents, violation.problem.c_str());
    sCaptureItem item;
    Require(!file->ReadItem(violation.item.value(), item), "an item is read");
    found += !wasComplete && IsTypeFor(item.type, item.bytes) ? 0U : 1U;
    return true;
  };
  const sVerified verified = VerifyCapture(std::make_unique<cBytesSource>(made), request);
  Require(verified.closed && found <= report.unfit.count, "a recovered capture keeps the rules");
}

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvane;
  cFileScript script(std::span(data, size));
  while (script.Advance()) {
    continue;
  }
  sRecoveryReport report;
  const std::string text = Recover(script.File(), report);
  const std::vector<std::uint8_t> made(text.begin(), text.end());
  sCaptureError error;
  const auto file = cCaptureFile::Open(std::make_unique<cBytesSource>(made), error);
  Require(file != nullptr && file->IsComplete() && file->ItemCount() == report.items,
          "a recovered capture is complete");
  CheckRules(made, report);
  sRecoveryReport again;
  Require(Recover(made, again) == text && again.items == report.items,
          "of a complete capture the same is made");
  return 0;
}
