#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "convert/export.h"
#include "corvane/live/extcap_answers.h"

// The program as Wireshark calls it from its extcap folder: with options and without a command.
namespace corvane::tools {

// What Wireshark passes on of the dialog, and where the capture goes.
struct sExtcapCapture {
  std::string interfaceName;
  std::string pipe;
  std::string file;     // the capture file to follow
  std::string profile;  // name of an installed profile; empty: the usual one
  std::string config;   // path of a configuration file, instead of a profile
  std::string output;   // the capture file to make; empty: one is chosen
  sExportOptions options;
};

// Whether these are arguments by which Wireshark calls the program. `arguments` are without the
// program's name.
[[nodiscard]] bool IsExtcapCall(const std::vector<std::string>& arguments);

// Answers a question of Wireshark's on `out`, or captures into its pipe. What went wrong is told on
// `errors`, which Wireshark shows to its user, where nothing went wrong nothing is. Returns an exit
// code (command_line.h).
[[nodiscard]] int RunExtcap(const std::vector<std::string>& arguments, std::ostream& out,
                            std::ostream& errors);

// The part of Windows and corvane.dll; elsewhere there is nothing of it.
//
// The devices that can be captured from now.
[[nodiscard]] std::vector<sExtcapInterface> DeviceInterfaces();
// The options of all of them.
[[nodiscard]] std::vector<sExtcapOption> DeviceOptions();
// Captures from one of them until Wireshark wants no more. A capture that cannot start leaves no
// file. Throws std::runtime_error when its log cannot be written or the library is missing.
[[nodiscard]] int CaptureDevice(const sExtcapCapture& wanted, std::ostream& errors);

}  // namespace corvane::tools
