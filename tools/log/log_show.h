#ifndef CORVANE_TOOLS_LOG_LOG_SHOW_H_
#define CORVANE_TOOLS_LOG_LOG_SHOW_H_

#include <iosfwd>
#include <optional>
#include <string>

namespace corvane::tools {

/// Which records of the test log to show; each condition that is set must hold.
struct LogFilter {
  /// The test's name.
  std::optional<std::string> test = {};
  /// Local times, "2026-11-16 08:30:00"; both inclusive. A record without a time is in neither.
  std::optional<std::string> since = {}, until = {};
  /// A text that the record or a line that continues it has.
  std::string grep = {};
  bool stationMessages = false;
};

/// Returns the first second, or with `isLatest` the last one, of what `text` names (`parseTime`),
/// as LogFilter has it. Throws CommandError (wrong usage) for other text.
std::string logTime(const std::string& text, bool isLatest);

/// Copies the records of the log that pass the filter to `out`, in memory that does not depend on
/// the log's size: as text that is safe for a terminal, or as JSON, one line for each record. A
/// line that does not begin a record continues the one before it. Returns whether a record passed.
/// Throws CommandError when the log cannot be read.
bool showLog(const std::string& file, const LogFilter& filter, bool json, std::ostream& out);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_LOG_LOG_SHOW_H_
