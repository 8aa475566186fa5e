#ifndef CORVANE_TOOLS_DOCUMENTS_UNIT_IMPORT_H_
#define CORVANE_TOOLS_DOCUMENTS_UNIT_IMPORT_H_

#include <filesystem>

#include "tools/documents/unit_image.h"

namespace corvane::tools {

/// Makes the unit in `folder` hold what `image` holds, as one change: readers, crashes and power
/// cuts see the old unit or the new one. Files of the unit that no image has, such as its system
/// log, stay. Makes the unit when there is none. Throws CommandError, with the unit as it was.
void installUnit(const std::filesystem::path& folder, const UnitImage& image);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_DOCUMENTS_UNIT_IMPORT_H_
