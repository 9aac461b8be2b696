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

#include "fuzz/file_script.h"
#include "reader/capture_file.h"
#include "rewrite/capture_writer.h"
#include "rewrite/recovery.h"

namespace corvane {
namespace {

using Bytes = std::span<const std::uint8_t>;

void Require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

class cBytesSource final : public cByteSource {
 public:
  explicit cBytesSource(Bytes all) : file(all) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return file.size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    const Bytes rest =
        file.subspan(static_cast<std::size_t>(std::min<std::uint64_t>(offset, file.size())));
    const std::size_t count = std::min(bytes.size(), rest.size());
    std::copy_n(rest.begin(), count, bytes.begin());
    return count;
  }

 private:
  Bytes file;
};

// Recovers what is in `file`, and returns the capture that is made of it.
[[nodiscard]] std::string Recover(Bytes file, std::uint64_t& items) {
  std::stringstream stream;
  cCaptureWriter writer(stream);
  cBytesSource source(file);
  std::uint64_t end = 0;
  const sRecoveryReport report = RecoverCapture(source, [&](const sRecoveredItem& item) {
    // Each lies in the file as it is, behind the one before.
    Require(item.offset >= end && item.offset + item.packet.size() < file.size());
    end = item.offset + 1 + item.packet.size();
    const Bytes record = file.subspan(static_cast<std::size_t>(item.offset));
    Require(std::search(record.begin(), record.end(), item.packet.begin(), item.packet.end()) !=
            record.end());
    return writer.Add(item.head, item.packet);
  });
  Require(writer.Finish() && report.items == writer.Items());
  Require(report.items != 0 || report.proven == 0);
  items = report.items;
  return stream.str();
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
  std::uint64_t items = 0;
  const std::string text = Recover(script.File(), items);
  const std::vector<std::uint8_t> made(text.begin(), text.end());
  sCaptureError error;
  const auto file = cCaptureFile::Open(std::make_unique<cBytesSource>(made), error);
  Require(file != nullptr && file->IsComplete() && file->ItemCount() == items);
  // Of a complete file the same file is made.
  std::uint64_t again = 0;
  Require(Recover(made, again) == text && again == items);
  return 0;
}
