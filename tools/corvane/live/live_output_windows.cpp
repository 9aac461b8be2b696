#include <fmt/format.h>
#include <io.h>
#include <windows.h>
#include <winternl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <thread>
#include <utility>

#include "corvane/capture/host_windows.h"
#include "corvane/live/live_output.h"
#include "platform/windows_handle.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kReaderPatience(10'000);
constexpr milliseconds kReaderInterval(20);
// How often the pipe is looked at while nothing is written.
constexpr milliseconds kLooksAtPipe(50);

// FILE_PIPE_CONNECTED_STATE, which only the driver kit's headers have.
constexpr ULONG kPipeConnected = 3;

// Whether `output` is a pipe whose other end has been closed. Writing tells that too, but only when
// there is something to write: an empty write is read as the end of the stream.
[[nodiscard]] bool IsBroken(HANDLE output) {
  FILE_PIPE_LOCAL_INFORMATION pipe{};
  IO_STATUS_BLOCK status{};
  return NtQueryInformationFile(output, &status, &pipe, sizeof pipe, FilePipeLocalInformation) >=
             0 &&
         pipe.NamedPipeState != kPipeConnected;
}

class cWindowsLiveOutput final : public cLiveOutput {
 public:
  // `handle` stays open, and the caller's.
  explicit cWindowsLiveOutput(HANDLE handle) : output(handle) {}
  explicit cWindowsLiveOutput(FileHandle handle)
      : opened(std::move(handle)), output(opened.Get()) {}

  [[nodiscard]] eWake Wait(milliseconds time) override {
    const auto end = steady_clock::now() + time;
    for (;;) {
      const auto left =
          std::max(std::chrono::ceil<milliseconds>(end - steady_clock::now()), milliseconds(0));
      if (host.WaitForStop(std::min(left, kLooksAtPipe))) {
        return eWake::StopRequested;
      }
      if (IsBroken(output)) {
        return eWake::ReaderIsGone;
      }
      if (left == milliseconds(0)) {
        return eWake::TimeIsOver;
      }
    }
  }

 private:
  [[nodiscard]] int Deliver(std::span<const std::uint8_t> bytes) override {
    while (!bytes.empty()) {
      DWORD count = 0;
      if (!WriteFile(output, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr)) {
        return ErrorOf(GetLastError());
      }
      bytes = bytes.subspan(count);
    }
    return 0;
  }

  [[nodiscard]] static int ErrorOf(DWORD error) {
    switch (error) {
      case ERROR_BROKEN_PIPE:
      case ERROR_NO_DATA:
      case ERROR_PIPE_NOT_CONNECTED:
        return EPIPE;
      case ERROR_DISK_FULL:
        return ENOSPC;
      case ERROR_OPERATION_ABORTED:
        return ECANCELED;
      default:
        return EIO;
    }
  }

  cWindowsHost host;
  FileHandle opened;
  HANDLE output;
};

}  // namespace

std::unique_ptr<cLiveOutput> MakeLiveStandardOutput() {
  // WriteFile passes by the text mode of the C library.
  return std::make_unique<cWindowsLiveOutput>(
      reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stdout))));
}

bool IsPipeName(const std::string& path) { return path.starts_with(R"(\\.\pipe\)"); }

std::unique_ptr<cLiveOutput> OpenLiveOutput(const std::string& path, std::string& problem) {
  const bool isPipe = IsPipeName(path);
  const auto end = steady_clock::now() + kReaderPatience;
  for (;;) {
    FileHandle file(CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                isPipe ? OPEN_EXISTING : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                                nullptr));
    if (file) {
      return std::make_unique<cWindowsLiveOutput>(std::move(file));
    }
    const DWORD error = GetLastError();
    if (error != ERROR_PIPE_BUSY || steady_clock::now() >= end) {
      problem = fmt::format("{} cannot be written: {}", path,
                            std::system_category().message(static_cast<int>(error)));
      return nullptr;
    }
    std::this_thread::sleep_for(kReaderInterval);
  }
}

}  // namespace corvane::tools
