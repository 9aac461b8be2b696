#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>

#include "corvane/command/command_line.h"
#include "corvane/command/file_options.h"
#include "corvane/command/help.h"
#include "corvane/command/progress.h"
#include "corvane/command/readable_text.h"
#include "corvane/reading/capture_summary.h"
#include "corvane/reading/item_wording.h"
#include "corvane/reading/open_capture.h"
#include "corvane/reading/reading_commands.h"
#include "reader/capture_file.h"
#include "reader/utc_time.h"

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
      Readable(InputName(path)), isf::kHeaderMagic, state, file.Size(), file.Blocks().size(),
      file.ItemCount());
  if (file.PassedOver() != 0) {
    text += fmt::format("Passed over:  {}\n", file.PassedOver());
  }
  if (file.UnclaimedBytes() != 0) {
    text += fmt::format("In no item:   {} bytes\n", file.UnclaimedBytes());
  }
  return text;
}

// "1:02:03.456", with a sign in front when the clock was set back past the first item.
[[nodiscard]] std::string FormatSpan(std::uint64_t first, std::uint64_t last) {
  using namespace std::chrono_literals;
  using Milliseconds = std::chrono::duration<std::uint64_t, std::milli>;
  const bool backwards = last < first;
  const Milliseconds span(backwards ? first - last : last - first);
  return fmt::format("{}{}:{:02}:{:02}.{:03}", backwards ? "-" : "", span / 1h, span % 1h / 1min,
                     span % 1min / 1s, (span % 1s).count());
}

// The first item's time is its block's base time: only the last item's record is looked at, and no
// more than its head.
[[nodiscard]] std::string FormatTimes(cCaptureFile& file,
                                      std::optional<sCaptureError>& unreadable) {
  const auto first = std::find_if(file.Blocks().begin(), file.Blocks().end(),
                                  [](const sCaptureBlock& block) { return block.items != 0; });
  const std::optional<std::uint64_t> last = file.LastItem();
  if (first == file.Blocks().end() || !last) {
    return {};
  }
  std::string text = fmt::format("First item:   {}\n", FormatUtc(first->baseTime));
  std::uint64_t lastTime = 0;
  unreadable = file.ReadTime(*last, lastTime);
  if (!unreadable) {
    text += fmt::format("Last item:    {}\nDuration:     {}\n", FormatUtc(lastTime),
                        FormatSpan(first->baseTime, lastTime));
  }
  return text;
}

[[nodiscard]] std::string FormatTypes(cCaptureFile& file) {
  const auto totals = file.TotalsByType();
  std::string text;
  for (std::uint32_t type = 0; type < totals.size(); ++type) {
    if (totals[type].items != 0) {
      text += fmt::format("  {:>2} {:<18} {:>10}\n", type, ItemTypeName(type), totals[type].items);
    }
  }
  return text.empty() ? text : "\nItems by type\n" + text;
}

// Reads all items. Returns the first that could not be read.
[[nodiscard]] std::optional<sCaptureError> Summarise(cCaptureFile& file, const std::string& path,
                                                     cCaptureSummary& summary) {
  cProgress progress(InputName(path), file.NumbersEnd());
  std::optional<sCaptureError> unreadable;
  sCaptureItem item;
  for (auto number = file.NextItem(0); number; number = file.NextItem(*number + 1)) {
    progress.Show(*number);
    auto wrong = file.ReadItem(*number, item);
    if (!wrong) {
      summary.Add(item);
    } else if (!unreadable) {
      unreadable = std::move(wrong);
    }
  }
  return unreadable;
}

}  // namespace

int ShowInfo(const std::string& path, bool deep, std::ostream& out, std::ostream& errors) {
  sCaptureError error;
  const std::unique_ptr<cCaptureFile> file =
      OpenCapture(path, error, deep ? eCheck::Records : eCheck::Directories);
  if (file == nullptr) {
    return ReportUnreadable("info", path, error, errors);
  }

  std::optional<sCaptureError> unreadable;
  out << FormatFile(path, *file) << FormatTimes(*file, unreadable) << FormatTypes(*file);
  if (deep) {
    cCaptureSummary summary;
    unreadable = Summarise(*file, path, summary);
    out << summary.Format();
  }
  out << std::flush;
  return ReportEnd("info", path, *file, unreadable, out, errors);
}

void AddInfoCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command =
      app.add_subcommand("info", "Tells what is in a capture file, and whether it is good");
  struct sRequest {
    std::string path;
    bool deep = false;
  };
  const auto request = std::make_shared<sRequest>();
  AddCaptureArgument(*command, request->path);
  command->add_flag("--deep", request->deep,
                    "Read the packets too: log codes, messages by channel, cells, events, texts");
  AddHelp(*command,
          {.examples = {{"corvane info drive.isf", "In moments, of a capture of any size"},
                        {"corvane info --deep drive.isf", "What its packets tell too"},
                        {"zcat drive.isf.gz | corvane info -", "A capture that is packed"}},
           .notes = "Without --deep no more is read than header, directories, block index, trailer "
                    "and the time of the last record: what is wrong in the records alone goes "
                    "unnoticed.",
           .exitCodes = ReadingExitCodes()});
  command->callback([request, &exitCode] {
    exitCode = ShowInfo(request->path, request->deep, std::cout, std::cerr);
  });
}

}  // namespace corvane::tools
