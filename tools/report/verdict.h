#ifndef CORVANE_TOOLS_REPORT_VERDICT_H_
#define CORVANE_TOOLS_REPORT_VERDICT_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/documents/unit_image.h"
#include "tools/inspect/inspect.h"

namespace corvane::tools {

/// A unit or a dump with what its data sets hold.
struct ReportSubject {
  ReportSubject(std::string name, UnitImage image);

  std::string name;
  UnitImage image;
  std::optional<Dump> diagnosticData;
  std::optional<Dump> configuration;
};

/// The state of a unit in short.
struct UnitVerdict {
  enum class Level { kGood, kOpen, kBad };
  Level level = Level::kOpen;
  /// "Failed", "Failed, or poisoned", "Damaged", "Incomplete", "Uncommitted", "Passed",
  /// "Not tested" or "Sound".
  std::string headline;
  /// Whole sentences, the gravest first.
  std::vector<std::string> details;
};

UnitVerdict verdictOn(const ReportSubject& subject);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_REPORT_VERDICT_H_
