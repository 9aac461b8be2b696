#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "modem_sim/bytes.h"
#include "modem_sim/unique_fd.h"

namespace corvane::modem_sim {

using Json = nlohmann::ordered_json;

// Writes what happens as JSON lines: packets ({"seq":...}) and events ({"event":...}), in the order
// in which they happen. docs/modem-simulator.md describes every field.
//
// Without a report file all lines go to standard output. With one all lines go there, and the
// events to standard output as well, so that whoever started the simulator learns the terminal's
// path.
class cReport {
 public:
  // `output` is the descriptor of standard output, which stays the caller's; `file` may be closed.
  // `packets` false leaves the packets out.
  cReport(int output, cUniqueFd file, bool packets);

  // A packet. "seq" is put in front: packets are numbered from 0 in the order of these calls.
  void Packet(const Json& fields);
  void Event(const std::string& name, const Json& fields = Json::object());

  // Writes out what was reported since the last call. False when the report could not be written:
  // whoever compares it with something must not take it for whole.
  [[nodiscard]] bool Flush();

 private:
  int output;
  cUniqueFd file;
  bool packets;
  std::uint64_t sequence = 0;
  std::string forOutput;
  std::string forFile;
};

}  // namespace corvane::modem_sim
