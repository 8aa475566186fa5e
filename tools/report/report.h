#ifndef CORVANE_TOOLS_REPORT_REPORT_H_
#define CORVANE_TOOLS_REPORT_REPORT_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/documents/documents.h"

/// The page of `corvane report`.
namespace corvane::tools {

/// A unit or a dump with what its data sets hold.
struct ReportSubject {
  ReportSubject(std::string name, UnitImage image);

  std::string name;
  UnitImage image;
  std::optional<DiagnosticReport> diagnosticData;
  std::optional<AreaReport> configuration;
};

/// The state of a unit in short.
struct UnitVerdict {
  /// "bad", "open" or "good".
  std::string level = "open";
  /// "Failed", "Failed, or poisoned", "Damaged", "Incomplete", "Uncommitted", "Passed",
  /// "Not tested" or "Sound".
  std::string headline = "Not tested";
  /// Whole sentences, the gravest first.
  std::vector<std::string> details = {};
};

UnitVerdict verdictOn(const ReportSubject& subject);

/// Returns one HTML page about the subjects. `chartSvg` is a chart of processor use to show, or
/// empty.
std::string reportPage(const std::vector<ReportSubject>& subjects, const std::string& chartSvg);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_REPORT_REPORT_H_
