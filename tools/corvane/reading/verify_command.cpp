#include "corvane/reading/verify_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>

#include "analysis/verification.h"
#include "corvane/command/command_line.h"
#include "corvane/command/help.h"
#include "corvane/command/progress.h"
#include "corvane/command/readable_text.h"
#include "corvane/reading/open_capture.h"
#include "reader/byte_source.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;

// The lines of several files, each looked at by a thread of its own, in the order of the files.
class cLines {
 public:
  cLines(std::ostream& output, std::ostream& errorOutput) : out(output), errors(errorOutput) {}

  // Lines of a file that has more. Waits until the files in front of it have ended, so that no more
  // has to be kept; the first file that has not ended waits for none.
  void Write(std::size_t file, const std::string& lines) {
    std::unique_lock guard(lock);
    turnCame.wait(guard, [&] { return turn == file; });
    out << lines;
  }

  // The last lines of a file, which are kept until its turn, and what was wrong with it.
  void End(std::size_t file, const std::string& lines, const std::string& complaint) {
    const std::lock_guard guard(lock);
    ended[file] = {lines, complaint};
    for (auto next = ended.begin(); next != ended.end() && next->first == turn; ++turn) {
      out << next->second.lines;
      errors << next->second.complaint;
      next = ended.erase(next);
    }
    turnCame.notify_all();
  }

 private:
  struct sEnd {
    std::string lines;
    std::string complaint;
  };

  std::mutex lock;
  std::condition_variable turnCame;
  std::size_t turn = 0;  // the first file that has not ended
  std::map<std::size_t, sEnd> ended;
  std::ostream& out;
  std::ostream& errors;
};

// A text of JSON; a path or a problem may hold bytes that are no UTF-8.
[[nodiscard]] std::string Line(const Json& object) { return JsonText(object) + '\n'; }

// One violation after the other, of one file.
class cFileReport {
 public:
  cFileReport(std::size_t place, const sVerifyFiles& wanted, cLines& lines)
      : number(place),
        path(InputName(wanted.paths[place])),
        shownPath(Readable(path)),
        request(wanted),
        out(lines) {}
  cFileReport(const cFileReport&) = delete;
  cFileReport& operator=(const cFileReport&) = delete;

  [[nodiscard]] bool Add(const sViolation& violation) {
    if (request.json) {
      Json line = {{"file", path},
                   {"offset", violation.offset},
                   {"rule", RuleName(violation.rule)},
                   {"problem", violation.problem}};
      if (violation.item) {
        line["item"] = *violation.item;
      }
      text += Line(line);
    } else {
      text += fmt::format("{}: offset {}: {}; rule {}: {}\n", shownPath, violation.offset,
                          violation.problem, RuleName(violation.rule), RuleText(violation.rule));
    }
    if (text.size() >= kPiece) {
      out.Write(number, text);
      text.clear();
    }
    return !request.onlyFirst;
  }

  // The verdict of a file that cannot be opened; in words it stands among the errors alone.
  void EndUnopened(const std::string& problem) {
    if (request.json) {
      text += Line({{"file", path}, {"verdict", "not opened"}, {"problem", problem}});
    }
    out.End(number, text, fmt::format("corvane verify: {}: {}\n", path, problem));
  }

  // The verdict. Returns the file's exit code.
  [[nodiscard]] int End(const sVerified& verified) {
    const int code = verified.violations != 0 ? kExitFailed
                     : verified.closed        ? kExitGood
                                              : kExitUnclosed;
    const char* const verdict = code == kExitFailed ? "damaged"
                                : code == kExitGood ? "complete"
                                                    : "not closed";
    if (request.json) {
      text += Line({{"file", path},
                    {"verdict", verdict},
                    {"contents", request.contents},
                    {"violations", verified.violations},
                    {"items", verified.items},
                    {"blocks", verified.blocks},
                    {"bytes", verified.size}});
    } else {
      text += fmt::format("{}: {}: {}, {}", shownPath, verdict, FormatItems(verified.items),
                          FormatBytes(verified.size));
      if (code == kExitFailed) {
        text +=
            fmt::format(", {} violation{}{}", FormatCount(verified.violations),
                        verified.violations == 1 ? "" : "s", verified.endedEarly ? " so far" : "");
      }
      if (code == kExitUnclosed) {
        text += verified.remains.what == sClosingRemains::eWhat::Nothing
                    ? "; it has no block index and no trailer"
                    : fmt::format("; {}", verified.remains.Text());
      }
      text += request.contents ? "\n" : " (packets not looked at: --contents)\n";
    }
    out.End(number, text, "");
    return code;
  }

 private:
  static constexpr std::size_t kPiece = std::size_t{64} * 1024;

  const std::size_t number;
  const std::string path;
  const std::string shownPath;
  const sVerifyFiles& request;
  cLines& out;
  std::string text;
};

[[nodiscard]] int VerifyFile(std::size_t number, const sVerifyFiles& request, cLines& lines) {
  const std::string& path = request.paths[number];
  std::string reason;
  std::unique_ptr<cByteSource> source = OpenBytes(path, reason);
  cFileReport report(number, request, lines);
  if (source == nullptr) {
    report.EndUnopened(fmt::format("the file cannot be opened ({})", reason));
    return kExitFailed;
  }
  // Several bars would wipe each other out.
  cProgress progress(InputName(path), request.jobs == 1 ? source->Size().value_or(0) : 0);
  sVerifyRequest wanted;
  wanted.contents = request.contents;
  wanted.onViolation = [&](const sViolation& violation) {
    progress.Wipe();
    return report.Add(violation);
  };
  wanted.onProgress = [&progress](std::uint64_t offset) { progress.Show(offset); };
  const sVerified verified = VerifyCapture(std::move(source), wanted);
  progress.Wipe();
  return report.End(verified);
}

// A damaged file is worse than one that is not closed.
[[nodiscard]] int Worse(int one, int other) {
  const auto rank = [](int code) {
    return code == kExitFailed ? 2 : code == kExitUnclosed ? 1 : 0;
  };
  return rank(one) >= rank(other) ? one : other;
}

}  // namespace

int VerifyFiles(const sVerifyFiles& request, std::ostream& out, std::ostream& errors) {
  cLines lines(out, errors);
  std::atomic<std::size_t> next = 0;
  std::mutex lock;
  int worst = kExitGood;
  const auto work = [&] {
    for (std::size_t number = next++; number < request.paths.size(); number = next++) {
      const int code = VerifyFile(number, request, lines);
      const std::lock_guard guard(lock);
      worst = Worse(worst, code);
    }
  };
  std::vector<std::jthread> others;
  for (std::size_t job = 1; job < std::min(request.jobs, request.paths.size()); ++job) {
    others.emplace_back(work);
  }
  work();
  others.clear();
  out << std::flush;
  if (!out) {
    errors << "corvane verify: the output cannot be written\n";
    return kExitFailed;
  }
  return worst;
}

void AddVerifyCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command = app.add_subcommand(
      "verify", "Holds capture files to every rule of their format, and names all that break one");
  const auto request = std::make_shared<sVerifyFiles>();
  command->add_option("FILE", request->paths, "The capture files; - is standard input")->required();
  command->add_flag("--first", request->onlyFirst, "Stop at the first violation of each file");
  command->add_flag(
      "--contents", request->contents,
      "Hold each packet to the type of its item too: a log packet in an item of logs, "
      "a text in one of texts");
  command->add_flag("--json", request->json,
                    "Write JSON: an object a line for each violation, and one for each file");
  command->add_option("--jobs", request->jobs, "Look at so many files at a time [1]")
      ->type_name("N")
      ->check(CLI::Range(1, 64).description(""));
  AddHelp(
      *command,
      {{{"corvane verify drive.isf", "Every violation, with its offset and its rule"},
        {"corvane verify --first --jobs 4 *.isf", "Which of many captures are good"}},
       "A file that is still being recorded, or whose recorder died, keeps every rule as long as "
       "what there is of it is good. Without --contents packets are not looked at, and the verdict "
       "says "
       "so. With --json a file that cannot be opened has an object too: \"verdict\" is \"not "
       "opened\", and \"problem\" says why. "
       "docs/capture-format.md describes the format.",
       {"0 all files are complete and keep every rule", "1 one breaks a rule, or cannot be read",
        "2 wrong usage", "3 none breaks a rule, and one is not closed"}});
  command->callback(
      [request, &exitCode] { exitCode = VerifyFiles(*request, std::cout, std::cerr); });
}

}  // namespace corvane::tools
