#ifndef CORVANE_TOOLS_DOCUMENTS_UNIT_IMAGE_H_
#define CORVANE_TOOLS_DOCUMENTS_UNIT_IMAGE_H_

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/virtual_unit/unit_paths.h"
#include "log/log.h"
#include "tools/inspect/inspect.h"

namespace corvane::tools {

using Bytes = std::vector<uint8_t>;

/// Paths in a unit's folder.
using host::kDeviceFile;
using host::kNvramFile;
using host::kVersionFile;
inline constexpr char kDiagnosticDataFile[] = "data/VelmoDiagnosticData.bin";
inline constexpr char kConfigurationFile[] = "data/VelmoDiagnosticDataSysCfg.bin";
inline const std::string kTestLogFile = std::string("root") + kLogFile;

/// What an image is about: a whole unit, or one data set that was dumped.
enum class ImageKind { kUnit, kData, kSysCfg };

/// Of each kind, in order: its name in a document, and the file that its images must have.
struct ImageKindFacts {
  const char *name, *file;
};
inline constexpr ImageKindFacts kImageKinds[] = {
    {"unit", kDeviceFile}, {"data", kDiagnosticDataFile}, {"syscfg", kConfigurationFile}};

/// The contents of a unit's files by path: the registry, the NVRAM variables, the data sets with
/// their uncommitted changes, the files that the library reads, and the test log. The image of a
/// dump has the file of its data set only.
struct UnitImage {
  ImageKind kind = ImageKind::kUnit;
  std::map<std::string, Bytes> files;

  /// Returns the file's contents, or null when there is no such file.
  const Bytes* file(const std::string& path) const;
};

/// Returns whether an image of a unit may have a file at `path`.
bool isImagePath(std::string_view path);
/// Returns whether an image may have files below `path`.
bool holdsImageFiles(const std::string& path);

/// Reads a unit's folder under the unit's lock, or without it when the folder may not be written.
/// Throws CommandError when it is not a unit, or one of the files cannot be read, is not regular or
/// is too large.
UnitImage readUnitFolder(const std::filesystem::path& folder);

/// Returns the image of a dump. Throws CommandError when neither `kind` nor the bytes tell what it
/// is a dump of; `name` is for that message.
UnitImage imageOfDump(Bytes contents, std::optional<DumpKind> kind, const std::string& name);

/// Reads a unit's folder, an exported document or a raw dump, of which `kind` says what it is of;
/// "-" is standard input, which holds one of the latter two. Throws CommandError.
UnitImage readImage(const std::string& source, std::optional<DumpKind> kind);

/// Throws CommandError (wrong usage) when writing `output`, the file after "-o", would replace one
/// of the sources or a file of a unit's folder among them.
void requireOtherOutput(const std::string& output, const std::vector<std::string>& sources);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_DOCUMENTS_UNIT_IMAGE_H_
