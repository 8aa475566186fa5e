#ifndef CORVANE_TOOLS_DOCUMENTS_UNIT_DIFF_H_
#define CORVANE_TOOLS_DOCUMENTS_UNIT_DIFF_H_

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>

#include "tools/documents/unit_image.h"

namespace corvane::tools {

/// Returns what differs, each an object of "part" ("status", "record", "key", "nvram", "device",
/// "file" or "raw"), "place" (an offset, a number, a key, a name or a path), and "a" and "b", the
/// two values in words, null where one has none. Bytes that no value explains come last, as raw
/// ones. When one is the image of a dump, only its data set is compared. Throws CommandError for
/// dumps of different data sets.
nlohmann::ordered_json differencesOf(const UnitImage& a, const UnitImage& b);

/// Prints a line for each difference, safe for a terminal, or that there is none.
void printDifferences(std::ostream& out, const nlohmann::ordered_json& differences);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_DOCUMENTS_UNIT_DIFF_H_
