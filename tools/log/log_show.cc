#include "tools/log/log_show.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string_view>

#include "platform/time_text.h"
#include "tools/command_error.h"
#include "tools/json_output.h"
#include "tools/log/log_line.h"
#include "tools/log/log_reader.h"

namespace corvane::tools {
namespace {

using Text = std::string_view;

/// Returns the time of a record's first line, "2026-11-16 08:30:00"; empty when it has none.
std::string timeOf(Text line) {
  if (matchesDigits(line, kLogStamp)) return std::string(line.substr(1, kTimeLength));
  constexpr Text kBefore = "context=\"\",ts=\"";
  if (!line.starts_with(kBefore) ||
      !matchesDigits(line.substr(kBefore.size()), "0000/00/00 00:00:00")) {
    return "";
  }
  std::string time(line.substr(kBefore.size(), kTimeLength));
  std::ranges::replace(time, '/', '-');
  return time;
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
    if (!filter.grep.empty()) {
      _needle = filter.grep;
    } else if (filter.test) {
      _needle = *filter.test + ": ";
    } else if (filter.stationMessages) {
      _needle = kStationMessage;
    }
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
      if (beginsLogRecord(text.substr(at + 1))) return at + 1;
    }
    return 0;
  }

 private:
  static size_t endOfRecord(Text text) {
    size_t at = 0;
    while ((at = text.find('\n', at)) != Text::npos) {
      ++at;
      if (at == text.size() || beginsLogRecord(text.substr(at))) return at;
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
    return !_filter.test || testOf(takeLine(record)) == *_filter.test;
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

}  // namespace

std::string logTime(const std::string& text, bool isLatest) {
  const std::optional<TimeSpan> time = parseTime(text);
  if (!time) {
    throw CommandError(kUsage, "'" + text +
                                   "' is not a time such as 2026-11-16 or "
                                   "\"2026-11-16 08:30:00\"");
  }
  const int64_t milliseconds = isLatest ? time->end - 1 : time->begin;
  return localTimeText(milliseconds / 1000).value().substr(0, kTimeLength);
}

bool showLog(const std::string& file, const LogFilter& filter, bool json, std::ostream& out) {
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
