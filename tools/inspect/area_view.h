#ifndef CORVANE_TOOLS_INSPECT_AREA_VIEW_H_
#define CORVANE_TOOLS_INSPECT_AREA_VIEW_H_

#include <cstdint>
#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <vector>

#include "tools/inspect/area_report.h"

/// How the tool shows a configuration area; `image` is the area that the report is about.
namespace corvane::tools {

/// Returns the value as its bytes and, when it is plain text, as text. `written` is the part of
/// `value` that was probably written.
nlohmann::ordered_json valueAsJson(std::span<const uint8_t> value,
                                   std::span<const uint8_t> written);

/// Returns header, checks, entries, free space and findings.
nlohmann::ordered_json areaAsJson(const AreaReport& report, std::span<const uint8_t> image);
nlohmann::ordered_json entriesAsJson(const AreaReport& report, std::span<const uint8_t> image);
void printEntries(std::ostream& out, const AreaReport& report, std::span<const uint8_t> image);

/// What a byte of the area belongs to: its character in the map, its colour on a terminal and its
/// name.
struct AreaPart {
  char mark;
  const char* colour;
  const char* name;
};

/// Returns what the map shows for each run of `bytesPerMark` bytes: damage if there is any, else
/// the first part that is not free space.
std::vector<const AreaPart*> mapOfArea(const AreaReport& report, std::span<const uint8_t> image,
                                       size_t bytesPerMark);

/// Returns every part that a map may show.
std::span<const AreaPart* const> areaParts();

/// Draws where header, entries, free space and values are, with a legend, in at most 80 columns.
void printMap(std::ostream& out, const AreaReport& report, std::span<const uint8_t> image,
              bool coloured);

/// Returns whether standard output is a terminal that shows colours and NO_COLOR is not set.
bool isColouredOutput();

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_AREA_VIEW_H_
