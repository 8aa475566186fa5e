#ifndef CORVANE_TOOLS_INSPECT_AREA_VIEW_H_
#define CORVANE_TOOLS_INSPECT_AREA_VIEW_H_

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <span>

#include "tools/inspect/area_report.h"

/// How the tool shows a configuration area; `image` is the area that the report is about.
namespace corvane::tools {

/// A value as its bytes, and as text when it is plain text.
nlohmann::ordered_json valueAsJson(std::span<const uint8_t> value, bool isIndirect);

/// Header, checks, entries, free space and damages.
nlohmann::ordered_json areaAsJson(const AreaReport& report, std::span<const uint8_t> image);
nlohmann::ordered_json entriesAsJson(const AreaReport& report, std::span<const uint8_t> image);
void printEntries(std::ostream& out, const AreaReport& report, std::span<const uint8_t> image);

/// Draws where header, entries, free space and values lie, with a legend, in at most 80 columns;
/// with terminal colours when asked to.
void printMap(std::ostream& out, const AreaReport& report, std::span<const uint8_t> image,
              bool coloured);

/// Whether standard output is a terminal that shows colours, and the user wants them.
bool isColouredOutput();

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_AREA_VIEW_H_
