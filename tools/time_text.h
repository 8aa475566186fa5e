#ifndef CORVANE_TOOLS_TIME_TEXT_H_
#define CORVANE_TOOLS_TIME_TEXT_H_

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

/// Times as the tool shows them. `time` is in seconds since 1970-01-01 00:00 UTC; the functions
/// return nothing for a time that the calendar does not have.
namespace corvane::tools {

/// Returns local time with its offset from UTC, for people: "2026-11-16 08:30:00 +0100".
std::optional<std::string> localTimeText(int64_t time);

/// Returns the same as ISO 8601, for JSON: "2026-11-16T08:30:00+01:00".
std::optional<std::string> isoTimeText(int64_t time);

/// Returns ISO 8601 in UTC, which is the same on every machine: "2026-11-16T07:30:00Z".
std::optional<std::string> utcTimeText(int64_t time);

/// Returns the time that a local time of a log stands for, which was written without its offset.
std::optional<int64_t> secondsOfLocalTime(struct tm time);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_TIME_TEXT_H_
