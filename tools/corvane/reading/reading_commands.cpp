#include "corvane/reading/reading_commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>
#include <tuple>

#include "corvane/command/command_line.h"
#include "corvane/reading/open_capture.h"

namespace corvane::tools {
namespace {

// Names the places that are wrong, as far as they are kept.
void ReportDamage(const char* command, const std::string& path, const cDamage& damage,
                  std::ostream& errors) {
  for (const sCaptureError& error : damage.Kept()) {
    std::ignore = ReportUnreadable(command, path, error, errors);
  }
  const std::uint64_t more = damage.Count() - damage.Kept().size();
  if (more != 0) {
    errors << fmt::format("corvane {}: {}: {} more place{} wrong\n", command, InputName(path), more,
                          more == 1 ? " is" : "s are");
  }
}

// A closed file's check has named an item that cannot be read already.
[[nodiscard]] bool IsNamed(const cDamage& damage, const sCaptureError& unreadable) {
  return std::any_of(
      damage.Kept().begin(), damage.Kept().end(),
      [&unreadable](const sCaptureError& error) { return error.offset == unreadable.offset; });
}

}  // namespace

int ReportUnreadable(const char* command, const std::string& path, const sCaptureError& error,
                     std::ostream& errors) {
  const char* const hint = error.message == kNoCapture
                               ? "; if it is a raw stream, corvane import makes a capture of it"
                               : "";
  errors << fmt::format("corvane {}: {}: {}{}\n", command, InputName(path), error.Text(), hint);
  return kExitFailed;
}

int ReportEnd(const char* command, const std::string& path, const cCaptureFile& file,
              const std::optional<sCaptureError>& unreadable, const std::ostream& out,
              std::ostream& errors) {
  if (!out) {
    errors << fmt::format("corvane {}: the output cannot be written\n", command);
    return kExitFailed;
  }
  return ReportState(command, path, file, unreadable, errors);
}

int ReportState(const char* command, const std::string& path, const cCaptureFile& file,
                const std::optional<sCaptureError>& unreadable, std::ostream& errors) {
  const cDamage& damage = file.AllDamage();
  ReportDamage(command, path, damage, errors);
  if (unreadable && !IsNamed(damage, *unreadable)) {
    return ReportUnreadable(command, path, *unreadable, errors);
  }
  if (damage.Count() != 0) {
    return kExitFailed;
  }
  if (file.IsComplete()) {
    return kExitGood;
  }
  errors << fmt::format(
      "corvane {}: {}: the file was not closed: it has no trailer after its {} good item{}\n",
      command, InputName(path), file.ItemCount(), file.ItemCount() == 1 ? "" : "s");
  return kExitUnclosed;
}

}  // namespace corvane::tools
