#include "corvane/reading_commands.h"

#include <fmt/format.h>

#include <ostream>

#include "corvane/command_line.h"

namespace corvane::tools {

int ReportUnreadable(const char* command, const std::string& path, const sCaptureError& error,
                     std::ostream& errors) {
  errors << fmt::format("corvane {}: {}: {}\n", command, path, error.Text());
  return kExitFailed;
}

int ReportEnd(const char* command, const std::string& path, const cCaptureFile& file,
              const std::optional<sCaptureError>& unreadable, const std::ostream& out,
              std::ostream& errors) {
  if (!out) {
    errors << fmt::format("corvane {}: the output cannot be written\n", command);
    return kExitFailed;
  }
  if (unreadable) {
    return ReportUnreadable(command, path, *unreadable, errors);
  }
  if (file.Damage()) {
    return ReportUnreadable(command, path, *file.Damage(), errors);
  }
  if (file.IsComplete()) {
    return kExitGood;
  }
  errors << fmt::format(
      "corvane {}: {}: the file was not closed: it has no trailer after its {} good item{}\n",
      command, path, file.ItemCount(), file.ItemCount() == 1 ? "" : "s");
  return kExitUnclosed;
}

}  // namespace corvane::tools
