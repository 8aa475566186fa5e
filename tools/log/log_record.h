#ifndef CORVANE_TOOLS_LOG_LOG_RECORD_H_
#define CORVANE_TOOLS_LOG_LOG_RECORD_H_

#include <cstddef>
#include <string_view>

namespace corvane::tools {

/// How much of a record is kept until its end is found. What follows counts as another
/// record, and as another line.
inline constexpr size_t kMaxRecord = size_t{16} << 20;
/// How a line of the test log begins, with a 0 for each digit.
inline constexpr std::string_view kLogStamp = "[0000-00-00 00:00:00] ";
/// The length of the stamp's time, "0000-00-00 00:00:00".
inline constexpr size_t kTimeLength = kLogStamp.size() - 3;
/// How a station message begins.
inline constexpr std::string_view kStationMessage = "context=\"";

/// Returns whether `text` begins with digits where `pattern` has a 0, and with the pattern's
/// characters elsewhere.
constexpr bool matchesDigits(std::string_view text, std::string_view pattern) {
  if (text.size() < pattern.size()) return false;
  for (size_t i = 0; i < pattern.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (pattern[i] == '0' ? !isDigit : text[i] != pattern[i]) return false;
  }
  return true;
}

/// Returns whether a record of the log begins with this line. Fast enough for every line of a large
/// log; a line that does not begin a record continues the one before it.
constexpr bool beginsLogRecord(std::string_view line) {
  return matchesDigits(line, kLogStamp) || line.starts_with(kStationMessage);
}

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_LOG_LOG_RECORD_H_
