#include "corvane/reading/open_capture.h"

#include <array>
#include <cstdio>
#include <mutex>
#include <span>
#include <utility>

#include "corvane/command/standard_streams.h"
#include "corvane/command/temporary_file.h"

namespace corvane::tools {
namespace {

// What standard input had, in a temporary file.
class cSpooledBytes final : public cByteSource {
 public:
  explicit cSpooledBytes(std::shared_ptr<cTemporaryFile> whole) : file(std::move(whole)) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return file->Size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    return file->ReadAt(offset, bytes);
  }

 private:
  std::shared_ptr<cTemporaryFile> file;
};

[[nodiscard]] std::unique_ptr<cTemporaryFile> SpoolStandardInput(std::string& reason) {
  MakeStandardInputBinary();
  std::unique_ptr<cTemporaryFile> file = cTemporaryFile::Make(reason);
  if (file == nullptr) {
    return nullptr;
  }
  std::array<std::uint8_t, 65'536> piece{};
  std::size_t size = 0;
  while ((size = std::fread(piece.data(), 1, piece.size(), stdin)) != 0) {
    if (!file->Append(std::span(piece).first(size))) {
      reason = "its bytes cannot be kept in a temporary file";
      return nullptr;
    }
  }
  if (std::ferror(stdin) != 0) {
    reason = "it cannot be read to its end";
    return nullptr;
  }
  return file;
}

// It can be read to its end only once: what it had stays for those who open it again.
[[nodiscard]] std::unique_ptr<cByteSource> OpenStandardInput(std::string& reason) {
  static std::mutex lock;
  static std::shared_ptr<cTemporaryFile> spooled;
  const std::lock_guard guard(lock);
  if (spooled == nullptr) {
    spooled = SpoolStandardInput(reason);
  }
  return spooled == nullptr ? nullptr : std::make_unique<cSpooledBytes>(spooled);
}

}  // namespace

std::unique_ptr<cByteSource> OpenBytes(const std::string& path, std::string& reason) {
  if (path == kStandardInput) {
    return OpenStandardInput(reason);
  }
  return cFileSource::Open(path, reason);
}

std::unique_ptr<cCaptureFile> OpenCapture(const std::string& path, sCaptureError& error,
                                          eCheck check) {
  std::string reason;
  std::unique_ptr<cByteSource> bytes = OpenBytes(path, reason);
  if (bytes == nullptr) {
    error = {"the file cannot be opened (" + reason + ")", {}};
    return nullptr;
  }
  return cCaptureFile::Open(std::move(bytes), error, check);
}

std::string MarkedCapture(const std::string& path) {
  return path == kStandardInput ? std::string() : path;
}

std::string InputName(const std::string& path) {
  return path == kStandardInput ? "standard input" : path;
}

}  // namespace corvane::tools
