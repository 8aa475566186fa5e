#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <ostream>

#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/json_output.h"
#include "tools/log/test_log.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;
using Text = std::string_view;

/// How a record with a time begins, and how a station message does, with a 0 for each digit.
constexpr Text kStamp = "[0000-00-00 00:00:00] ", kStationMessage = "context=\"",
               kStationStamp = "context=\"\",ts=\"0000/00/00 00:00:00";
/// The length of the time in both.
constexpr size_t kTimeLength = kStamp.size() - 3;

/// Returns whether `text` begins with digits where `pattern` has a 0, and with the pattern's
/// characters elsewhere.
constexpr bool matchesDigits(Text text, Text pattern) {
  if (text.size() < pattern.size()) return false;
  for (size_t i = 0; i < pattern.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (pattern[i] == '0' ? !isDigit : text[i] != pattern[i]) return false;
  }
  return true;
}

/// Fast enough for every line of a large log.
constexpr bool beginsRecord(Text line) {
  return matchesDigits(line, kStamp) || line.starts_with(kStationMessage);
}

/// Returns the time of a record's first line, "2026-11-16 08:30:00"; empty when it has none.
std::string timeOf(Text line) {
  for (const Text pattern : {kStamp, kStationStamp}) {
    if (!matchesDigits(line, pattern)) continue;
    std::string time(line.substr(pattern.find('0'), kTimeLength));
    std::ranges::replace(time, '/', '-');
    return time;
  }
  return "";
}

/// Returns null for a local time that the clock did not show.
Json timeOrNull(Text line) {
  const std::optional<TimeSpan> time = parseTime(timeOf(line));
  return time ? Json(isoTimeText(time->begin / 1000).value()) : Json();
}

/// Removes the time and the indentation from a record with a time. Returns the levels.
size_t takeIndentation(Text& record) {
  record.remove_prefix(kStamp.size());
  const size_t levels = std::min(record.find_first_not_of(' '), record.size()) / 4;
  record.remove_prefix(4 * levels);
  return levels;
}

/// Returns a station message's fields: NAME="VALUE" pairs with commas between them. What cannot be
/// read as such a pair is "rest", up to the end.
Json stationMessageAsJson(Text line) {
  Json message = {{"time", timeOrNull(line)}, {"sid", nullptr}, {"type", nullptr}};
  Json& fields = message["fields"] = Json::object();
  while (!line.empty()) {
    const size_t equals = line.find("=\"");
    const size_t end = equals == line.npos ? line.npos : line.find('"', equals + 2);
    if (end == line.npos || (end + 1 < line.size() && line[end + 1] != ',')) break;
    const Text name = line.substr(0, equals), value = line.substr(equals + 2, end - equals - 2);
    line.remove_prefix(std::min(end + 2, line.size()));
    if (name == "sid" || name == "msg-type") {
      message[name == "sid" ? "sid" : "type"] = value;
    } else if (name != "ts" || message["time"].is_null()) {
      fields[std::string(name)] = value;
    }
  }
  if (!line.empty()) message["rest"] = line;
  return message;
}

/// Returns the line's fields: those of a record with a time, those of a station message, or its
/// text.
Json lineAsJson(Text line) {
  if (line.starts_with(kStationMessage)) return stationMessageAsJson(line);
  if (!matchesDigits(line, kStamp)) return {{"text", line}};
  Json fields = {{"time", timeOrNull(line)}, {"indentation", takeIndentation(line)}};
  const size_t colon = line.find(": ");
  fields["test"] = colon == Text::npos ? Json() : Json(line.substr(0, colon));
  fields["message"] = colon == Text::npos ? line : line.substr(colon + 2);
  return fields;
}

/// Returns the line at the front of `text`, without its line feed, and removes it.
Text takeLine(Text& text) {
  const size_t end = std::min(text.find('\n'), text.size());
  const Text line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

/// Returns where the record begins that holds the byte at `at`; the size of `text` stands for the
/// last byte.
size_t startOfRecord(Text text, size_t at) {
  while (at > 0) {
    at = text.rfind('\n', at - 1);
    if (at == Text::npos) return 0;
    if (beginsRecord(text.substr(at + 1))) return at + 1;
  }
  return 0;
}

size_t endOfRecord(Text text) {
  size_t at = 0;
  while ((at = text.find('\n', at)) != Text::npos) {
    ++at;
    if (at == text.size() || beginsRecord(text.substr(at))) return at;
  }
  return text.size();
}

/// Returns a text that every record has that passes.
std::string needleOf(const LogFilter& filter) {
  if (!filter.grep.empty()) return filter.grep;
  if (filter.test) return *filter.test + ": ";
  return std::string(filter.stationMessages ? kStationMessage : "");
}

bool passes(Text record, const LogFilter& filter) {
  if (record.find(filter.grep) == Text::npos) return false;
  if (filter.stationMessages && !record.starts_with(kStationMessage)) return false;
  if (filter.since || filter.until) {
    const std::string time = timeOf(record), until = filter.until.value_or(time);
    if (time.empty() || time < filter.since.value_or("") || time > until) return false;
  }
  if (!filter.test) return true;
  if (!matchesDigits(record, kStamp)) return false;
  takeIndentation(record);
  return record.starts_with(*filter.test + ": ");
}

/// Shows what passes of `text`, which is whole records. Returns whether a record did.
bool showPassing(Text text, const LogFilter& filter, bool json, std::ostream& out) {
  const std::string needle = needleOf(filter);
  bool hasShown = false;
  while (!text.empty()) {
    if (!needle.empty()) {
      // Most records of a large log do not have the text: the search passes over them.
      const void* const hit = ::memmem(text.data(), text.size(), needle.data(), needle.size());
      if (!hit) break;
      const auto at = static_cast<size_t>(static_cast<const char*>(hit) - text.data());
      text.remove_prefix(startOfRecord(text, at));
    }
    const Text record = text.substr(0, endOfRecord(text));
    text.remove_prefix(record.size());
    if (!passes(record, filter)) continue;
    out << shownRecord(record, json);
    hasShown = true;
  }
  return hasShown;
}

/// Replaces a time by the first second, or with `isLatest` by the last one, of what it names.
void fixTime(std::optional<std::string>& text, bool isLatest) {
  if (!text) return;
  const TimeSpan time = parseTime(*text).value();
  const int64_t milliseconds = isLatest ? time.end - 1 : time.begin;
  text = localTimeText(milliseconds / 1000).value().substr(0, kTimeLength);
}

}  // namespace

std::string shownRecord(Text record, bool json) {
  std::string shown;
  if (json) {
    Json fields = lineAsJson(takeLine(record));
    while (!record.empty()) fields["continued"].push_back(takeLine(record));
    return jsonLine(fields);
  }
  do {
    const Text line = takeLine(record);
    shown += (beginsRecord(line) ? "" : "| ") + printable(line) + "\n";
  } while (!record.empty());
  return shown;
}

bool showLog(const std::string& file, LogFilter filter, bool json, std::ostream& out) {
  fixTime(filter.since, false);
  fixTime(filter.until, true);
  LogReader log(file, false);
  bool hasShown = false;
  while (log.readMore() && out) {
    // The last record may go on in what is read next.
    size_t end = startOfRecord(log.text(), log.text().size());
    if (log.text().size() - end > kMaxRecord) end = log.text().size();
    hasShown |= showPassing(log.text().substr(0, end), filter, json, out);
    log.take(end);
  }
  return showPassing(log.text(), filter, json, out) || hasShown;
}

}  // namespace corvane::tools
