// Drives one serial transport on command.
//
//   open PORT     close     isopen     write HEX     list     quit
//
// "open" answers "open true <t>" or "open false <t>", "isopen" and "write" "true" or "false"
// behind their own name, "close" answers "closed". "list" answers one line "port <name>
// <description>" a port, with tabs, and "listed". The handlers' events are "connected <t>" and
// "disconnected <t>". <t> is in milliseconds. The transport's own messages appear in between.
#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "e2e/hosts/command_lines.h"
#include "io/serial/com_io.h"
#include "io/serial/com_ports.h"

namespace {

using corvane::test::Say;

// The tick count is too coarse: waits could seem to end early.
std::string Now() {
  LARGE_INTEGER count{};
  LARGE_INTEGER frequency{};
  QueryPerformanceCounter(&count);
  QueryPerformanceFrequency(&frequency);
  return std::to_string(count.QuadPart / (frequency.QuadPart / 1000));
}

void Connected(void*) { Say("connected " + Now()); }
void Disconnected(void*) { Say("disconnected " + Now()); }

std::string Truth(bool value) { return value ? "true" : "false"; }

std::vector<std::uint8_t> Bytes(const std::string& hex) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

}  // namespace

int main() {
  corvane::test::UnbufferOutput();
  // The transport keeps pointers to the names.
  std::vector<std::string> names;
  names.reserve(1000);
  corvane::cComIO transport;
  Say("ready");
  for (auto command = corvane::test::NextCommand(); !command.empty();
       command = corvane::test::NextCommand()) {
    const std::string& verb = command[0];
    if (verb == "open") {
      names.push_back(command.size() > 1 ? command[1] : "");
      const std::string before = Now();
      const bool opened =
          transport.Open(names.back().c_str(), Connected, nullptr, Disconnected, nullptr);
      Say("open " + Truth(opened) + " " + before);
    } else if (verb == "close") {
      transport.Close();
      Say("closed");
    } else if (verb == "isopen") {
      Say("isopen " + Truth(transport.IsOpen()));
    } else if (verb == "write") {
      const std::vector<std::uint8_t> bytes = Bytes(command.size() > 1 ? command[1] : "");
      Say("write " + Truth(transport.Write(bytes.data(), static_cast<DWORD>(bytes.size()))));
    } else if (verb == "list") {
      for (const corvane::sComPort& port : corvane::ListComPorts()) {
        Say("port\t" + port.name + "\t" + port.description);
      }
      Say("listed");
    } else if (verb == "quit") {
      break;
    } else {
      Say("unknown command " + verb);
    }
  }
  return 0;
}
