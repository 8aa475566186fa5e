#ifndef CORVANE_TOOLS_DOCUMENTS_UNIT_DIFF_H_
#define CORVANE_TOOLS_DOCUMENTS_UNIT_DIFF_H_

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "tools/documents/unit_image.h"

namespace corvane::tools {

/// One thing that is not the same in two images.
struct Difference {
  /// "status", "record", "key", "nvram", "device", "file" or "raw".
  std::string part;
  /// Which one of that part: an offset, a number, a key, a name or a path.
  std::string place;
  /// The two values in words; empty where one has none.
  std::string a, b;
};

/// Returns what differs, the raw bytes that no decoding explains last. When one is the image of a
/// dump, only its data set is compared. Throws CommandError for dumps of different data sets.
std::vector<Difference> diffImages(const UnitImage& a, const UnitImage& b);

/// Prints a line for each difference, safe for a terminal, or that there is none.
void printDifferences(std::ostream& out, const std::vector<Difference>& differences);
nlohmann::ordered_json differencesAsJson(const std::vector<Difference>& differences);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_DOCUMENTS_UNIT_DIFF_H_
