#include "tools/documents/unit_document.h"

#include <utf8.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/number.h"
#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/command_error.h"
#include "tools/inspect/inspect.h"
#include "tools/json_output.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;

constexpr size_t kBytesPerRow = 32;

Json rawForm(const std::string& path, const Bytes& contents) {
  if (!path.starts_with("data/") && utf8::is_valid(contents.begin(), contents.end())) {
    return {{"text", std::string(contents.begin(), contents.end())}};
  }
  Json rows = Json::array();
  for (size_t at = 0; at < contents.size(); at += kBytesPerRow) {
    const size_t length = std::min(kBytesPerRow, contents.size() - at);
    rows.push_back(hexText(std::span(contents).subspan(at, length)));
  }
  return {{"hex", rows}};
}

/// Returns the keys that a unit finds.
Json configurationAsJson(std::span<const uint8_t> contents) {
  const AreaReport report =
      reportOnArea(contents.first(std::min(contents.size(), kDeviceAreaSize)));
  Json keys = Json::array();
  for (const AreaEntry& entry : report.entries) {
    if (!entry.isFound) continue;
    keys.push_back({{"key", keyName(entry.key)}, {"code", entry.key}});
    keys.back().update(valueAsJson(entry.value, entry.writtenValue()));
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
  return path.ends_with(".plist") ? propertiesAsJson(contents) : Json();
}

[[noreturn]] void refuse(const std::string& name, const std::string& place,
                         const std::string& reason) {
  throw CommandError(kFailed, name + ": " + printable(place) + " " + reason);
}

/// Returns the bytes of a file's raw form. `place` is where it is in the document.
Bytes rawBytes(const Json& file, const std::string& name, const std::string& place) {
  if (!file.is_object() || file.contains("text") == file.contains("hex")) {
    refuse(name, place, "needs either \"text\" or \"hex\"");
  }
  if (file.contains("text")) {
    if (!file["text"].is_string()) refuse(name, place + "/text", "is not a string");
    const std::string& text = file["text"].get_ref<const std::string&>();
    return {text.begin(), text.end()};
  }
  if (!file["hex"].is_array()) refuse(name, place + "/hex", "is not a list of strings");
  Bytes bytes;
  for (size_t row = 0; row < file["hex"].size(); ++row) {
    const Json& digits = file["hex"][row];
    const auto part = digits.is_string() ? parseHex(digits.get_ref<const std::string&>())
                                         : std::optional<Bytes>();
    if (!part) {
      refuse(name, place + "/hex/" + std::to_string(row), "is not pairs of hexadecimal digits");
    }
    bytes.insert(bytes.end(), part->begin(), part->end());
  }
  return bytes;
}

std::string shortText(const Json& value) {
  const std::string text = value.dump(-1, ' ', true, Json::error_handler_t::replace);
  return text.size() <= 60 ? text : text.substr(0, 57) + "...";
}

/// Refuses a document that differs from `actual`, which was made from its raw contents.
void requireSame(const Json& given, const Json& actual, const std::string& name) {
  const Json differences = Json::diff(given, actual);
  if (differences.empty()) return;
  const Json& first = differences.front();
  const std::string place = first["path"];
  if (first["op"] == "remove") refuse(name, place, "is not in the raw contents");
  const std::string meant = shortText(first["value"]);
  if (first["op"] == "add") refuse(name, place, "is missing; the raw contents say " + meant);
  refuse(name, place,
         "is " + shortText(given.at(Json::json_pointer(place))) + ", but the raw contents say " +
             meant);
}

/// Returns the document without the raw contents: the rest is compared with what they decode to,
/// and their digits may be grouped in any way.
Json withoutRawForms(Json document) {
  for (auto& [path, file] : document["files"].items()) {
    file.erase("hex");
    file.erase("text");
  }
  return document;
}

Json parse(std::span<const uint8_t> text, const std::string& name) {
  // Copying and comparing values recurses once for each of their levels.
  constexpr int kMaxDepth = 100;
  const auto limit = [&](int depth, Json::parse_event_t, const Json&) {
    if (depth > kMaxDepth) throw CommandError(kFailed, name + ": is nested too deeply");
    return true;
  };
  try {
    return Json::parse(text.begin(), text.end(), limit);
  } catch (const Json::parse_error& error) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(error.byte, text.size()));
    throw CommandError(kFailed, name + ": line " +
                                    std::to_string(1 + std::count(text.begin(), end, '\n')) +
                                    " is not JSON");
  }
}

}  // namespace

Json documentOf(const UnitImage& image) {
  Json files = Json::object();
  for (const auto& [path, contents] : image.files) {
    Json file = {{"size", contents.size()}};
    const Json decoded = decodedForm(path, contents);
    if (!decoded.is_null()) file["decoded"] = decoded;
    file.update(rawForm(path, contents));
    files[path] = std::move(file);
  }
  Json document = {{"schema", kJsonSchema},
                   {"kind", kImageKinds[static_cast<int>(image.kind)].name}};
  if (image.kind == ImageKind::kUnit) document["facts"] = factsOf(image);
  document["files"] = std::move(files);
  return document;
}

std::string documentText(const UnitImage& image) { return jsonText(documentOf(image), 2) + "\n"; }

UnitImage imageOfDocument(std::span<const uint8_t> text, const std::string& name) {
  const Json document = parse(text, name);
  if (!document.is_object() || !document.contains("schema") || !document.contains("kind") ||
      !document.contains("files") || !document["files"].is_object()) {
    throw CommandError(kFailed, name + ": is JSON, but not the export of a unit or a dump");
  }
  if (document["schema"] != kJsonSchema) {
    refuse(
        name, "/schema",
        "is " + shortText(document["schema"]) + "; this tool reads " + std::to_string(kJsonSchema));
  }
  const auto kind = std::ranges::find_if(
      kImageKinds, [&](const ImageKindFacts& facts) { return document["kind"] == facts.name; });
  if (kind == std::end(kImageKinds)) {
    refuse(name, "/kind", "is not \"unit\", \"data\" or \"syscfg\"");
  }
  UnitImage image;
  image.kind = static_cast<ImageKind>(kind - kImageKinds);
  for (const auto& [path, file] : document["files"].items()) {
    const std::string place = "/files/" + path;
    if (!isImagePath(path)) refuse(name, place, "is not a file of a unit's export");
    image.files[path] = rawBytes(file, name, place);
  }
  if (!image.file(kind->file) || (image.kind != ImageKind::kUnit && image.files.size() != 1)) {
    refuse(name, "/files",
           std::string("must have ") + kind->file +
               (image.kind == ImageKind::kUnit ? "" : ", and nothing else"));
  }
  requireSame(withoutRawForms(document), withoutRawForms(documentOf(image)), name);
  return image;
}

}  // namespace corvane::tools
