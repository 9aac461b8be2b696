#include "reader/byte_source.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/file_names.h"

namespace corvane {
namespace {

constexpr std::size_t kLargeWindow =
    std::size_t{256} * 1024;  // for reading in order; holds any record
constexpr std::size_t kSmallWindow = std::size_t{4} * 1024;  // for reading here and there
// Whoever reads in order passes over the rest of a packet, or a block with its directory.
constexpr std::size_t kMostPassedOver = std::size_t{64} * 1024;

}  // namespace

std::unique_ptr<cFileSource> cFileSource::Open(const std::string& path, std::string& reason) {
  // A folder can be opened as a file on some systems, and fails only when it is read.
  std::error_code ignored;  // a path that cannot be looked at is no folder; opening it tells why
  if (std::filesystem::is_directory(PathOf(path), ignored)) {
    reason = "it is a folder";
    return nullptr;
  }
  std::unique_ptr<cFileSource> source(new cFileSource);
  // Unbuffered: a buffer filled earlier would hide what another process has written since.
  source->file.rdbuf()->pubsetbuf(nullptr, 0);
  source->file.open(path, std::ios::in | std::ios::binary);
  if (!source->file.is_open()) {
    reason = std::generic_category().message(errno);
    return nullptr;
  }
  return source;
}

std::optional<std::uint64_t> cFileSource::Size() {
  file.clear();
  file.seekg(0, std::ios::end);
  const std::streamoff end = file.tellg();
  if (!file || end < 0) {
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(end);
}

std::size_t cFileSource::ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) {
  // A read at the end of a growing file leaves the stream in a failed state.
  file.clear();
  file.seekg(static_cast<std::streamoff>(offset));
  if (!file) {
    return 0;
  }
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return static_cast<std::size_t>(file.gcount());
}

// Moves the window to `offset`. False when `length` bytes cannot be read there.
bool cByteWindow::Fill(std::uint64_t offset, std::size_t length) {
  const bool goesOn = !window.empty() && offset >= windowOffset &&
                      offset - windowOffset <= window.size() + kMostPassedOver;
  window.resize(goesOn ? kLargeWindow : std::max(kSmallWindow, length));
  windowOffset = offset;
  window.resize(bytes->ReadAt(offset, window));
  return window.size() >= length;
}

}  // namespace corvane
