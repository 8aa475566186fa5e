#ifndef CORVANE_PLATFORM_TIME_TEXT_H_
#define CORVANE_PLATFORM_TIME_TEXT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Times as people and files have them. Local time follows $TZ.
namespace corvane {

/// What a text names, in milliseconds since 1970-01-01 00:00 UTC; `end` is the first after it.
struct TimeSpan {
  int64_t begin, end;
};

/// Parses a date ("2026-11-16"), which names the whole day, or a date and a time of day after a
/// blank or a T, to the minute, second or fraction ("2026-11-16T00:05:09.042"), with a zone ("Z",
/// "+01:00", "+0100") or in local time. Of two local times with the same text, where summer time
/// ends, it is the first. Returns nothing for other text, and for a local time that summer time
/// skips.
std::optional<TimeSpan> parseTime(std::string_view text);

// The functions below take seconds since 1970-01-01 00:00 UTC, and return nothing for a time that
// the calendar does not have.

/// Returns local time with its offset from UTC, for people: "2026-11-16 08:30:00 +0100".
std::optional<std::string> localTimeText(int64_t seconds);

/// Returns local time as ISO 8601, for JSON: "2026-11-16T08:30:00+01:00".
std::optional<std::string> isoTimeText(int64_t seconds);

/// Returns the same with milliseconds: "2026-11-16T08:30:00.042+01:00".
std::optional<std::string> isoMillisecondsText(int64_t milliseconds);

/// Returns ISO 8601 in UTC, which is the same on every machine: "2026-11-16T07:30:00Z".
std::optional<std::string> utcTimeText(int64_t seconds);

}  // namespace corvane

#endif  // CORVANE_PLATFORM_TIME_TEXT_H_
