#include "corvane/reading/open_capture.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>
#include <ostream>
#include <span>
#include <system_error>
#include <utility>

#include "corvane/command/command_line.h"
#include "corvane/command/progress.h"
#include "corvane/command/standard_streams.h"
#include "corvane/command/temporary_file.h"
#include "platform/file_names.h"
#include "reader/markers.h"

namespace corvane::tools {
namespace {

// What a stream had, in a temporary file.
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

// A file that shows how far it is read while a bar is there.
class cWatchedBytes final : public cByteSource {
 public:
  explicit cWatchedBytes(std::unique_ptr<cByteSource> watched) : bytes(std::move(watched)) {}

  // `shown` is not owned. Null: from now on nothing is shown.
  void ShowOn(cProgress* shown) { progress = shown; }

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return bytes->Size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> into) override {
    if (progress != nullptr) {
      progress->ShowNow(offset);
    }
    return bytes->ReadAt(offset, into);
  }

 private:
  std::unique_ptr<cByteSource> bytes;
  cProgress* progress = nullptr;
};

[[nodiscard]] std::unique_ptr<cTemporaryFile> Spool(std::FILE* stream, std::string& reason) {
  std::unique_ptr<cTemporaryFile> file = cTemporaryFile::Make(reason);
  if (file == nullptr) {
    return nullptr;
  }
  std::array<std::uint8_t, 65'536> piece{};
  std::size_t size = 0;
  while ((size = std::fread(piece.data(), 1, piece.size(), stream)) != 0) {
    if (!file->Append(std::span(piece).first(size))) {
      reason = "its bytes cannot be kept in a temporary file";
      return nullptr;
    }
  }
  if (std::ferror(stream) != 0) {
    reason = "it cannot be read to its end";
    return nullptr;
  }
  return file;
}

[[nodiscard]] std::unique_ptr<cTemporaryFile> SpoolInput(const std::string& path,
                                                         std::string& reason) {
  if (path == kStandardInput) {
    MakeStandardInputBinary();
    return Spool(stdin, reason);
  }
  const auto close = [](std::FILE* stream) { std::fclose(stream); };
  const std::unique_ptr<std::FILE, decltype(close)> stream(std::fopen(path.c_str(), "rb"), close);
  if (stream == nullptr) {
    reason = std::generic_category().message(errno);
    return nullptr;
  }
  return Spool(stream.get(), reason);
}

// It can be read to its end only once: what it had stays for those who open it again.
[[nodiscard]] std::unique_ptr<cByteSource> OpenSpooled(const std::string& path,
                                                       std::string& reason) {
  static std::mutex lock;
  static std::map<std::string, std::shared_ptr<cTemporaryFile>> spooled;
  const std::lock_guard guard(lock);
  std::shared_ptr<cTemporaryFile>& file = spooled[path];
  if (file == nullptr) {
    file = SpoolInput(path, reason);
  }
  return file == nullptr ? nullptr : std::make_unique<cSpooledBytes>(file);
}

[[nodiscard]] bool IsStream(const std::string& path) {
  std::error_code ignored;  // what cannot be looked at is told by opening it
  return path == kStandardInput || std::filesystem::is_fifo(PathOf(path), ignored);
}

}  // namespace

std::unique_ptr<cByteSource> OpenBytes(const std::string& path, std::string& reason) {
  return IsStream(path) ? OpenSpooled(path, reason) : cFileSource::Open(path, reason);
}

std::unique_ptr<cCaptureFile> OpenCapture(const std::string& path, sCaptureError& error,
                                          eCheck check) {
  std::string reason;
  std::unique_ptr<cByteSource> bytes = OpenBytes(path, reason);
  if (bytes == nullptr) {
    error = {"the file cannot be opened (" + reason + ")", {}};
    return nullptr;
  }
  cProgress progress(InputName(path), bytes->Size().value_or(0));
  auto watched = std::make_unique<cWatchedBytes>(std::move(bytes));
  cWatchedBytes& source = *watched;
  source.ShowOn(&progress);
  auto file = cCaptureFile::Open(std::move(watched), error, check);
  if (file != nullptr) {
    source.ShowOn(nullptr);  // else it is gone
  }
  return file;
}

std::string MarkedCapture(const std::string& path) {
  return path == kStandardInput ? std::string() : path;
}

int EndWithMarkers(const char* command, const std::string& path, int exitCode,
                   std::ostream& errors) {
  const auto problem = FindMarkerProblem(MarkedCapture(path));
  if (problem) {
    errors << "corvane " << command << ": " << *problem << '\n';
  }
  return problem ? kExitFailed : exitCode;
}

std::string InputName(const std::string& path) {
  return path == kStandardInput ? "standard input" : path;
}

}  // namespace corvane::tools
