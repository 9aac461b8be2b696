#include <fcntl.h>
#include <fmt/format.h>
#include <io.h>
#include <shlobj.h>
#include <sys/stat.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include "corvane/capture/capture_checks.h"
#include "corvane/capture/capture_course.h"
#include "corvane/capture/capture_watch.h"
#include "corvane/capture/device_presence.h"
#include "corvane/capture/host_windows.h"
#include "corvane/command/command_line.h"
#include "corvane/live/extcap_command.h"
#include "corvane/live/installed_files.h"
#include "corvane/live/live_export.h"
#include "corvane/live/shown_growth.h"
#include "io/mbn/mbn_interfaces.h"
#include "platform/clock.h"
#include "platform/file_names.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = "corvane_";
constexpr std::string_view kMobileBroadband = "QMBE:";
// The profile that the dialog shows first, where it is installed.
constexpr char kUsualProfile[] = "signalling";
constexpr char kSecondProfile[] = "wcdma-signalling";

[[nodiscard]] int Fail(const std::string& what, std::ostream& errors) {
  errors << "corvane: " << what << '\n';
  return kExitFailed;
}

// 8-bit text of the system, as Wireshark wants it.
[[nodiscard]] std::string Utf8(const std::string& text) {
  const std::u8string wanted = PathOf(text).u8string();
  return {wanted.begin(), wanted.end()};
}

// A device that a capture could use now.
struct sDevice {
  std::string name;  // as the library takes it
  std::string description;
};

[[nodiscard]] std::vector<sDevice> PresentDevices() {
  std::vector<sDevice> devices;
  for (const sPresentPort& port : SortedComPorts()) {
    devices.push_back({port.name, port.description.empty() ? "COM port" : port.description});
  }
  for (const std::string& id : ListMobileBroadbandInterfaces()) {
    devices.push_back({std::string(kMobileBroadband) + id, "mobile-broadband interface"});
  }
  return devices;
}

// Wireshark's handle for a device: its name, with what a handle cannot have left out.
[[nodiscard]] std::string HandleOf(const std::string& device) {
  std::string handle(kPrefix);
  for (const char character : device) {
    if (character == ':') {
      handle += '_';
    } else if (character != '{' && character != '}') {
      handle += character;
    }
  }
  return handle;
}

// The device of a handle. A COM port need not be present: it is waited for.
[[nodiscard]] std::optional<std::string> DeviceOf(const std::string& handle) {
  for (const sDevice& device : PresentDevices()) {
    if (HandleOf(device.name) == handle) {
      return device.name;
    }
  }
  constexpr std::string_view kComPort = "COM";
  if (handle.starts_with(kPrefix) && handle.substr(kPrefix.size()).starts_with(kComPort)) {
    return handle.substr(kPrefix.size());
  }
  return std::nullopt;
}

[[nodiscard]] std::vector<fs::path> InstalledProfiles() {
  std::vector<fs::path> found;
  const std::optional<fs::path> folder = FindProfiles(ProgramPath().parent_path());
  if (!folder) {
    return found;
  }
  for (const fs::directory_entry& entry : fs::directory_iterator(*folder)) {
    if (entry.path().extension() == ".cfg") {
      found.push_back(entry.path());
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

// The installed profiles by name. One of them is the default, if there are any.
[[nodiscard]] std::vector<sExtcapChoice> ProfileChoices() {
  std::vector<sExtcapChoice> choices;
  for (const fs::path& profile : InstalledProfiles()) {
    const std::string name = TextOf(profile.stem());
    choices.push_back({name, name});
  }
  for (const char* const wanted : {kUsualProfile, kSecondProfile}) {
    const auto usual = std::find_if(choices.begin(), choices.end(), [wanted](const auto& choice) {
      return choice.value == wanted;
    });
    if (usual != choices.end()) {
      usual->isDefault = true;
      return choices;
    }
  }
  if (!choices.empty()) {
    choices.front().isDefault = true;
  }
  return choices;
}

// The default of the dialog's profiles; empty when there are none.
[[nodiscard]] std::string DefaultProfile() {
  for (const sExtcapChoice& choice : ProfileChoices()) {
    if (choice.isDefault) {
      return choice.value;
    }
  }
  return {};
}

// The configuration file that the dialog's options mean, or nothing.
[[nodiscard]] std::optional<std::string> ConfigurationOf(const sExtcapCapture& wanted) {
  if (!wanted.config.empty()) {
    return wanted.config;
  }
  // Wireshark passes on only what its user has chosen: not the default, though it shows it so.
  const std::string wantedProfile = wanted.profile.empty() ? DefaultProfile() : wanted.profile;
  for (const fs::path& profile : InstalledProfiles()) {
    if (TextOf(profile.stem()) == wantedProfile) {
      return TextOf(profile);
    }
  }
  return std::nullopt;
}

// The folder for captures that the user did not name: Corvane in the user's documents.
[[nodiscard]] fs::path CaptureFolder() {
  std::array<wchar_t, MAX_PATH> documents{};
  const HRESULT result =
      SHGetFolderPathW(nullptr, CSIDL_PERSONAL | CSIDL_FLAG_CREATE, nullptr, 0, documents.data());
  // Services have no documents.
  const fs::path folder =
      SUCCEEDED(result) ? fs::path(documents.data()) : fs::temp_directory_path();
  return folder / "Corvane";
}

// "COM7-20240517-143005.isf"
[[nodiscard]] fs::path UsualOutput(const std::string& device) {
  const std::tm now = LocalCalendarTime();
  const std::string name = fmt::format(
      "{}-{:04}{:02}{:02}-{:02}{:02}{:02}.isf", HandleOf(device).substr(kPrefix.size()),
      now.tm_year + 1900, now.tm_mon + 1, now.tm_mday, now.tm_hour, now.tm_min, now.tm_sec);
  return CaptureFolder() / PathOf(name);
}

// Makes an empty file under that name, or a similar one where there is one of that name: "x-2.isf".
// Throws std::filesystem::filesystem_error where it cannot.
[[nodiscard]] fs::path MakeNewFile(const fs::path& wanted) {
  fs::create_directories(wanted.parent_path());
  fs::path path = wanted;
  for (int number = 2;; ++number) {
    const FileHandle made(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    if (made) {
      return path;
    }
    const DWORD error = GetLastError();
    if (error != ERROR_FILE_EXISTS) {
      throw fs::filesystem_error("", path,
                                 std::error_code(static_cast<int>(error), std::system_category()));
    }
    path = wanted.parent_path() / wanted.stem();
    path += "-" + std::to_string(number);
    path += wanted.extension();
  }
}

// The files of a capture that has not started yet: they are removed unless it does.
class cFilesBeforeStart {
 public:
  cFilesBeforeStart() = default;
  cFilesBeforeStart(const cFilesBeforeStart&) = delete;
  cFilesBeforeStart& operator=(const cFilesBeforeStart&) = delete;
  ~cFilesBeforeStart() {
    for (const fs::path& file : files) {
      std::error_code ignored;  // it stays, and there is something else to tell
      fs::remove(file, ignored);
    }
  }

  void Add(fs::path file) { files.push_back(std::move(file)); }
  void Keep() { files.clear(); }

 private:
  std::vector<fs::path> files;
};

// Standard output as a file: what the library prints goes there, and never waits for a reader.
class cStandardOutputLog {
 public:
  // Throws std::system_error when the file cannot be written.
  explicit cStandardOutputLog(const std::string& path) {
    const int log =
        _open(path.c_str(), _O_WRONLY | _O_CREAT | _O_APPEND | _O_TEXT, _S_IREAD | _S_IWRITE);
    if (log < 0 || _dup2(log, _fileno(stdout)) != 0) {
      throw std::system_error(errno, std::generic_category(),
                              fmt::format("the log file {} cannot be written", path));
    }
    _close(log);
    // Each line is in the file as soon as it is printed, by the library too: it prints through the
    // same C runtime.
    std::setvbuf(stdout, nullptr, _IONBF, 0);
  }
  cStandardOutputLog(const cStandardOutputLog&) = delete;
  cStandardOutputLog& operator=(const cStandardOutputLog&) = delete;
  // Closes the file, so that it can be removed. What is printed later goes nowhere.
  ~cStandardOutputLog() {
    const int nowhere = _open("NUL", _O_WRONLY);
    if (nowhere < 0) {
      return;
    }
    _dup2(nowhere, _fileno(stdout));
    _close(nowhere);
  }
};

void Log(const std::string& text) { std::cout << text << std::flush; }

// Streams the capture until Wireshark wants no more or the disk is nearly full.
[[nodiscard]] eLiveEnd StreamCapture(const sCaptureRequest& request, cItemFollower& follower,
                                     cGrowthTaker& growth, cLiveOutput& output) {
  output.Flush();
  for (;;) {
    std::optional<eLiveEnd> end = HandOn(follower, growth, output);
    if (!end) {
      end = EndOf(output.Wait(std::chrono::milliseconds(kLookInterval)));
    }
    if (end) {
      return *end;
    }
    if (const auto shortage = FindShortage(request, FreeSpaceFor(request.output))) {
      Log(*shortage + "\n");
      return eLiveEnd::StopRequested;
    }
  }
}

// Tells in the log what became of the capture, and to Wireshark what went wrong. Returns an exit
// code.
[[nodiscard]] int ReportEnd(eLiveEnd end, const sCaptureRequest& request,
                            const cItemFollower& follower, const cLiveOutput& output,
                            std::ostream& errors) {
  const sCaptureResult result = ReadResult(request.output);
  Log(result.text + "\n");
  if (!result.isComplete) {
    return Fail(result.text, errors);
  }
  if (end == eLiveEnd::Lost) {
    return Fail(fmt::format("{}: {}", request.output, follower.Trouble()->Text()), errors);
  }
  if (end == eLiveEnd::Failed) {
    return Fail(fmt::format("the pipe to Wireshark could not be written: {}; {} is complete",
                            output.Problem(), request.output),
                errors);
  }
  return kExitGood;
}

// Streams the capture that `library` has started to its end. Returns an exit code.
[[nodiscard]] int StreamToEnd(cCaptureLibrary& library, const sCaptureRequest& request,
                              sExportOptions options, cLiveOutput& output, std::ostream& errors) {
  options.captureName = request.device;
  cItemFollower follower(request.output);
  const std::unique_ptr<cItemExport> exported = MakeExport(eExportFormat::Pcapng, options, output);
  cShownGrowth growth({request.output, {}}, follower, *exported);
  eLiveEnd end = eLiveEnd::Failed;
  {
    const cRunningCapture running(library);
    end = StreamCapture(request, follower, growth, output);
  }
  // The capture is closed now: what came until its end is for Wireshark too, if it still reads.
  std::ignore = HandOn(follower, growth, output);
  growth.Finish();
  output.Flush();
  for (const std::string& note : exported->Notes()) {
    Log(note + "\n");
  }
  return ReportEnd(end, request, follower, output, errors);
}

// Captures into the file and the pipe. Returns an exit code. Throws std::runtime_error when the log
// cannot be written or the library is missing.
[[nodiscard]] int CaptureInto(const sCaptureRequest& request, const sExtcapCapture& wanted,
                              cFilesBeforeStart& files, std::ostream& errors) {
  const std::string logPath = request.output + ".log";
  if (!fs::exists(PathOf(logPath))) {
    files.Add(PathOf(logPath));
  }
  const cStandardOutputLog log(logPath);
  Log(fmt::format("Capturing {} into {} by {}\n", request.device, request.output,
                  request.configuration));
  for (const std::string& doubt : FindDoubts(request.configuration)) {
    Log("warning: " + doubt + "\n");
  }
  std::string problem;
  const std::unique_ptr<cLiveOutput> output = OpenLiveOutput(wanted.pipe, problem);
  if (output == nullptr) {
    return Fail(problem, errors);
  }
  cLoadedLibrary library;
  if (!library.Start(request.device, request.configuration, request.output)) {
    return Fail(DescribeRefusal(request), errors);
  }
  files.Keep();
  return StreamToEnd(library, request, wanted.options, *output, errors);
}

}  // namespace

std::vector<sExtcapInterface> DeviceInterfaces() {
  std::vector<sExtcapInterface> interfaces;
  for (const sDevice& device : PresentDevices()) {
    interfaces.push_back({HandleOf(device.name),
                          Utf8(fmt::format("Corvane: {}, {}", device.name, device.description))});
  }
  return interfaces;
}

std::vector<sExtcapOption> DeviceOptions() {
  return {
      {"--profile", "Profile", "What the modem is to report", "selector", "{group=Capture}",
       ProfileChoices()},
      {"--config", "Own configuration", "A configuration file of your own instead of a profile",
       "fileselect",
       "{mustexist=true}{fileext=Configurations (*.cfg);;All files (*)}{group=Capture}"},
      {"--output", "Capture file",
       "Where the capture is kept. Without one: a new file, named after the port and the time, in "
       "the folder Corvane of your documents. No file is ever overwritten: where there is one of "
       "that name, a number is added",
       "fileselect", "{mustexist=false}{fileext=Captures (*.isf);;All files (*)}{group=Capture}"},
  };
}

int CaptureDevice(const sExtcapCapture& wanted, std::ostream& errors) {
  const std::optional<std::string> device = DeviceOf(wanted.interfaceName);
  if (!device) {
    return Fail(fmt::format("there is no device {} any more", wanted.interfaceName), errors);
  }
  const std::optional<std::string> configuration = ConfigurationOf(wanted);
  if (!configuration) {
    return Fail("choose a profile, or a configuration file, in the interface's options", errors);
  }
  sCaptureRequest request;
  request.device = *device;
  request.configuration = *configuration;
  try {
    request.output =
        TextOf(MakeNewFile(wanted.output.empty() ? UsualOutput(*device) : PathOf(wanted.output)));
  } catch (const fs::filesystem_error& error) {
    return Fail(fmt::format("the capture file {} cannot be made: {}", TextOf(error.path1()),
                            error.code().message()),
                errors);
  }
  cFilesBeforeStart files;
  files.Add(PathOf(request.output));
  if (FileIsInUse(request.output)) {
    return Fail(DescribeUse(request), errors);
  }
  if (const auto obstacle = FindObstacle(request, FreeSpaceFor(request.output))) {
    return Fail(*obstacle, errors);
  }
  // The library would wait for it, and Wireshark show nothing.
  const auto tryToOpen = [](const std::string& port) {
    FileHandle opened;
    return OpenComPort(port, opened);
  };
  if (const auto busy = FindBusy(request.device, SortedComPorts(), tryToOpen)) {
    return Fail(*busy, errors);
  }
  return CaptureInto(request, wanted, files, errors);
}

}  // namespace corvane::tools
