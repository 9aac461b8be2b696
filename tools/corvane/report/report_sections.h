#pragma once

#include <optional>
#include <string>
#include <vector>

#include "analysis/verification.h"
#include "corvane/report/report_findings.h"
#include "reader/capture_file.h"

// The parts of a report's page, each as HTML.
namespace corvane::tools {

// The rules of the format that a damaged file breaks: the first places, and how many there are.
struct sViolations {
  static constexpr std::size_t kMostKept = 100;

  std::vector<sViolation> first;
  std::uint64_t count = 0;
};

// What a report is made of.
struct sReportSource {
  std::string name;       // of the capture, in UTF-8
  std::string selection;  // the options that selected its items; empty for all of them
  const cCaptureFile& file;
  const sReportFindings& findings;
  // The first item that could not be read.
  std::optional<sCaptureError> unreadable;
  sViolations violations;
};

// Something that is wrong with a capture.
struct sTrouble {
  bool isGrave = false;  // the capture is not what it should be
  std::string what;      // "gap of more than 5 s"
  std::uint64_t times = 0;
  std::optional<std::uint64_t> firstTime;  // of what is known to have a time
  std::string details;                     // where, how long, which
};

// All that is wrong, the gravest first.
[[nodiscard]] std::vector<sTrouble> TroublesOf(const sReportSource& source);

[[nodiscard]] std::string VerdictSection(const sReportSource& source,
                                         const std::vector<sTrouble>& troubles);
[[nodiscard]] std::string TroubleSection(const std::vector<sTrouble>& troubles);
[[nodiscard]] std::string FactsSection(const sReportSource& source);

[[nodiscard]] std::string StretchesTable(const sReportFindings& findings);
[[nodiscard]] std::string TypesTable(const sReportFindings& findings);
[[nodiscard]] std::string MarkersTable(const sReportFindings& findings);
[[nodiscard]] std::string ConnectionsSection(const sReportFindings& findings);
[[nodiscard]] std::string GapsSection(const sReportFindings& findings);
[[nodiscard]] std::string RequestsSection(const sReportFindings& findings);
[[nodiscard]] std::string MostFrequentSection(const sReportFindings& findings);
[[nodiscard]] std::string LadderSection(const sReportFindings& findings);
[[nodiscard]] std::string CellsSection(const sReportFindings& findings);

// What the charts show, as JSON that may stand in a script element.
[[nodiscard]] std::string ChartData(const sReportFindings& findings);

}  // namespace corvane::tools
