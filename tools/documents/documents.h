#ifndef CORVANE_TOOLS_DOCUMENTS_DOCUMENTS_H_
#define CORVANE_TOOLS_DOCUMENTS_DOCUMENTS_H_

#include <filesystem>
#include <iosfwd>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/virtual_unit/unit_paths.h"
#include "log/log.h"
#include "tools/inspect/inspect.h"

/// Units and dumps as images in memory: read, exported as documents, imported and compared. The
/// functions throw CommandError.
namespace corvane::tools {

using unit::Bytes;

/// Paths in a unit's folder.
using host::kDeviceFile;
using host::kNvramFile;
using host::kVersionFile;
inline constexpr char kDiagnosticDataFile[] = "data/VelmoDiagnosticData.bin";
inline constexpr char kConfigurationFile[] = "data/VelmoDiagnosticDataSysCfg.bin";
inline const std::string kTestLogFile = std::string("root") + kLogFile;

/// The contents of a unit's files by path: the registry, the NVRAM variables, the data sets with
/// their uncommitted changes, the files that the library reads, and the test log. The image of a
/// dump has the file of its data set only.
struct UnitImage {
  std::map<std::string, Bytes> files;
  /// The files that it was read from, also those that do not exist.
  std::vector<std::string> sources = {};

  bool isUnit() const { return files.contains(kDeviceFile); }
  /// Returns the file's contents, or null when there is no such file.
  const Bytes* file(const std::string& path) const;
};

/// Returns whether an image of a unit may have a file at `path`.
bool isImagePath(std::string_view path);
/// Returns whether an image may have files below `path`.
bool holdsImageFiles(const std::string& path);

/// Reads a unit's folder under the unit's lock, or without it when the folder may not be written.
/// Fails when it is not a unit, or one of the files cannot be read, is not regular or is too large.
UnitImage readUnitFolder(const std::filesystem::path& folder);

/// Reads a unit's folder, a document or a raw dump; "-" is standard input, a document or a dump.
/// `kind` is a dump's; without it, it is guessed. Fails when it cannot be.
UnitImage readImage(const std::string& source, std::optional<DumpKind> kind);

/// Atomically replaces the files of the unit in `folder` by those of `image`: readers, crashes and
/// power cuts see the old unit or the new one. Files that no image has, such as the system log,
/// stay. Makes the unit when there is none. When it fails, the unit is as it was.
void installUnit(const std::filesystem::path& folder, const UnitImage& image);

/// Returns the document of an image: each file's raw contents as text, or as hexadecimal digits,
/// with what they decode to. Equal images have equal documents, on any machine and in any time
/// zone.
std::string documentText(const UnitImage& image);

/// Returns the image of the document `text`. Fails with the place when it is not a document, or
/// when its decoded parts contradict the raw contents. `name` names the document in messages.
UnitImage imageOfDocument(ByteSpan text, const std::string& name);

/// Returns the tree of a property list; null when `contents` is null or not a property list. Data
/// and dates, which JSON lacks, are {"data": DIGITS} and {"date": null}.
nlohmann::ordered_json propertiesAsJson(const Bytes* contents);

/// Returns the facts of `device show`, null for those that the unit lacks.
nlohmann::ordered_json factsOf(const UnitImage& image);

/// Returns what differs, each an object of "part" ("status", "record", "key", "nvram", "device",
/// "file" or "raw"), "place" (an offset, a number, a key, a name or a path), and "a" and "b", the
/// two values in words, null where one has none. Bytes that no value explains come last, as raw
/// ones. When one is the image of a dump, only its data set is compared. Fails for dumps of
/// different data sets.
nlohmann::ordered_json differencesOf(const UnitImage& a, const UnitImage& b);

/// Prints a line for each difference, safe for a terminal, or that there is none.
void printDifferences(std::ostream& out, const nlohmann::ordered_json& differences);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_DOCUMENTS_DOCUMENTS_H_
