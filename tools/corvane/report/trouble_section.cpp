#include <fmt/format.h>

#include <algorithm>

#include "convert/unshown_messages.h"
#include "corvane/command/readable_text.h"
#include "corvane/report/html_text.h"
#include "corvane/report/report_sections.h"

namespace corvane::tools {
namespace {

// Builds the list: what did not happen is no row.
class cTroubles {
 public:
  void Add(bool isGrave, std::string what, std::uint64_t times,
           std::optional<std::uint64_t> firstTime, std::string details) {
    if (times != 0) {
      found.push_back({isGrave, std::move(what), times, firstTime, std::move(details)});
    }
  }

  void Add(std::string what, const sFault& fault) {
    Add(false, std::move(what), fault.items, fault.firstTime,
        fmt::format("first item {}", fault.firstItem));
  }

  [[nodiscard]] std::vector<sTrouble> Take() {
    std::stable_partition(found.begin(), found.end(),
                          [](const sTrouble& trouble) { return trouble.isGrave; });
    return std::move(found);
  }

 private:
  std::vector<sTrouble> found;
};

// What the reader found, where the file keeps the rules that can be held against it.
void AddDamage(const cDamage& damage, cTroubles& troubles) {
  for (const sCaptureError& error : damage.Kept()) {
    troubles.Add(true, "damage of the file", 1, std::nullopt, error.Text());
  }
  troubles.Add(true, "damage of the file", damage.Count() - damage.Kept().size(), std::nullopt,
               "more places than are listed");
}

void AddViolations(const sViolations& violations, cTroubles& troubles) {
  for (const sViolation& violation : violations.first) {
    troubles.Add(true, "damage of the file", 1, std::nullopt,
                 fmt::format("{}, at offset {}; the rule: {}", violation.problem, violation.offset,
                             RuleText(violation.rule)));
  }
  troubles.Add(true, "damage of the file", violations.count - violations.first.size(), std::nullopt,
               "more places than are listed: corvane verify names them");
}

void AddFile(const sReportSource& source, cTroubles& troubles) {
  const cCaptureFile& file = source.file;
  if (source.violations.count != 0) {
    AddViolations(source.violations, troubles);
  } else {
    AddDamage(file.AllDamage(), troubles);
  }
  if (source.unreadable) {
    troubles.Add(true, "item that cannot be read", 1, std::nullopt, source.unreadable->Text());
  }
  troubles.Add(true, "item passed over", file.PassedOver(), std::nullopt,
               "its entry or its record is bad");
  if (file.State() == eCaptureState::Unclosed) {
    troubles.Add(
        true, "file not closed", 1, std::nullopt,
        "its capture is still running, or ended without closing it, or the file is cut off");
  }
  if (file.UnclaimedBytes() != 0) {
    troubles.Add(file.State() == eCaptureState::Damaged, "bytes that belong to no item",
                 file.UnclaimedBytes(), std::nullopt, "between or behind the good records");
  }
}

// The last text of a capture that was stopped says that its port was disconnected.
[[nodiscard]] bool IsLost(const sConnection& connection, const sReportFindings& findings) {
  return connection.howEnded == eConnectionEnd::Replaced ||
         (connection.howEnded == eConnectionEnd::Disconnected &&
          connection.lastItem != findings.lastItem);
}

void AddConnections(const sReportFindings& findings, cTroubles& troubles) {
  for (const sConnection& connection : findings.connections.Kept()) {
    if (IsLost(connection, findings)) {
      troubles.Add(true, "connection lost", 1, connection.end,
                   fmt::format("{}, after {}, item {}", connection.port,
                               LengthText(connection.Length()), connection.lastItem));
    }
  }
  if (findings.statistics.All().items != 0 && findings.connections.Count() == 0) {
    troubles.Add(true, "no connection", 1, std::nullopt, "the modem was never there");
  }
}

void AddRequests(const sReportFindings& findings, cTroubles& troubles) {
  const sRequestTotals& totals = findings.requests.Totals();
  const auto first = [](const std::vector<sRequest>& requests) {
    return requests.empty() ? std::optional<std::uint64_t>() : requests.front().time;
  };
  const auto& refused = findings.requests.Refused();
  if (!refused.empty()) {
    troubles.Add(false, "request refused", totals.refused, first(refused),
                 fmt::format("first: {}: {}", refused.front().name, refused.front().refusal));
  }
  const std::vector<sRequest> unanswered = findings.requests.Unanswered();
  if (!unanswered.empty()) {
    troubles.Add(false, "request without a reply", totals.Unanswered(), first(unanswered),
                 fmt::format("first: {}", unanswered.front().name));
  }
}

void AddTimes(const sReportFindings& findings, cTroubles& troubles) {
  const std::vector<sGap> gaps = findings.gaps.Kept();
  if (!gaps.empty()) {
    troubles.Add(false, fmt::format("gap of more than {} s", sReportFindings::kGapLimit / 1000),
                 findings.gaps.Count(), gaps.front().start,
                 fmt::format("{} together, the longest {}", LengthText(findings.gaps.Total()),
                             LengthText(findings.gaps.Longest())));
  }
  const auto& steps = findings.gaps.ClockSteps();
  if (!steps.empty()) {
    troubles.Add(
        false, "clock set back", findings.gaps.ClockStepCount(), steps.front().from,
        fmt::format("first by {}, at item {}", LengthText(steps.front().from - steps.front().to),
                    steps.front().after));
  }
}

void AddMessages(const sReportFindings& findings, cTroubles& troubles) {
  const cItemFaults& faults = findings.faults;
  if (faults.Dropped() != 0) {
    troubles.Add(false, "debug message lost in the modem", faults.Dropped(),
                 faults.Dropping().firstTime,
                 fmt::format("at {} places, the first before item {}",
                             FormatCount(faults.Dropping().items), faults.Dropping().firstItem));
  }
  troubles.Add("packet cut off", faults.CutOff());
  troubles.Add("packet of an unknown kind", faults.Unknown());
  for (const auto& [log, count] : findings.messages.Incomplete()) {
    troubles.Add(false, "message with parts missing", count, std::nullopt,
                 LogCodeText(log.logCode));
  }
  for (const std::string& note : faults.NotUnderstood()) {
    troubles.Add(false, "signalling not understood", 1, std::nullopt, note);
  }
}

// "2 connections, 1 gap, 12 of 13 requests answered, 4,312 signalling messages, 23 cells"
[[nodiscard]] std::string Summary(const sReportFindings& findings) {
  const auto count = [](std::uint64_t number, const char* one, const char* several) {
    return fmt::format("{} {}", FormatCount(number), number == 1 ? one : several);
  };
  const sRequestTotals& totals = findings.requests.Totals();
  std::string text = count(findings.statistics.All().items, "item", "items") + " in " +
                     LengthText(findings.statistics.Span());
  text += "; " + count(findings.connections.Count(), "connection", "connections");
  text += "; " + count(findings.gaps.Count(), "gap", "gaps");
  if (totals.sent != 0) {
    text += fmt::format("; {} of {} answered", FormatCount(totals.answered),
                        count(totals.sent, "request", "requests"));
  }
  text += "; " + count(findings.ladder.Count(), "signalling message", "signalling messages");
  const std::size_t cells = findings.systemInformation.Cells().Cells().size();
  return text + "; " + count(cells, "cell", "cells");
}

}  // namespace

std::vector<sTrouble> TroublesOf(const sReportSource& source) {
  cTroubles troubles;
  AddFile(source, troubles);
  AddConnections(source.findings, troubles);
  AddRequests(source.findings, troubles);
  AddTimes(source.findings, troubles);
  AddMessages(source.findings, troubles);
  return troubles.Take();
}

std::string VerdictSection(const sReportSource& source, const std::vector<sTrouble>& troubles) {
  const char* kind = "good";
  std::string head = "Complete, and nothing wrong was found";
  if (source.file.State() == eCaptureState::Damaged || source.unreadable) {
    kind = "bad";
    head = "The file is damaged; what is good of it is shown";
  } else if (source.file.State() == eCaptureState::Unclosed) {
    kind = "odd";
    head = "The file was not closed; nothing contradicts its items";
  } else if (!troubles.empty()) {
    kind = "odd";
    head = "The file is complete, and something is worth a look";
  }
  std::string html = fmt::format("<p class=\"verdict {}\"><strong>{}</strong>\n<span>{}</span>",
                                 kind, head, HtmlText(Summary(source.findings)));
  if (!troubles.empty()) {
    html += fmt::format(
        "\n<span>{} listed under <a href=\"#wrong\">What is wrong</a></span>",
        troubles.size() == 1 ? "1 thing is" : fmt::format("{} things are", troubles.size()));
  }
  return html + "</p>";
}

std::string TroubleSection(const std::vector<sTrouble>& troubles) {
  if (troubles.empty()) {
    return "<p>Nothing.</p>\n";
  }
  std::string html;
  {
    cHtmlTable table(
        html, "The gravest first",
        {{"What"}, {"How often", eColumn::Number}, {"First (UTC)", eColumn::Time}, {"Details"}},
        troubles.size());
    for (const sTrouble& trouble : troubles) {
      table.Row();
      table.Cell(trouble.what, trouble.isGrave ? "bad" : "odd");
      table.Cell(FormatCount(trouble.times));
      table.Cell(trouble.firstTime ? HtmlTime(*trouble.firstTime) : std::string());
      table.Cell(trouble.details);
    }
  }
  return html;
}

}  // namespace corvane::tools
