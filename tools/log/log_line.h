#ifndef CORVANE_TOOLS_LOG_LOG_LINE_H_
#define CORVANE_TOOLS_LOG_LOG_LINE_H_

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

/// Lines of the test log as the tool shows them. The log does not mark where a record ends: after a
/// line feed in a message, the next line does not begin a record, and neither does a line written
/// without a time.
namespace corvane::tools {

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

/// Returns whether a record begins with this line. Fast enough for every line of a large log.
constexpr bool beginsLogRecord(std::string_view line) {
  return matchesDigits(line, kLogStamp) || line.starts_with(kStationMessage);
}

/// Returns the line for a terminal, with "| " in front when it does not begin a record.
std::string lineForPeople(std::string_view line);

/// Returns the test that a record with a time names; nothing when it names none, or for another
/// line.
std::optional<std::string_view> testOf(std::string_view line);

/// Returns the line's fields: those of a record with a time, those of a station message, or its
/// text.
nlohmann::ordered_json lineAsJson(std::string_view line);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_LOG_LOG_LINE_H_
