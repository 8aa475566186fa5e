#include "tools/documents/unit_document.h"

#include <utf8.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/command_error.h"
#include "tools/control_bit_text.h"
#include "tools/inspect/area_view.h"
#include "tools/inspect/value_text.h"
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

Json diagnosticDataAsJson(const Bytes& contents) {
  const DiagnosticReport report = reportOnDiagnosticData(contents);
  Json bytes = Json::array();
  for (const auto& [offset, byte] : report.controlBits) {
    bytes.push_back(controlBitAsJson(offset, byte));
  }
  Json records = Json::array();
  for (const RecordLine& record : report.records) {
    const auto time = utcTimeText(record.time);
    records.push_back({{"offset", record.offset},
                       {"time", time ? Json(*time) : Json()},
                       {"seconds", record.time},
                       {"station", record.station},
                       {"version", record.version},
                       {"result", record.result},
                       {"message", record.message}});
  }
  return {{"controlBits", bytes}, {"timeBits", report.timeBits}, {"records", records}};
}

/// Returns the keys that a unit finds.
Json configurationAsJson(const Bytes& contents) {
  const std::span area = std::span(contents).first(std::min(contents.size(), kDeviceAreaSize));
  const AreaReport report = reportOnArea(area);
  Json keys = Json::array();
  for (const AreaEntry& entry : report.entries) {
    if (!entry.isFound) continue;
    Json key = {{"key", keyName(entry.key)}, {"code", entry.key}};
    key.update(valueAsJson(valueOf(entry, area), writtenValueOf(entry, area)));
    keys.push_back(key);
  }
  return {{"isStore", report.isHeaderSound}, {"keys", keys}};
}

/// Returns what the contents decode to; null when there is nothing to decode, or it cannot be
/// decoded.
Json decodedForm(const std::string& path, const Bytes& contents) {
  if (path == kDiagnosticDataFile) return diagnosticDataAsJson(contents);
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

/// Refuses a document that differs from `actual`, which was made from its raw contents. `place` is
/// a JSON pointer.
void compare(const Json& given, const Json& actual, const std::string& place,
             const std::string& name) {
  if (given.is_array() && actual.is_array() && given.size() == actual.size()) {
    for (size_t i = 0; i < given.size(); ++i) {
      compare(given[i], actual[i], place + "/" + std::to_string(i), name);
    }
    return;
  }
  if (!given.is_object() || !actual.is_object()) {
    if (given == actual) return;
    refuse(name, place,
           "is " + shortText(given) + ", but the raw contents say " + shortText(actual));
  }
  for (const auto& [key, value] : given.items()) {
    const std::string below = std::string(place).append("/").append(key);
    if (!actual.contains(key)) refuse(name, below, "is not in the raw contents");
    compare(value, actual[key], below, name);
  }
  for (const auto& [key, value] : actual.items()) {
    if (!given.contains(key)) {
      refuse(name, std::string(place).append("/").append(key),
             "is missing; the raw contents say " + shortText(value));
    }
  }
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
  // Copying and comparing values below recurses once for each of their levels.
  constexpr int kDeepest = 100;
  const auto limit = [&](int depth, Json::parse_event_t, const Json&) {
    if (depth > kDeepest) throw CommandError(kFailed, name + ": is nested too deeply");
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
  Json document = {{"schema", kJsonSchema}, {"kind", nameOf(image.kind)}};
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
  UnitImage image;
  const Json& kind = document["kind"];
  if (kind == "data") {
    image.kind = ImageKind::kData;
  } else if (kind == "syscfg") {
    image.kind = ImageKind::kSysCfg;
  } else if (kind != "unit") {
    refuse(name, "/kind", "is none of \"unit\", \"data\" and \"syscfg\"");
  }
  for (const auto& [path, file] : document["files"].items()) {
    const std::string place = "/files/" + path;
    if (!isImagePath(path)) refuse(name, place, "is not a file of a unit's export");
    image.files[path] = rawBytes(file, name, place);
  }
  const char* needed = image.kind == ImageKind::kUnit   ? kDeviceFile
                       : image.kind == ImageKind::kData ? kDiagnosticDataFile
                                                        : kConfigurationFile;
  if (!image.file(needed) || (image.kind != ImageKind::kUnit && image.files.size() != 1)) {
    refuse(name, "/files", std::string("has not just the files of its kind, such as ") + needed);
  }
  compare(withoutRawForms(document), withoutRawForms(documentOf(image)), "", name);
  return image;
}

}  // namespace corvane::tools
