#include "corvane/capture/capture_console.h"

#include <fmt/format.h>

#include <utility>

#include "corvane/capture/capture_events.h"

namespace corvane::tools {
namespace {

// A terminal that is narrower would break the status line, and could not rewrite it.
constexpr std::size_t kLongestStatus = 79;

[[nodiscard]] std::string OmittedLines(std::uint64_t count) {
  return fmt::format("corvane capture: {} lines are missing here: nobody read them in time\n",
                     count);
}

[[nodiscard]] std::string OmittedEvents(std::uint64_t count) {
  return fmt::format("{{\"event\":\"omitted\",\"events\":{}}}\n", count);
}

}  // namespace

cCaptureConsole::cCaptureConsole(const sManner& wanted, cLineWriter::WriteCall writeError,
                                 cLineWriter::WriteCall writeOutput)
    : manner(wanted),
      errors(std::move(writeError), OmittedLines),
      output(std::move(writeOutput), OmittedEvents) {}

void cCaptureConsole::Tell(const std::string& line) {
  if (!manner.quiet) {
    Print(line);
  }
}

void cCaptureConsole::Complain(const std::string& problem) { Print("corvane capture: " + problem); }

void cCaptureConsole::Warn(std::uint64_t time, const std::string& problem) {
  Complain("warning: " + problem);
  Report(ProblemEvent(time, "warning", problem));
}

void cCaptureConsole::Print(const std::string& line) {
  const std::lock_guard guard(mutex);
  if (shown.empty()) {
    errors.Put(line + '\n');
    return;
  }
  // Blanks wipe out what is left of a longer status, which stands below the line then.
  const std::size_t leftOver = shown.size() > line.size() ? shown.size() - line.size() : 0;
  errors.Put('\r' + line + std::string(leftOver, ' ') + '\n' + shown);
}

void cCaptureConsole::ShowStatus(const std::string& status) {
  if (manner.quiet) {
    return;
  }
  const std::lock_guard guard(mutex);
  if (!manner.isTerminal) {
    errors.Put(status + '\n');
    return;
  }
  const std::string line = status.substr(0, kLongestStatus);
  const std::size_t leftOver = shown.size() > line.size() ? shown.size() - line.size() : 0;
  errors.Put('\r' + line + std::string(leftOver, ' ') + std::string(leftOver, '\b'));
  shown = line;
}

void cCaptureConsole::EndStatus() {
  const std::lock_guard guard(mutex);
  if (!std::exchange(shown, {}).empty()) {
    errors.Put("\n");
  }
}

void cCaptureConsole::Report(const std::string& event) {
  if (manner.events) {
    output.Put(event + '\n');
  }
}

void cCaptureConsole::Finish() {
  EndStatus();
  errors.Finish();
  output.Finish();
}

}  // namespace corvane::tools
