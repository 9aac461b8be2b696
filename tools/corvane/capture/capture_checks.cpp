#include "corvane/capture/capture_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "corvane/capture/device_name.h"
#include "corvane/command/readable_text.h"
#include "corvane/profile/profile_check.h"
#include "platform/file_names.h"

namespace corvane::tools {
namespace {

[[nodiscard]] std::optional<std::string> FindLengthObstacle(const char* what,
                                                            const std::string& value,
                                                            std::size_t longest) {
  if (value.empty()) {
    return fmt::format("the {} is empty", what);
  }
  if (value.size() <= longest) {
    return std::nullopt;
  }
  const bool isAscii = std::all_of(value.begin(), value.end(), [](char character) {
    return static_cast<unsigned char>(character) < 0x80;
  });
  return fmt::format("the {} has {} {}; at most {} are possible", what, value.size(),
                     isAscii ? "characters" : "bytes in UTF-8", longest);
}

[[nodiscard]] std::string LastErrorText() { return std::generic_category().message(errno); }

[[nodiscard]] bool IsFolder(const std::string& path) {
  std::error_code ignored;  // a path that cannot be looked at is no folder; opening it tells why
  return std::filesystem::is_directory(PathOf(path), ignored);
}

[[nodiscard]] std::optional<std::string> FindShortage(const sCaptureRequest& request,
                                                      std::optional<std::uint64_t> freeSpace) {
  if (!freeSpace) {
    return std::nullopt;
  }
  if (*freeSpace >= request.stopBelow) {
    return std::nullopt;
  }
  return fmt::format(
      "only {} are free for the capture file {}, and the capture would end below {}: make room, or "
      "give a smaller --stop-below (0 for no limit)",
      FormatBytes(*freeSpace), request.output, FormatBytes(request.stopBelow));
}

}  // namespace

std::optional<std::string> FindConfigurationObstacle(const std::string& path) {
  if (auto obstacle = FindLengthObstacle("path of the configuration file", path, kLongestPath)) {
    return obstacle;
  }
  if (IsFolder(path)) {
    return fmt::format("the configuration file {} is a folder", path);
  }
  if (!std::ifstream(path).is_open()) {
    return fmt::format("the configuration file {} cannot be read: {}", path, LastErrorText());
  }
  return std::nullopt;
}

std::optional<std::string> FindOutputLengthObstacle(const std::string& path) {
  return FindLengthObstacle("path of the capture file", path, kLongestPath);
}

std::optional<std::string> FindObstacle(const sCaptureRequest& request,
                                        std::optional<std::uint64_t> freeSpace) {
  if (auto obstacle = FindLengthObstacle("device name", request.device, kLongestDevice)) {
    return obstacle;
  }
  if (auto obstacle = FindConfigurationObstacle(request.configuration)) {
    return obstacle;
  }
  if (auto obstacle = FindOutputLengthObstacle(request.output)) {
    return obstacle;
  }
  std::error_code ignored;  // files that cannot be compared are not the same one
  if (std::filesystem::equivalent(PathOf(request.configuration), PathOf(request.output), ignored)) {
    return fmt::format("the capture would overwrite its configuration file {}", request.output);
  }
  if (IsFolder(request.output)) {
    return fmt::format("the capture file {} is a folder", request.output);
  }
  return FindShortage(request, freeSpace);
}

std::string DescribeUse(const sCaptureRequest& request) {
  return fmt::format("the capture file {} is in use by another program, perhaps a capture",
                     request.output);
}

std::string FormatWait(std::chrono::milliseconds wait) {
  return fmt::format("{:g} s", static_cast<double>(wait.count()) / 1000.0);
}

std::optional<std::string> FindShortWait(const sCaptureRequest& request) {
  const auto wait = request.LongestWait();
  if (!wait || *wait >= kShortestWait) {
    return std::nullopt;
  }
  return fmt::format(
      "the device is waited for {} only, and one that is present may take longer to be connected: "
      "--wait {}s or more is safe",
      FormatWait(*wait), std::chrono::ceil<std::chrono::seconds>(kShortestWait).count());
}

std::string DescribeRefusal(const sCaptureRequest& request) {
  if (IsMobileBroadband(request.device)) {
    return fmt::format(
        "the library refused to start: either {} names no mobile-broadband interface with a DIAG "
        "service, or {} could not be written",
        request.device, request.output);
  }
  return fmt::format(
      "the library refused to start: {} could not be written, or the system is out of memory or "
      "threads",
      request.output);
}

std::vector<std::string> FindDoubts(const std::string& configuration) {
  std::ifstream file(configuration, std::ios::binary);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  std::vector<std::string> doubts;
  for (const sProfileWarning& warning : CheckProfile(text).warnings) {
    doubts.push_back(fmt::format("{}: {}", configuration, warning.Text()));
  }
  return doubts;
}

}  // namespace corvane::tools
