#include "tools/log/log_line.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/printable.h"
#include "platform/time_text.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;

/// Removes a time that the calendar has, and the blank after it, from the front of the line, and
/// returns it; empty when the line begins otherwise.
std::string takeStamp(std::string_view& line) {
  if (!matchesDigits(line, kLogStamp)) return "";
  std::string time(line.substr(1, kTimeLength));
  if (!parseTime(time + "Z")) return "";
  line.remove_prefix(kLogStamp.size());
  return time;
}

/// Returns null for a local time that the clock did not show.
Json timeOrNull(const std::string& localTime) {
  const std::optional<TimeSpan> time = parseTime(localTime);
  return time ? Json(isoTimeText(time->begin / 1000).value()) : Json();
}

/// A record's parts after its time.
struct Content {
  size_t levels;
  /// The text before the first ": ".
  std::optional<std::string_view> test;
  std::string_view message;
};

Content contentOf(std::string_view rest) {
  const size_t levels = std::min(rest.find_first_not_of(' '), rest.size()) / 4;
  rest.remove_prefix(4 * levels);
  const size_t colon = rest.find(": ");
  if (colon == std::string_view::npos) return {levels, {}, rest};
  return {levels, rest.substr(0, colon), rest.substr(colon + 2)};
}

Json stampedLineAsJson(const std::string& time, std::string_view rest) {
  const Content content = contentOf(rest);
  return {{"time", timeOrNull(time)},
          {"indentation", content.levels},
          {"test", content.test ? Json(*content.test) : Json()},
          {"message", content.message}};
}

/// Returns a station message's fields: NAME="VALUE" pairs with commas between them. What cannot be
/// read as such a pair is "rest", up to the end.
Json stationMessageAsJson(std::string_view line) {
  Json named = {{"time", nullptr}, {"sid", nullptr}, {"type", nullptr}};
  Json others = Json::object();
  while (!line.empty()) {
    const size_t equals = line.find("=\"");
    const size_t end = equals == line.npos ? line.npos : line.find('"', equals + 2);
    if (end == line.npos || (end + 1 < line.size() && line[end + 1] != ',')) break;
    const std::string name(line.substr(0, equals));
    const std::string_view value = line.substr(equals + 2, end - equals - 2);
    line.remove_prefix(std::min(end + 2, line.size()));
    if (name == "ts") {
      std::string time(value);
      std::ranges::replace(time, '/', '-');
      named["time"] = timeOrNull(time);
    } else if (name == "sid" || name == "msg-type") {
      named[name == "sid" ? "sid" : "type"] = value;
    } else {
      others[name] = value;
    }
  }
  named["fields"] = others;
  if (!line.empty()) named["rest"] = line;
  return named;
}

}  // namespace

std::string lineForPeople(std::string_view line) {
  return (beginsLogRecord(line) ? "" : "| ") + printable(line);
}

std::optional<std::string_view> testOf(std::string_view line) {
  if (takeStamp(line).empty()) return {};
  return contentOf(line).test;
}

Json lineAsJson(std::string_view line) {
  if (const std::string time = takeStamp(line); !time.empty()) return stampedLineAsJson(time, line);
  if (line.starts_with(kStationMessage)) return stationMessageAsJson(line);
  return {{"text", line}};
}

}  // namespace corvane::tools
