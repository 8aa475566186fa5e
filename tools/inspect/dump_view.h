#ifndef CORVANE_TOOLS_INSPECT_DUMP_VIEW_H_
#define CORVANE_TOOLS_INSPECT_DUMP_VIEW_H_

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "tools/inspect/diagnostic_report.h"

/// How the tool shows diagnostic records and findings.
namespace corvane::tools {

/// Prints a table with one row for each record.
void printRecords(std::ostream& out, const std::vector<RecordLine>& records);

/// Returns the record as JSON. "time" is null when the calendar has no such time; "seconds" always
/// has the value.
nlohmann::ordered_json recordAsJson(const RecordLine& record);

void printFindings(std::ostream& out, const std::vector<Finding>& findings);
nlohmann::ordered_json findingsAsJson(const std::vector<Finding>& findings);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_DUMP_VIEW_H_
