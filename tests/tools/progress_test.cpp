#include "corvane/command/progress.h"

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <regex>
#include <sstream>
#include <string>

#include "convert/memory_sink.h"
#include "corvane/making/export_command.h"
#include "corvane/making/rewriting_commands.h"
#include "corvane/reading/capture_statistics.h"
#include "corvane/reading/reading_commands.h"
#include "corvane/report/report_command.h"
#include "reader/capture_builder.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

// Whatever is looked at takes two seconds.
[[nodiscard]] std::chrono::steady_clock::time_point HurriedClock() {
  static std::chrono::steady_clock::time_point time;
  return time += std::chrono::seconds(2);
}

// A command that reads the capture at a path, of which it wants what the selection says.
struct sBusyCommand {
  const char* name;
  std::function<int(const std::string& path, const sSelection& selection, std::ostream& errors)>
      run;
};

// As tests tell it.
void PrintTo(const sBusyCommand& command, std::ostream* out) { *out << command.name; }

[[nodiscard]] int List(const sListRequest& request, std::ostream& errors) {
  cMemorySink sink;
  return ListItems(request, sink, errors);
}

const sBusyCommand kCommands[] = {
    {"list",
     [](const auto& path, const auto& selection, auto& errors) {
       return List({{path, selection}}, errors);
     }},
    {"count",
     [](const auto& path, const auto& selection, auto& errors) {
       return List({{path, selection}, {}, eListForm::Count}, errors);
     }},
    {"tail",
     [](const auto& path, const auto& selection, auto& errors) {
       return List({{path, selection}, 3}, errors);
     }},
    {"stats",
     [](const auto& path, const auto& selection, auto& errors) {
       sStatisticsRequest request;
       request.path = path;
       request.selection = selection;
       std::ostringstream out;
       return ShowStatistics(request, out, errors);
     }},
    {"cut",
     [](const auto& path, const auto& selection, auto& errors) {
       std::ostringstream out;
       return CutFile({path, path + ".cut", false, selection}, out, errors);
     }},
    {"report",
     [](const auto& path, const auto& selection, auto& errors) {
       return MakeReport({path, path + ".html", false, selection, ""}, errors);
     }},
    {"export",
     [](const auto& path, const auto& selection, auto& errors) {
       sExportRequest request;
       request.path = path;
       request.output = path + ".pcapng";
       request.selection = selection;
       return ExportCapture(request, errors);
     }},
};

class ProgressTest : public ::testing::Test {
 protected:
  // A capture of two blocks.
  [[nodiscard]] std::string MakeCapture() const {
    cCaptureBuilder builder;
    for (std::uint64_t number = 0; number < 9000; ++number) {
      builder.Add({1, kNoon + number, Hex("1D 01"), {}});
    }
    return folder.Write("drive.isf", builder.Closed());
  }

  // How many bars were drawn and wiped out again.
  [[nodiscard]] static std::ptrdiff_t BarsIn(const std::string& shown) {
    const std::regex wiped("%\\r +\\r");
    return std::distance(std::sregex_iterator(shown.begin(), shown.end(), wiped), {});
  }

  cTempDirectory folder;
};

class SearchProgressTest : public ProgressTest,
                           public ::testing::WithParamInterface<sBusyCommand> {};

TEST_P(SearchProgressTest, ASearchThatFindsNothingShowsABar) {
  sSelection selection;
  selection.contains = "what nobody said";
  const std::string path = MakeCapture();
  const cProgressByClock clock(HurriedClock);
  std::ostringstream errors;
  ::testing::internal::CaptureStderr();
  std::ignore = GetParam().run(path, selection, errors);
  const std::string shown = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(errors.str().find("no item is selected"), std::string::npos) << errors.str();
  // One of opening the capture, and one of the search.
  EXPECT_GE(BarsIn(shown), 2) << shown;
}

INSTANTIATE_TEST_SUITE_P(Commands, SearchProgressTest, ::testing::ValuesIn(kCommands),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(ProgressTest, OpeningALargeCaptureShowsABar) {
  const std::string path = MakeCapture();
  const cProgressByClock clock(HurriedClock);
  std::ostringstream out;
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(ShowInfo(path, false, out, out), 0);
  EXPECT_EQ(BarsIn(::testing::internal::GetCapturedStderr()), 1);
}

TEST_F(ProgressTest, TheBarDoesNothingToATerminal) {
  const cProgressByClock clock(HurriedClock);
  ::testing::internal::CaptureStderr();
  {
    cProgress progress("a\x1B[2J\rb\u202E.isf", 2);
    progress.ShowNow(1);
  }
  const std::string shown = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(shown.find("\ra\\x1B[2J\\x0Db\\u202E.isf  ["), std::string::npos) << shown;
}

}  // namespace
}  // namespace corvane::tools
