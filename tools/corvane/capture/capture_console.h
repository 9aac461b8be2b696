#pragma once

#include <cstddef>
#include <mutex>
#include <string>

#include "corvane/capture/capture_host.h"
#include "corvane/capture/line_writer.h"

namespace corvane::tools {

// Where a capture tells its user and its supervisor what happens. Standard error gets lines, and a
// status line that is rewritten in place where it is a terminal; standard output gets events, a
// JSON object each. All of it comes out as whole lines. Every operation may be called from any
// thread, and none of them waits for the reader.
class cCaptureConsole final : public cCaptureReporter {
 public:
  struct sManner {
    bool isTerminal = false;  // standard error is read by a person
    bool quiet = false;       // nothing but problems
    bool events = false;      // to standard output
  };

  cCaptureConsole(const sManner& wanted, cLineWriter::WriteCall writeError,
                  cLineWriter::WriteCall writeOutput);

  // A line of information: none of it when quiet. Without its line end.
  void Tell(const std::string& line) override;
  // A line about something that is wrong: also when quiet. It begins with the program's name.
  void Complain(const std::string& problem) override;
  // A line as a complaint is one, and an event.
  void Warn(std::uint64_t time, const std::string& problem) override;
  // A line as it is, also when quiet.
  void Print(const std::string& line);
  // How far the capture has come. In a terminal it takes the place of the one before, else it is a
  // line of its own.
  void ShowStatus(const std::string& status);
  // The status that stands in a terminal stays there as a line.
  void EndStatus();
  // An event, as a JSON text without line end.
  void Report(const std::string& event);

  // Waits until all of it is written, but not for a reader that takes nothing.
  void Finish();

  [[nodiscard]] const sManner& Manner() const { return manner; }

 private:
  const sManner manner;
  std::mutex mutex;
  std::string shown;  // the status that stands in the terminal
  cLineWriter errors;
  cLineWriter output;
};

}  // namespace corvane::tools
