#ifndef CORVANE_TOOLS_INSPECT_AREA_MAP_H_
#define CORVANE_TOOLS_INSPECT_AREA_MAP_H_

#include <iosfwd>

#include "tools/inspect/area_report.h"

namespace corvane::tools {

/// Draws where header, entries, free space, values and damage of the area are, with a legend, in at
/// most 80 columns.
void printMap(std::ostream& out, const AreaReport& report, bool coloured);

/// Returns whether standard output is a terminal that shows colours and NO_COLOR is not set.
bool isColouredOutput();

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_AREA_MAP_H_
