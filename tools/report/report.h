#ifndef CORVANE_TOOLS_REPORT_REPORT_H_
#define CORVANE_TOOLS_REPORT_REPORT_H_

#include <string>
#include <utility>
#include <vector>

#include "tools/documents/documents.h"

/// The page of `corvane report`.
namespace corvane::tools {

enum class Level { kBad, kOpen, kGood };

/// What is to be said of a unit.
struct Statement {
  Level level;
  /// "Failed", "Failed, or poisoned", "Damaged", "Incomplete", "Uncommitted", "Passed",
  /// "Not tested" or "Sound".
  std::string headline;
  std::string detail;  ///< A whole sentence.
};

/// Returns at least one statement on a unit or a dump, the gravest first.
std::vector<Statement> statementsOn(const UnitImage& image);

/// Returns one HTML page about the units and dumps, each with its name. `chartSvg` is a chart of
/// processor use to show, or empty.
std::string reportPage(const std::vector<std::pair<std::string, UnitImage>>& subjects,
                       const std::string& chartSvg);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_REPORT_REPORT_H_
