#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <ostream>

#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/command_error.h"
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

/// The parts of a record with a time.
struct Content {
  size_t levels;
  /// The text before the first ": ".
  std::optional<Text> test;
  Text message;
};

Content contentOf(Text record) {
  record.remove_prefix(kStamp.size());
  const size_t levels = std::min(record.find_first_not_of(' '), record.size()) / 4;
  record.remove_prefix(4 * levels);
  const size_t colon = record.find(": ");
  if (colon == Text::npos) return {levels, {}, record};
  return {levels, record.substr(0, colon), record.substr(colon + 2)};
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

/// Returns the line at the front of `text`, without its line feed, and removes it.
Text takeLine(Text& text) {
  const size_t end = std::min(text.find('\n'), text.size());
  const Text line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

class Show {
 public:
  Show(const LogFilter& filter, bool json, std::ostream& out)
      : _filter(filter), _json(json), _out(out) {
    if (filter.stationMessages) _needle = kStationMessage;
    if (filter.test) _needle = *filter.test + ": ";
    if (!filter.grep.empty()) _needle = filter.grep;
  }

  /// Shows what passes of `text`, which is whole records.
  void show(Text text) {
    while (!text.empty()) {
      if (!_needle.empty()) {
        // Most records of a large log do not have the text: the search passes over them.
        const void* const hit = ::memmem(text.data(), text.size(), _needle.data(), _needle.size());
        if (!hit) return;
        const auto at = static_cast<size_t>(static_cast<const char*>(hit) - text.data());
        text.remove_prefix(startOfRecord(text, at));
      }
      const size_t end = endOfRecord(text);
      showRecord(text.substr(0, end));
      text.remove_prefix(end);
    }
  }

  bool hasShown() const { return _hasShown; }

  /// Returns where the record begins that holds the byte at `at`; the size of `text` stands for the
  /// last byte.
  static size_t startOfRecord(Text text, size_t at) {
    while (at > 0) {
      at = text.rfind('\n', at - 1);
      if (at == Text::npos) return 0;
      if (beginsRecord(text.substr(at + 1))) return at + 1;
    }
    return 0;
  }

 private:
  static size_t endOfRecord(Text text) {
    size_t at = 0;
    while ((at = text.find('\n', at)) != Text::npos) {
      ++at;
      if (at == text.size() || beginsRecord(text.substr(at))) return at;
    }
    return text.size();
  }

  bool passes(Text record) const {
    if (!_filter.grep.empty() && record.find(_filter.grep) == Text::npos) return false;
    if (_filter.stationMessages && !record.starts_with(kStationMessage)) return false;
    if (_filter.since || _filter.until) {
      const std::string time = timeOf(record);
      if (time.empty() || (_filter.since && time < *_filter.since) ||
          (_filter.until && time > *_filter.until)) {
        return false;
      }
    }
    if (!_filter.test) return true;
    const Text line = takeLine(record);
    return matchesDigits(line, kStamp) && contentOf(line).test == *_filter.test;
  }

  void showRecord(Text record) {
    if (!passes(record)) return;
    _hasShown = true;
    if (!_json) {
      while (!record.empty()) _out << lineForPeople(takeLine(record)) << '\n';
      return;
    }
    nlohmann::ordered_json fields = lineAsJson(takeLine(record));
    while (!record.empty()) fields["continued"].push_back(takeLine(record));
    _out << jsonLine(fields);
  }

  const LogFilter& _filter;
  bool _json;
  std::ostream& _out;
  std::string _needle;
  bool _hasShown = false;
};

/// Replaces a time by the first second, or with `isLatest` by the last one, of what it names.
void fixTime(std::optional<std::string>& text, bool isLatest) {
  if (!text) return;
  const TimeSpan time = parseTime(*text).value();
  const int64_t milliseconds = isLatest ? time.end - 1 : time.begin;
  text = localTimeText(milliseconds / 1000).value().substr(0, kTimeLength);
}

}  // namespace

std::string lineForPeople(Text line) { return (beginsRecord(line) ? "" : "| ") + printable(line); }

Json lineAsJson(Text line) {
  if (line.starts_with(kStationMessage)) return stationMessageAsJson(line);
  if (!matchesDigits(line, kStamp)) return {{"text", line}};
  const Content content = contentOf(line);
  return {{"time", timeOrNull(line)},
          {"indentation", content.levels},
          {"test", content.test ? Json(*content.test) : Json()},
          {"message", content.message}};
}

bool showLog(const std::string& file, LogFilter filter, bool json, std::ostream& out) {
  fixTime(filter.since, false);
  fixTime(filter.until, true);
  LogReader log(file);
  if (!log.isOpen()) throw CommandError(kFailed, file + ": " + std::strerror(ENOENT));
  Show show(filter, json, out);
  while (log.readMore() && out) {
    // The last record may go on in what is read next.
    size_t end = Show::startOfRecord(log.text(), log.text().size());
    if (log.text().size() - end > kMaxRecord) end = log.text().size();
    show.show(log.text().substr(0, end));
    log.take(end);
  }
  show.show(log.text());
  return show.hasShown();
}

}  // namespace corvane::tools
