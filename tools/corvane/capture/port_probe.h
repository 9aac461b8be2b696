#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

// Asks a COM port whether a modem's DIAG service is behind it.
namespace corvane::tools {

// How long a port is listened to.
inline constexpr std::chrono::milliseconds kProbeTime = std::chrono::seconds(2);

// An open port.
class cProbedLine {
 public:
  virtual ~cProbedLine() = default;
  // False when not all of it was written.
  [[nodiscard]] virtual bool Write(std::span<const std::uint8_t> bytes) = 0;
  // What comes within a fraction of a second, or nothing at all where reading fails. Empty when
  // nothing has come.
  [[nodiscard]] virtual std::optional<std::vector<std::uint8_t>> Read() = 0;
};

struct sProbeAnswer {
  enum class eOutcome { Answered, Silent, NotOpened, Failed };
  eOutcome outcome = eOutcome::Silent;
  std::string text;  // what was answered, or why there is none; in a few words
};

// Sends one DIAG request, which asks for the version, and listens for its answer until `isOver`
// says that the time is. Other packets that a modem sends by itself are passed over, and so is the
// echo of the request, which a port for AT commands sends.
[[nodiscard]] sProbeAnswer AskVersion(cProbedLine& line, const std::function<bool()>& isOver);

}  // namespace corvane::tools
