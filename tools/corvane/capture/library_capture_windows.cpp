#include "corvane/capture/library_capture_windows.h"

#include <fmt/format.h>

#include <memory>

#include "corvane/command/readable_text.h"
#include "platform/windows_handle.h"
#include "reader/capture_file.h"

namespace corvane::tools {
namespace {

[[nodiscard]] bool IsInUse(const std::string& path) {
  const FileHandle opened(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  return !opened && GetLastError() == ERROR_SHARING_VIOLATION;
}

}  // namespace

std::optional<std::string> FindObstacleToCapture(const sCaptureRequest& request,
                                                 std::optional<std::uint64_t> freeSpace) {
  if (IsInUse(request.output)) {
    return fmt::format("the capture file {} is in use by another program, perhaps a capture",
                       request.output);
  }
  return FindObstacle(request, freeSpace);
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

sCaptureResult ReadResult(const std::string& path) {
  sCaptureError error;
  const std::unique_ptr<cCaptureFile> file = cCaptureFile::Open(path, error);
  if (file == nullptr || !file->IsComplete()) {
    const std::string reason = file == nullptr ? error.Text()
                               : file->Damage()
                                   ? file->Damage()->Text()
                                   : std::string("it has no index and trailer; is the disk full?");
    return {false, fmt::format("{} is not complete: {}\n", path, reason)};
  }
  std::string text = fmt::format("{} is complete: {}, {}\n", path, FormatItems(file->ItemCount()),
                                 FormatBytes(file->Size()));
  if (file->ItemCount() <= 1) {
    // The first item is the library's own.
    text += "The device was never reached: the file holds nothing of it\n";
  }
  return {true, std::move(text)};
}

}  // namespace corvane::tools
