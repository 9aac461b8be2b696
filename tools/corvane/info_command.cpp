#include <fmt/format.h>

#include <iostream>
#include <memory>
#include <utility>

#include "corvane/capture_summary.h"
#include "corvane/command_line.h"
#include "corvane/reading_commands.h"
#include "reader/capture_file.h"

namespace corvane::tools {
namespace {

[[nodiscard]] std::string FormatFile(const std::string& path, const cCaptureFile& file) {
  const char* state = "damaged";
  if (file.IsComplete()) {
    state = "complete";
  } else if (file.State() == eCaptureState::Unclosed) {
    state = "not closed";
  }
  std::string text = fmt::format(
      "File:         {}\nHeader:       0x{:08X}\nState:        {}\nSize:         {} bytes\n"
      "Blocks:       {}\nItems:        {}\n",
      path, isf::kHeaderMagic, state, file.Size(), file.Blocks().size(), file.ItemCount());
  if (file.PassedOver() != 0) {
    text += fmt::format("Passed over:  {}\n", file.PassedOver());
  }
  if (file.UnclaimedBytes() != 0) {
    text += fmt::format("In no item:   {} bytes\n", file.UnclaimedBytes());
  }
  return text;
}

}  // namespace

int ShowInfo(const std::string& path, std::ostream& out, std::ostream& errors) {
  sCaptureError error;
  const std::unique_ptr<cCaptureFile> file = cCaptureFile::Open(path, error);
  if (file == nullptr) {
    return ReportUnreadable("info", path, error, errors);
  }

  cCaptureSummary summary;
  std::optional<sCaptureError> unreadable;
  sCaptureItem item;
  for (auto number = file->NextItem(0); number; number = file->NextItem(*number + 1)) {
    auto wrong = file->ReadItem(*number, item);
    if (!wrong) {
      summary.Add(item);
    } else if (!unreadable) {
      unreadable = std::move(wrong);
    }
  }
  out << FormatFile(path, *file) << summary.Format() << std::flush;
  return ReportEnd("info", path, *file, unreadable, out, errors);
}

void AddInfoCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command =
      app.add_subcommand("info", "Tells what is in a capture file, and whether it is good");
  const auto path = std::make_shared<std::string>();
  command->add_option("FILE", *path, "The capture file")->required();
  command->footer(kReadingExitCodes);
  command->callback([path, &exitCode] { exitCode = ShowInfo(*path, std::cout, std::cerr); });
}

}  // namespace corvane::tools
