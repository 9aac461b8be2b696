#include "corvane/making/capture_output.h"
#include "corvane/command/file_options.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/file_names.h"

namespace corvane::tools {

cCaptureOutput::cCaptureOutput(std::string path, bool mayReplace)
    : name(std::move(path)),
      replaces(mayReplace),
      file(name, mayReplace),
      markerFile(MarkerPath(name), mayReplace, cNewFile::eLinks::Replaced) {}

std::optional<std::string> cCaptureOutput::Begin(const std::vector<std::string>& inputs) {
  for (const std::string& input : inputs) {
    if (AreSameFile(input, name)) {
      return fmt::format("the new capture would overwrite the capture {}", input);
    }
  }
  if (auto obstacle = file.BeginCapture()) {
    return obstacle;
  }
  if (auto obstacle = markerFile.BeginCapture()) {
    return obstacle;
  }
  errno = 0;
  stream.open(file.WritePath(), std::ios::binary | std::ios::trunc);
  if (!stream.is_open()) {
    return WriteProblem();
  }
  writer.emplace(stream);
  return std::nullopt;
}

std::string cCaptureOutput::WriteProblem() const { return DescribeUnwritable(name, errno); }

void cCaptureOutput::AddMarker(const sMarker& marker) {
  if (!std::exchange(hasMarkers, true)) {
    markers.open(markerFile.WritePath(), std::ios::binary | std::ios::trunc);
  }
  const std::string line = MarkerLine(marker);
  markers.write(line.data(), static_cast<std::streamsize>(line.size()));
}

std::optional<std::string> cCaptureOutput::Complete() {
  errno = 0;
  const bool isFinished = writer->Finish();
  stream.close();
  if (!isFinished || !stream) {
    return WriteProblem();
  }
  if (hasMarkers) {
    errno = 0;
    markers.close();
    if (!markers) {
      return DescribeUnwritable(MarkerPath(name), errno);
    }
  }
  if (auto obstacle = file.Complete()) {
    return obstacle;
  }
  return CompleteMarkers();
}

std::optional<std::string> cCaptureOutput::CompleteMarkers() {
  if (hasMarkers) {
    return markerFile.Complete();
  }
  return replaces ? RemoveMarkers(name) : std::nullopt;
}

std::optional<std::string> RemoveMarkers(const std::string& capture) {
  std::error_code error;
  const std::string old = MarkerPath(capture);
  if (std::filesystem::exists(std::filesystem::symlink_status(PathOf(old), error)) &&
      !std::filesystem::remove(PathOf(old), error)) {
    return fmt::format("{} could not be removed: {}", old, error.message());
  }
  return std::nullopt;
}

}  // namespace corvane::tools
