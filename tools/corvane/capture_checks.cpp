#include "corvane/capture_checks.h"

#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

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
  return fmt::format("the {} has {} characters; at most {} are possible", what, value.size(),
                     longest);
}

[[nodiscard]] std::string LastErrorText() { return std::generic_category().message(errno); }

[[nodiscard]] bool IsFolder(const std::string& path) {
  std::error_code ignored;  // a path that cannot be looked at is no folder; opening it tells why
  return std::filesystem::is_directory(path, ignored);
}

}  // namespace

std::optional<std::string> FindObstacle(const sCaptureRequest& request) {
  if (auto obstacle = FindLengthObstacle("device name", request.device, kLongestDevice)) {
    return obstacle;
  }
  if (auto obstacle = FindLengthObstacle("path of the configuration file", request.configuration,
                                         kLongestPath)) {
    return obstacle;
  }
  if (auto obstacle =
          FindLengthObstacle("path of the capture file", request.output, kLongestPath)) {
    return obstacle;
  }

  if (IsFolder(request.configuration)) {
    return fmt::format("the configuration file {} is a folder", request.configuration);
  }
  if (!std::ifstream(request.configuration).is_open()) {
    return fmt::format("the configuration file {} cannot be read: {}", request.configuration,
                       LastErrorText());
  }
  std::error_code ignored;  // files that cannot be compared are not the same one
  if (std::filesystem::equivalent(request.configuration, request.output, ignored)) {
    return fmt::format("the capture would overwrite its configuration file {}", request.output);
  }
  if (IsFolder(request.output)) {
    return fmt::format("the capture file {} is a folder", request.output);
  }
  if (!std::ofstream(request.output, std::ios::binary | std::ios::app).is_open()) {
    return fmt::format("the capture file {} cannot be written: {}", request.output,
                       LastErrorText());
  }
  return std::nullopt;
}

}  // namespace corvane::tools
