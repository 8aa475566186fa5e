#include <utf8.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "platform/number.h"
#include "platform/printable.h"
#include "tools/command_error.h"
#include "tools/documents/documents.h"
#include "tools/json_output.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;

Json rawForm(const std::string& path, const Bytes& contents) {
  if (!path.starts_with("data/") && utf8::is_valid(contents.begin(), contents.end())) {
    return {{"text", std::string(contents.begin(), contents.end())}};
  }
  constexpr size_t kBytesPerRow = 32;
  Json rows = Json::array();
  for (size_t at = 0; at < contents.size(); at += kBytesPerRow) {
    const size_t length = std::min(kBytesPerRow, contents.size() - at);
    rows.push_back(hexText(ByteSpan(contents).subspan(at, length)));
  }
  return {{"hex", rows}};
}

/// Returns the keys that a unit finds.
Json configurationAsJson(ByteSpan contents) {
  const AreaReport report = reportOnArea(contents);
  Json keys = Json::array();
  for (const AreaEntry& entry : report.entries) {
    if (!entry.isFound) continue;
    keys.push_back(keyAsJson(entry.key, entry.value, entry.writtenValue()));
  }
  return {{"isStore", report.isHeaderSound}, {"keys", keys}};
}

/// Returns what the contents decode to; null when there is nothing to decode, or it cannot be
/// decoded.
Json decodedForm(const std::string& path, const Bytes& contents) {
  if (path == kDiagnosticDataFile) {
    return diagnosticDataAsJson(reportOnDiagnosticData(contents), utcTimeText);
  }
  if (path == kConfigurationFile) return configurationAsJson(contents);
  return path.ends_with(".plist") ? propertiesAsJson(&contents) : Json();
}

[[noreturn]] void refuse(const std::string& name, const std::string& place,
                         const std::string& reason) {
  throw CommandError(kFailed, name + ": " + printable(place) + " " + reason);
}

/// Returns the bytes of a file's raw form; nothing when there is none, or it is wrong.
std::optional<Bytes> rawBytes(const Json& file) try {
  if (file.contains("text") == file.contains("hex")) return {};
  if (file.contains("text")) {
    const auto text = file["text"].get<std::string>();
    return Bytes(text.begin(), text.end());
  }
  Bytes bytes;
  for (const auto& row : file["hex"].get<std::vector<std::string>>()) {
    const auto part = parseHex(row);
    if (!part) return {};
    bytes.insert(bytes.end(), part->begin(), part->end());
  }
  return bytes;
} catch (const Json::exception&) {
  return {};
}

std::string shortText(const Json& document, const Json::json_pointer& place) {
  return document.contains(place) ? shortened(jsonText(document[place], -1), 60) : "missing";
}

/// Fails unless the document is `actual`, which was made from its raw contents.
void requireSame(const Json& given, const Json& actual, const std::string& name) {
  const Json differences = Json::diff(given, actual);
  if (differences.empty()) return;
  const Json& first = differences.front();
  const Json::json_pointer place(first["path"].get<std::string>());
  refuse(name, first["path"],
         "is " + shortText(given, place) + ", but by the raw contents it is " +
             shortText(first, Json::json_pointer("/value")));
}

Json parse(ByteSpan text, const std::string& name) {
  // Copying and comparing values recurses once for each of their levels.
  constexpr int kMaxDepth = 100;
  const auto limit = [&](int depth, Json::parse_event_t, const Json&) {
    if (depth > kMaxDepth) throw CommandError(kFailed, name + ": is nested too deeply");
    return true;
  };
  try {
    return Json::parse(text.begin(), text.end(), limit);
  } catch (const Json::parse_error& error) {
    // Its text ends with the whole last word.
    throw CommandError(kFailed, name + ": " + shortened(error.what(), 160));
  }
}

/// Returns the document without the raw contents.
Json describe(const UnitImage& image) {
  Json files = Json::object();
  for (const auto& [path, contents] : image.files) {
    files[path] = {{"size", contents.size()}};
    const Json decoded = decodedForm(path, contents);
    if (!decoded.is_null()) files[path]["decoded"] = decoded;
  }
  const char* const dumpKind = image.file(kDiagnosticDataFile) ? "data" : "syscfg";
  Json document = {{"schema", kJsonSchema}, {"kind", image.isUnit() ? "unit" : dumpKind}};
  if (image.isUnit()) document["facts"] = factsOf(image);
  document["files"] = std::move(files);
  return document;
}

}  // namespace

std::string documentText(const UnitImage& image) {
  Json document = describe(image);
  for (const auto& [path, contents] : image.files) {
    document["files"][path].update(rawForm(path, contents));
  }
  return jsonText(document, 2) + "\n";
}

UnitImage imageOfDocument(ByteSpan text, const std::string& name) {
  Json document = parse(text, name);
  if (!document.is_object() || !document.contains("schema") || !document.contains("files") ||
      !document["files"].is_object()) {
    throw CommandError(kFailed, name + ": is JSON, but not the export of a unit or a dump");
  }
  if (document["schema"] != kJsonSchema) {
    refuse(name, "/schema",
           "is " + shortText(document, Json::json_pointer("/schema")) + "; this tool reads " +
               std::to_string(kJsonSchema));
  }
  UnitImage image;
  for (auto& [path, file] : document["files"].items()) {
    const std::string place = "/files/" + path;
    if (!isImagePath(path)) refuse(name, place, "is not a file of a unit's export");
    const auto bytes = rawBytes(file);
    if (!bytes) {
      refuse(name, place,
             "needs either \"text\", a string, or \"hex\", a list of rows of pairs of digits");
    }
    image.files[path] = *bytes;
    file.erase("hex");
    file.erase("text");
  }
  const bool isDump = image.file(kDiagnosticDataFile) || image.file(kConfigurationFile);
  if (!image.isUnit() && !(isDump && image.files.size() == 1)) {
    refuse(name, "/files", "must have device.plist, or a dump's data set alone");
  }
  requireSame(document, describe(image), name);
  return image;
}

}  // namespace corvane::tools
