#ifndef CORVANE_TOOLS_INSPECT_DUMP_VIEW_H_
#define CORVANE_TOOLS_INSPECT_DUMP_VIEW_H_

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/time_text.h"
#include "tools/inspect/area_report.h"
#include "tools/inspect/diagnostic_report.h"
#include "tools/terminal/table.h"

/// How the tool shows what data sets hold: as tables, for a terminal or a page, and as JSON.
namespace corvane::tools {

Table recordTable(const std::vector<unit::Record>& records);
/// Returns the entries with their values, each cut to `valueWidth` columns.
Table entryTable(const AreaReport& report, size_t valueWidth = 40);
Table findingTable(const std::vector<Finding>& findings);

/// Returns seconds since 1970-01-01 00:00 UTC as text; nothing for a time that the calendar does
/// not have.
using TimeText = std::optional<std::string>(int64_t seconds);

/// Returns the record with "time" as `timeText` has it, else null; "seconds" always has the value.
nlohmann::ordered_json recordAsJson(const unit::Record& record, TimeText timeText = isoTimeText);
nlohmann::ordered_json recordsAsJson(const std::vector<unit::Record>& records,
                                     TimeText timeText = isoTimeText);

/// Returns control-bit bytes and records.
nlohmann::ordered_json diagnosticDataAsJson(const DiagnosticReport& report,
                                            TimeText timeText = isoTimeText);

/// Returns the value as its bytes and, when it is plain text, as text. `written` is the part of
/// `value` that was probably written.
nlohmann::ordered_json valueAsJson(std::span<const uint8_t> value,
                                   std::span<const uint8_t> written);

nlohmann::ordered_json entriesAsJson(const AreaReport& report);
/// Returns header, checks, entries, free space and findings.
nlohmann::ordered_json areaAsJson(const AreaReport& report);
nlohmann::ordered_json findingsAsJson(const std::vector<Finding>& findings);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_DUMP_VIEW_H_
