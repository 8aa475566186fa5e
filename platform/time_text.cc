#include "platform/time_text.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace corvane {
namespace {

using Fields = struct tm;

constexpr int64_t kSecondsOfDay = 86'400;

/// Takes `digits` digits from the front of the text. Returns -1 when it does not begin with them.
int takeNumber(std::string_view& text, size_t digits) {
  int number = 0;
  if (text.size() < digits) return -1;
  for (size_t i = 0; i < digits; ++i) {
    if (text[i] < '0' || text[i] > '9') return -1;
    number = number * 10 + (text[i] - '0');
  }
  text.remove_prefix(digits);
  return number;
}

bool takeMark(std::string_view& text, std::string_view marks) {
  if (text.empty() || marks.find(text.front()) == marks.npos) return false;
  text.remove_prefix(1);
  return true;
}

/// Takes a number that stands after one of the marks. Returns nothing when it does not, or is not
/// from 0 to `max`.
std::optional<int> takeField(std::string_view& text, std::string_view marks, int max) {
  if (!takeMark(text, marks)) return {};
  const int number = takeNumber(text, 2);
  return number >= 0 && number <= max ? std::optional<int>(number) : std::nullopt;
}

/// Returns the seconds from 1970 to midnight UTC of a day; nothing when the calendar does not have
/// it.
std::optional<int64_t> secondsOfDate(int year, int month, int day) {
  if (year < 0 || month < 0 || day < 0) return {};
  const std::chrono::year_month_day date(std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day)));
  if (!date.ok()) return {};
  return int64_t{std::chrono::sys_days(date).time_since_epoch().count()} * kSecondsOfDay;
}

/// Returns local time at a moment, as the seconds from 1970 to the moment at which clocks of UTC
/// show the same.
std::optional<int64_t> localClock(int64_t seconds) {
  const auto moment = static_cast<time_t>(seconds);
  Fields fields{};
  if (moment != seconds || !localtime_r(&moment, &fields)) return {};
  const auto date = secondsOfDate(fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday);
  if (!date) return {};
  return *date + (int64_t{fields.tm_hour} * 60 + fields.tm_min) * 60 + fields.tm_sec;
}

/// Returns the first moment at which local clocks show what those of UTC show at `clock`; nothing
/// when they skip it.
std::optional<int64_t> momentOf(int64_t clock) {
  // The offsets in force before and after a change of the clocks that is near.
  for (const int64_t near : {clock - kSecondsOfDay, clock + kSecondsOfDay}) {
    const auto shown = localClock(near);
    if (!shown) continue;
    const int64_t moment = clock - (*shown - near);
    if (localClock(moment) == clock) return moment;
  }
  return {};
}

/// Returns when the day begins whose midnight is at `clock`: where summer time begins at midnight,
/// the day begins at one.
std::optional<int64_t> beginOfDay(int64_t clock) {
  const auto midnight = momentOf(clock);
  return midnight ? midnight : momentOf(clock + 3600);
}

/// Takes a zone from the text. Returns the seconds that it is ahead of UTC; nothing when the text
/// is something else.
std::optional<int64_t> takeZone(std::string_view& text) {
  if (takeMark(text, "Z")) return 0;
  const int sign = text.starts_with('-') ? -1 : 1;
  const auto hours = takeField(text, "+-", 23);
  takeMark(text, ":");
  const int minutes = takeNumber(text, 2);
  if (!hours || minutes < 0 || minutes > 59) return {};
  return sign * (int64_t{*hours} * 60 + minutes) * 60;
}

/// A time of day in milliseconds, and how long what its text names is.
struct TimeOfDay {
  int64_t begin = 0;
  int64_t length = kSecondsOfDay * 1000;
};

std::optional<TimeOfDay> takeTimeOfDay(std::string_view& text) {
  const auto hour = takeField(text, "T ", 23);
  const auto minute = hour ? takeField(text, ":", 59) : std::nullopt;
  if (!minute) return {};
  TimeOfDay time{(int64_t{*hour} * 60 + *minute) * 60'000, 60'000};
  if (!text.starts_with(':')) return time;
  const auto second = takeField(text, ":", 60);  // 60 in a minute with a leap second.
  if (!second) return {};
  time = {time.begin + int64_t{*second} * 1000, 1000};
  if (!takeMark(text, ".,")) return time;
  time.length = 1;
  int64_t weight = 100;
  int digit = takeNumber(text, 1);
  if (digit < 0) return {};
  for (; digit >= 0; digit = takeNumber(text, 1), weight /= 10) time.begin += weight * digit;
  return time;
}

std::optional<std::string> format(int64_t seconds, Fields* (*convert)(const time_t*, Fields*),
                                  const char* pattern) {
  const auto moment = static_cast<time_t>(seconds);
  Fields fields{};
  if (moment != seconds || !convert(&moment, &fields)) return {};
  std::array<char, 64> text{};
  return std::string(text.data(), std::strftime(text.data(), text.size(), pattern, &fields));
}

}  // namespace

std::optional<TimeSpan> parseTime(std::string_view text) {
  const int year = takeNumber(text, 4);
  const int month = takeMark(text, "-") ? takeNumber(text, 2) : -1;
  const int day = takeMark(text, "-") ? takeNumber(text, 2) : -1;
  const std::optional<int64_t> date = secondsOfDate(year, month, day);
  if (!date) return {};
  const auto time = text.empty() ? TimeOfDay() : takeTimeOfDay(text);
  if (!time) return {};

  const int64_t clock = *date * 1000 + time->begin;
  if (!text.empty()) {
    const auto offset = takeZone(text);
    if (!offset || !text.empty()) return {};
    const int64_t begin = clock - *offset * 1000;
    return TimeSpan{begin, begin + time->length};
  }
  if (time->length == TimeOfDay().length) {
    // A day on which the clocks change is longer or shorter.
    const auto begin = beginOfDay(*date), end = beginOfDay(*date + kSecondsOfDay);
    if (!begin || !end) return {};
    return TimeSpan{*begin * 1000, *end * 1000};
  }
  const int64_t fraction = clock % 1000;
  const auto second = momentOf((clock - fraction) / 1000);
  if (!second) return {};
  const int64_t begin = *second * 1000 + fraction;
  return TimeSpan{begin, begin + time->length};
}

std::optional<std::string> localTimeText(int64_t seconds) {
  return format(seconds, localtime_r, "%Y-%m-%d %H:%M:%S %z");
}

std::optional<std::string> isoTimeText(int64_t seconds) {
  auto text = format(seconds, localtime_r, "%Y-%m-%dT%H:%M:%S%z");
  // strftime has no offset with a colon.
  if (text) text->insert(text->size() - 2, 1, ':');
  return text;
}

std::optional<std::string> isoMillisecondsText(int64_t milliseconds) {
  const int64_t seconds =
      std::chrono::floor<std::chrono::seconds>(std::chrono::milliseconds(milliseconds)).count();
  auto text = isoTimeText(seconds);
  std::array<char, 8> fraction{};
  std::snprintf(fraction.data(), fraction.size(), ".%03d",
                static_cast<int>(milliseconds - seconds * 1000));
  if (text) text->insert(text->size() - 6, fraction.data());
  return text;
}

std::optional<std::string> utcTimeText(int64_t seconds) {
  return format(seconds, gmtime_r, "%Y-%m-%dT%H:%M:%SZ");
}

}  // namespace corvane
