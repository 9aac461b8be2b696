#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>

#include "analysis/selected_items.h"
#include "common/quantities.h"
#include "convert/byte_sink.h"
#include "corvane/command/command_line.h"
#include "corvane/command/file_options.h"
#include "corvane/command/help.h"
#include "corvane/command/named_numbers.h"
#include "corvane/command/progress.h"
#include "corvane/command/standard_streams.h"
#include "corvane/live/live_output.h"
#include "corvane/live/shown_growth.h"
#include "corvane/reading/item_lines.h"
#include "corvane/reading/open_capture.h"
#include "corvane/reading/reading_commands.h"
#include "corvane/reading/selection_options.h"
#include "reader/capture_file.h"
#include "reader/item_follower.h"

namespace corvane::tools {
namespace {

constexpr char kListCommand[] = "list";

// Columns of the numbers of a capture that grows: up to a million items they stay aligned.
constexpr std::size_t kGrowingWidth = 6;

[[nodiscard]] std::unique_ptr<cItemExport> MakeListing(const sListRequest& request,
                                                       std::size_t numberWidth, cByteSink& out) {
  sExportOptions options;
  options.fields = request.fields;
  options.separator = request.separator;
  switch (request.form) {
    case eListForm::Separated:
      return MakeExport(eExportFormat::Separated, options, out);
    case eListForm::Json:
      return MakeExport(eExportFormat::Jsonl, options, out);
    case eListForm::Csv:
      return MakeExport(eExportFormat::Csv, options, out);
    default:
      return std::make_unique<cItemLines>(numberWidth, request.hex, out);
  }
}

// Raises the lower bound to the first of the last so many items.
void CutToLast(cCaptureFile& file, const std::string& path, std::optional<std::uint64_t> last,
               sSelection& selection) {
  if (last) {
    cProgress progress(InputName(path), file.NumbersEnd());
    const auto first =
        FindLast(file, selection, *last, [&](std::uint64_t done) { progress.ShowNow(done); });
    if (first) {
      selection.from.number = first;
    }
  }
}

[[nodiscard]] sShown Count(cCaptureFile& file, const sShowing& showing, cByteSink& out) {
  sShown shown;
  if (showing.selection.IsEverything()) {
    shown.outcome.selected = file.ItemCount();
  } else {
    cSelectedItems items(file, showing.selection);
    cProgress progress(InputName(showing.path), file.NumbersEnd());
    items.TellSearch([&](std::uint64_t number) { progress.ShowNow(number); });
    while (items.Skip()) {
      progress.Show(items.Position());
    }
    shown = {items.Outcome(), items.Unreadable()};
  }
  out.Write(fmt::format("{}\n", shown.outcome.selected));
  return shown;
}

[[nodiscard]] sShown List(cCaptureFile& file, const sListRequest& request, cByteSink& out) {
  sShowing showing = request.showing;
  CutToLast(file, showing.path, request.last, showing.selection);
  const std::unique_ptr<cItemExport> listing =
      MakeListing(request, std::to_string(file.NumbersEnd()).size(), out);
  // On a terminal the list itself shows how far it is, unless nothing is found.
  showing.sharesTerminal = StandardOutputIsTerminal();
  cProgress progress(InputName(showing.path), file.NumbersEnd());
  return ShowItems(file, showing, out, *listing, progress);
}

// Lists what is there and what the capture grows by, until it is closed or the user wants no more.
[[nodiscard]] int FollowList(sListRequest request, std::ostream& errors) {
  const std::string& path = request.showing.path;
  cItemFollower follower(path);
  if (follower.Look() == eFollowing::Lost) {
    return ReportUnreadable(kListCommand, path, *follower.Trouble(), errors);
  }
  sCaptureError nothingYet;
  if (const auto file = cCaptureFile::Open(path, nothingYet, eCheck::Directories)) {
    CutToLast(*file, path, request.last, request.showing.selection);
  }
  const std::unique_ptr<cLiveOutput> output = MakeLiveStandardOutput();
  const std::unique_ptr<cItemExport> listing = MakeListing(request, kGrowingWidth, *output);
  return ShowGrowth(kListCommand, request.showing, kStandardOutputName, follower, *listing, *output,
                    errors);
}

}  // namespace

int ListItems(const sListRequest& request, cByteSink& out, std::ostream& errors) {
  const std::string& path = request.showing.path;
  sCaptureError error;
  const std::unique_ptr<cCaptureFile> file = OpenCapture(path, error);
  if (file == nullptr) {
    return ReportUnreadable(kListCommand, path, error, errors);
  }
  const sShown shown = request.form == eListForm::Count ? Count(*file, request.showing, out)
                                                        : List(*file, request, out);
  out.Flush();
  if (out.ReaderIsGone()) {
    return kExitGood;  // whoever read had enough
  }
  if (!out.IsGood()) {
    errors << fmt::format("corvane {}: the output cannot be written\n", kListCommand);
    return kExitFailed;
  }
  ReportNothingSelected(kListCommand, path, shown.outcome, errors);
  const int exitCode = ReportState(kListCommand, path, *file, shown.unreadable, errors);
  return request.form == eListForm::Count ? exitCode
                                          : EndWithMarkers(kListCommand, path, exitCode, errors);
}

namespace {

// What was typed, beside the request that it makes.
struct sListArguments {
  sListRequest request;
  bool json = false;
  bool csv = false;
  bool count = false;
  bool follow = false;
};

// Field names with hyphens for underscores, as NearestNames compares them.
[[nodiscard]] std::vector<std::string> HyphenatedFields() {
  std::vector<std::string> names;
  for (const sItemField& field : ItemFields()) {
    names.push_back(Hyphenate(field.name));
  }
  return names;
}

[[nodiscard]] const sItemField* FieldOf(const std::string& name) {
  const sItemField* const field = FindItemField(name);
  if (field != nullptr) {
    return field;
  }
  if (name.empty()) {
    throw CLI::ValidationError("--fields", "a name is empty");
  }
  std::string problem = fmt::format("there is no field \"{}\"", name);
  const char* before = "; the nearest: ";
  for (std::string nearest : NearestNames(HyphenatedFields(), name, 3)) {
    std::replace(nearest.begin(), nearest.end(), '-', '_');
    problem += std::exchange(before, ", ") + nearest;
  }
  throw CLI::ValidationError("--fields", problem);
}

void TakeField(const std::string& name, std::vector<const sItemField*>& fields) {
  const sItemField* const field = FieldOf(name);
  if (std::find(fields.begin(), fields.end(), field) != fields.end()) {
    throw CLI::ValidationError("--fields", fmt::format("\"{}\" is named twice", name));
  }
  fields.push_back(field);
}

void AddFormOptions(CLI::App& command, const std::shared_ptr<sListArguments>& arguments) {
  const auto takeFields = [arguments](const std::vector<std::string>& lists) {
    arguments->request.fields.clear();
    for (const std::string& list : lists) {
      std::size_t comma = 0;
      for (std::size_t begin = 0; comma != std::string::npos; begin = comma + 1) {
        comma = list.find(',', begin);
        TakeField(list.substr(begin, comma - begin), arguments->request.fields);
      }
    }
  };
  command
      .add_option_function<std::vector<std::string>>(
          "--fields", takeFields,
          "Only these fields of each item, in this order, instead of a line in words: those of "
          "corvane export --format csv")
      ->allow_extra_args(false)
      ->type_name("FIELD[,FIELD]");
  const auto takeSeparator = [arguments](const std::string& text) {
    if (text.empty()) {
      throw CLI::ValidationError("--separator", "it is empty");
    }
    arguments->request.separator = text == "\\t" ? "\t" : text;
  };
  command
      .add_option_function<std::string>("--separator", takeSeparator,
                                        "What stands between the fields instead of a tab")
      ->type_name("TEXT");
  command.add_flag("--json", arguments->json, "An object of JSON a line, with all fields or these");
  command.add_flag("--csv", arguments->csv, "The same as CSV, with a line of names in front");
  command.add_flag("--hex", arguments->request.hex, "Show the bytes of each item too");
}

void AddAmountOptions(CLI::App& command, const std::shared_ptr<sListArguments>& arguments) {
  const auto addAmount = [&command](const char* option, std::optional<std::uint64_t>& amount,
                                    const char* help) {
    const auto take = [option, &amount](const std::string& text) {
      amount = ParseUnsigned<std::uint64_t>(text);
      if (!amount || *amount == 0) {
        throw CLI::ValidationError(option, "\"" + text + "\" is no number of items from 1 on");
      }
    };
    command.add_option_function<std::string>(option, take, help)->type_name("N");
  };
  addAmount("--head", arguments->request.showing.most, "No more items than these, the first");
  addAmount("--tail", arguments->request.last, "No more items than these, the last");
  command.add_flag("--count", arguments->count, "Tell only how many items there are");
  command.add_flag(
      "--follow", arguments->follow,
      "Go on with what is recorded, until the capture is closed or Ctrl-C. A file "
      "that is empty is waited for, one that is missing is not, and one that is removed "
      "or renamed meanwhile goes on being followed. A marker that is set "
      "for a time that was listed already comes as soon as it is set");
}

// What has no sense together.
void CheckArguments(const CLI::App& command) {
  const auto given = [&command](const char* option) { return command.count(option) != 0; };
  const auto refuse = [&given](const char* option, std::initializer_list<const char*> others) {
    for (const char* const other : others) {
      if (given(option) && given(other)) {
        throw CLI::ValidationError(option, fmt::format("it makes no sense with {}", other));
      }
    }
  };
  refuse("--json", {"--csv", "--hex", "--separator", "--count"});
  refuse("--csv", {"--hex", "--separator", "--count"});
  refuse("--fields", {"--hex", "--count"});
  refuse("--hex", {"--count"});
  refuse("--head", {"--tail", "--count"});
  refuse("--tail", {"--count"});
  refuse("--follow", {"--count"});
  if (given("--separator") && !given("--fields")) {
    throw CLI::ValidationError("--separator", "it stands between --fields");
  }
}

[[nodiscard]] eListForm FormOf(const sListArguments& arguments) {
  if (arguments.count) {
    return eListForm::Count;
  }
  if (arguments.json) {
    return eListForm::Json;
  }
  if (arguments.csv) {
    return eListForm::Csv;
  }
  return arguments.request.fields.empty() ? eListForm::Lines : eListForm::Separated;
}

[[nodiscard]] int RunList(sListArguments& arguments) {
  arguments.request.form = FormOf(arguments);
  SurviveClosedPipes();
  if (arguments.follow) {
    return FollowList(arguments.request, std::cerr);
  }
  // Rows are the same on every system; lines end as the system's texts do.
  if (arguments.request.form != eListForm::Lines && arguments.request.form != eListForm::Count) {
    MakeStandardOutputBinary();
  }
  cStreamSink out(stdout);
  return ListItems(arguments.request, out, std::cerr);
}

}  // namespace

void AddListCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command = app.add_subcommand(
      kListCommand,
      "Lists the items of a capture file, one a line: number, UTC time, item type, DIAG command, "
      "length in bytes, and what it is, in the field's words; and the markers between them");
  const auto arguments = std::make_shared<sListArguments>();
  AddCaptureArgument(*command, arguments->request.showing.path);
  AddFormOptions(*command, arguments);
  AddAmountOptions(*command, arguments);
  AddSelectionOptions(*command, arguments->request.showing.selection);
  AddHelp(
      *command,
      {{{"corvane list drive.isf", "Every item, a line each"},
        {"corvane list --type signalling-log --hex drive.isf",
         "Logs of the signalling set, with their bytes"},
        {"corvane list --log-code 0xB0C0,nr-rrc-ota --from +90s --to +2m drive.isf",
         "RRC messages of LTE and NR in half a minute of the capture"},
        {"corvane list --level error,fatal --contains timeout drive.isf",
         "Debug messages of errors with that word in their text"},
        {"corvane list --fields time,message,physical_cell --log-code lte-rrc-ota drive.isf",
         "Some fields of LTE RRC messages, with tabs between them"},
        {"corvane list --direction to --count drive.isf", "How many requests were sent"}},
       kSelectionNotes,
       {"0 the file is complete, or nobody reads the output any more",
        "1 it is damaged or cannot be read (what is good of it is still shown)", "2 wrong usage",
        "3 it was not closed: its capture is still running, or ended without closing it, or "
        "the file is cut off behind its last record (nothing contradicts the items shown)"}});
  command->callback([command, arguments, &exitCode] {
    CheckArguments(*command);
    if (arguments->follow && arguments->request.showing.path == kStandardInput) {
      throw CLI::ValidationError("--follow",
                                 "a file that grows has a name: it is not standard input");
    }
    exitCode = RunList(*arguments);
  });
}

}  // namespace corvane::tools
