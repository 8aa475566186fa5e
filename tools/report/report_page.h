#ifndef CORVANE_TOOLS_REPORT_REPORT_PAGE_H_
#define CORVANE_TOOLS_REPORT_REPORT_PAGE_H_

#include <string>
#include <vector>

#include "tools/report/verdict.h"

namespace corvane::tools {

/// Returns one HTML page about the subjects. `chartSvg` is a chart of processor use to show, or
/// empty.
std::string reportPage(const std::vector<ReportSubject>& subjects, const std::string& chartSvg);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_REPORT_REPORT_PAGE_H_
