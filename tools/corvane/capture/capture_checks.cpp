#include "corvane/capture/capture_checks.h"

#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <system_error>

#include "capture/request_queue.h"
#include "corvane/command/readable_text.h"
#include "diag/packets.h"
#include "diag/requests.h"
#include "filters/mask_lists.h"
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
  return fmt::format("the {} has {} characters; at most {} are possible", what, value.size(),
                     longest);
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
  // What an earlier capture left there is overwritten, and its room becomes free.
  std::error_code error;
  const std::uintmax_t old = std::filesystem::file_size(PathOf(request.output), error);
  const std::uint64_t room = *freeSpace + (error ? 0 : old);
  if (room >= request.stopBelow) {
    return std::nullopt;
  }
  return fmt::format(
      "only {} are free for the capture file {}, and the capture would end below {}: make room, or "
      "give a smaller --stop-below (0 for no limit)",
      FormatBytes(room), request.output, FormatBytes(request.stopBelow));
}

}  // namespace

bool IsMobileBroadband(const std::string& device) {
  return device.find("QMBE:") != std::string::npos;
}

std::optional<std::string> FindObstacle(const sCaptureRequest& request,
                                        std::optional<std::uint64_t> freeSpace) {
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
  if (std::filesystem::equivalent(PathOf(request.configuration), PathOf(request.output), ignored)) {
    return fmt::format("the capture would overwrite its configuration file {}", request.output);
  }
  if (IsFolder(request.output)) {
    return fmt::format("the capture file {} is a folder", request.output);
  }
  if (auto shortage = FindShortage(request, freeSpace)) {
    return shortage;
  }
  if (!std::ofstream(request.output, std::ios::binary | std::ios::app).is_open()) {
    return fmt::format("the capture file {} cannot be written: {}", request.output,
                       LastErrorText());
  }
  return std::nullopt;
}

std::string DescribeUse(const sCaptureRequest& request) {
  return fmt::format("the capture file {} is in use by another program, perhaps a capture",
                     request.output);
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

std::size_t CountRequests(std::string_view configuration) {
  std::set<std::uint32_t> equipmentIds;
  for (const std::uint32_t code : ParseLogCodes(configuration)) {
    equipmentIds.insert((code >> log_packet::kEquipmentIdShift) % log_packet::kEquipmentIds);
  }
  // There is none for an event ID that is too large.
  const bool hasEventMask = BuildEventMaskRequest(ParseEventIDs(configuration)) != nullptr;
  return StartUpRequests().size() + (hasEventMask ? 1 : 0) +
         ParseMessageLevels(configuration).size() + equipmentIds.size();
}

std::optional<std::string> FindDoubt(const sCaptureRequest& request) {
  std::ifstream file(request.configuration);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  const std::size_t count = CountRequests(text);
  if (count <= sRequestQueue::kCapacity) {
    return std::nullopt;
  }
  const std::size_t excess = count - sRequestQueue::kCapacity;
  return fmt::format(
      "{} makes {} requests and the library keeps only the last {}: the first {} lost, so that "
      "a modem which sends nothing by itself is never asked anything; take {} subsystem{} out of "
      "MessageLevels",
      request.configuration, FormatCount(count), FormatCount(sRequestQueue::kCapacity),
      excess == 1 ? "one is" : fmt::format("{} are", FormatCount(excess)), excess,
      excess == 1 ? "" : "s");
}

}  // namespace corvane::tools
