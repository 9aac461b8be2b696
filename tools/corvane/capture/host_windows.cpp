#include "corvane/capture/host_windows.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "io/serial/com_ports.h"
#include "platform/clock.h"
#include "platform/windows_handle.h"

namespace corvane::tools {
namespace {

constexpr wchar_t kLibraryName[] = L"corvane.dll";

// Throws std::runtime_error when Windows does not tell where this program lies.
[[nodiscard]] std::wstring LibraryPath() {
  std::array<wchar_t, 32768> program{};  // the longest path that Windows knows
  const DWORD length =
      GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
  const std::wstring path(program.data(), length);
  const std::size_t folder = path.find_last_of(L'\\');
  if (length == program.size() || folder == path.npos) {
    throw std::runtime_error("Windows does not tell where this program lies");
  }
  return path.substr(0, folder + 1) + kLibraryName;
}

// The full path, so that no other folder of the library search path can supply the DLL; what it
// needs itself comes from the system's own folder.
[[nodiscard]] HMODULE LoadTheLibrary() {
  return LoadLibraryExW(LibraryPath().c_str(), nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
}

template <typename Function>
void FindExport(HMODULE library, const char* name, Function& function) {
  // By way of void*, the one pointer type to which a function pointer of unknown type converts
  // without a warning.
  function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
  if (function == nullptr) {
    throw std::runtime_error(fmt::format("corvane.dll has no function {}", name));
  }
}

// What the system's handler thread and the capture tell each other. It outlives every cWindowsHost,
// because a handler that is already running cannot be called off.
struct sStopState {
  std::mutex mutex;
  std::condition_variable changed;
  bool requested = false;
  bool finished = false;
};

sStopState& State() {
  static sStopState state;
  return state;
}

BOOL WINAPI OnConsoleControl(DWORD control) {
  sStopState& state = State();
  std::unique_lock guard(state.mutex);
  state.requested = true;
  state.changed.notify_all();
  // Windows ends the process when a handler of these returns, so it stays until the file is closed.
  if (control == CTRL_CLOSE_EVENT || control == CTRL_LOGOFF_EVENT ||
      control == CTRL_SHUTDOWN_EVENT) {
    state.changed.wait(guard, [&] { return state.finished; });
  }
  return TRUE;
}

}  // namespace

cLoadedLibrary::cLoadedLibrary() : library(LoadTheLibrary()) {
  if (library == nullptr) {
    throw std::runtime_error(
        fmt::format("corvane.dll, which belongs beside this program, cannot be loaded (error {})",
                    GetLastError()));
  }
  FindExport(library.get(), "CorvaneStart", start);
  FindExport(library.get(), "CorvaneStop", stop);
}

cWindowsHost::cWindowsHost() {
  sStopState& state = State();
  {
    const std::lock_guard guard(state.mutex);
    state.requested = state.finished = false;
  }
  if (!SetConsoleCtrlHandler(OnConsoleControl, TRUE)) {
    throw std::runtime_error("Ctrl-C cannot be handled");
  }
}

cWindowsHost::~cWindowsHost() {
  SetConsoleCtrlHandler(OnConsoleControl, FALSE);
  sStopState& state = State();
  const std::lock_guard guard(state.mutex);
  state.finished = true;
  state.changed.notify_all();
}

bool cWindowsHost::WaitForStop(std::chrono::milliseconds time) {
  sStopState& state = State();
  std::unique_lock guard(state.mutex);
  return state.changed.wait_for(guard, time, [&] { return state.requested; });
}

std::chrono::milliseconds cWindowsHost::Elapsed() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                               started);
}

std::optional<std::uint64_t> FreeSpaceFor(const std::string& path) {
  // The folder alone: Windows makes no full path of a name as long as a file's may be.
  const std::size_t end = path.find_last_of("\\/:");
  const std::string folder = end == std::string::npos ? "." : path.substr(0, end + 1);
  ULARGE_INTEGER available{};  // to this user, which is less than there is where quotas are set
  if (!GetDiskFreeSpaceExA(folder.c_str(), &available, nullptr, nullptr)) {
    return std::nullopt;
  }
  return available.QuadPart;
}

bool FileIsInUse(const std::string& path) {
  const FileHandle opened(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  return !opened && GetLastError() == ERROR_SHARING_VIOLATION;
}

std::optional<std::uint64_t> cWindowsHost::FreeSpace(const std::string& path) {
  return FreeSpaceFor(path);
}

std::optional<std::string> OpenComPort(const std::string& port, FileHandle& opened) {
  // As the library opens it.
  const std::string path = R"(\\.\)" + port;
  opened.Reset(CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr));
  if (opened) {
    return std::nullopt;
  }
  switch (const DWORD error = GetLastError()) {
    case ERROR_FILE_NOT_FOUND:
      return std::nullopt;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
      return "another program has it";
    default:
      return fmt::format("error {}", error);
  }
}

std::optional<std::string> cWindowsHost::TryToOpen(const std::string& port) {
  FileHandle opened;
  return OpenComPort(port, opened);
}

std::uint64_t cWindowsHost::Now() {
  constexpr std::uint64_t kTicksPerMillisecond = 10'000;
  return SystemFileTime() / kTicksPerMillisecond;
}

std::vector<sPresentPort> SortedComPorts() {
  std::vector<sPresentPort> ports;
  for (sComPort& port : ListComPorts()) {
    ports.push_back({std::move(port.name), std::move(port.description)});
  }
  // The system's order changes from call to call.
  std::sort(ports.begin(), ports.end(), [](const sPresentPort& left, const sPresentPort& right) {
    return std::tuple(left.name.size(), left.name, left.description) <
           std::tuple(right.name.size(), right.name, right.description);
  });
  return ports;
}

}  // namespace corvane::tools
