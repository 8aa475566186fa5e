#include "tools/results/run_filter.h"

#include <algorithm>
#include <chrono>
#include <ctime>

namespace corvane::tools {
namespace {

constexpr const char* kVerdictNames[] = {"passed",  "failed",    "incomplete",
                                         "refused", "untrusted", "unfinished"};

/// Takes `digits` digits from the front of `text`; returns nothing when it begins otherwise.
std::optional<int> takeNumber(std::string_view& text, size_t digits) {
  int value = 0;
  if (text.size() < digits) return {};
  for (size_t i = 0; i < digits; ++i) {
    if (text[i] < '0' || text[i] > '9') return {};
    value = value * 10 + (text[i] - '0');
  }
  text.remove_prefix(digits);
  return value;
}

bool takeMark(std::string_view& text, char mark) {
  if (!text.starts_with(mark)) return false;
  text.remove_prefix(1);
  return true;
}

/// Takes a fraction of a second, without its point, from the front of `text`. Returns milliseconds.
int takeFraction(std::string_view& text) {
  int milliseconds = 0;
  int weight = 100;
  while (const auto digit = takeNumber(text, 1)) {
    milliseconds += *digit * weight;
    weight /= 10;
  }
  return milliseconds;
}

/// Returns the seconds that local time is ahead of UTC at a moment given in local time.
int64_t localOffset(int64_t localSeconds) {
  const time_t asUtc = localSeconds;
  struct tm fields = {};
  ::gmtime_r(&asUtc, &fields);
  fields.tm_isdst = -1;
  return localSeconds - ::mktime(&fields);
}

}  // namespace

const char* nameOf(RunVerdict verdict) { return kVerdictNames[static_cast<size_t>(verdict)]; }

std::optional<RunVerdict> verdictOf(std::string_view name) {
  const auto* found = std::ranges::find(kVerdictNames, name);
  if (found == std::end(kVerdictNames)) return {};
  return static_cast<RunVerdict>(found - kVerdictNames);
}

std::optional<int64_t> parseTime(std::string_view text) {
  const auto year = takeNumber(text, 4);
  if (!year || !takeMark(text, '-')) return {};
  const auto month = takeNumber(text, 2);
  if (!month || !takeMark(text, '-')) return {};
  const auto day = takeNumber(text, 2);
  if (!day) return {};
  const std::chrono::year_month_day date(std::chrono::year(*year),
                                         std::chrono::month(static_cast<unsigned>(*month)),
                                         std::chrono::day(static_cast<unsigned>(*day)));
  if (!date.ok()) return {};
  int64_t seconds = int64_t{std::chrono::sys_days(date).time_since_epoch().count()} * 86400;
  int milliseconds = 0;
  if (takeMark(text, 'T') || takeMark(text, ' ')) {
    const auto hour = takeNumber(text, 2);
    if (!hour || *hour > 23 || !takeMark(text, ':')) return {};
    const auto minute = takeNumber(text, 2);
    if (!minute || *minute > 59) return {};
    std::optional<int> second = 0;
    if (takeMark(text, ':')) second = takeNumber(text, 2);
    if (!second || *second > 60) return {};
    if (takeMark(text, '.')) milliseconds = takeFraction(text);
    seconds += *hour * 3600 + *minute * 60 + *second;
  }
  int64_t offset = 0;
  if (text.empty()) {
    offset = localOffset(seconds);
  } else if (text != "Z") {
    const bool isBehind = text[0] == '-';
    if (!takeMark(text, '+') && !takeMark(text, '-')) return {};
    const auto hours = takeNumber(text, 2);
    takeMark(text, ':');
    const auto minutes = takeNumber(text, 2);
    if (!hours || !minutes || !text.empty()) return {};
    offset = (int64_t{3600} * *hours + int64_t{60} * *minutes) * (isBehind ? -1 : 1);
  }
  return (seconds - offset) * 1000 + milliseconds;
}

bool RunFilter::takes(const Run& run, const Names& names) const {
  const auto isAmong = [](const auto& list, const auto& value) {
    return list.empty() || std::ranges::find(list, value) != list.end();
  };
  return isAmong(stations, names.text(run.station)) && isAmong(units, run.unit) &&
         isAmong(verdicts, run.verdict) && (!since || run.time >= *since) &&
         (!until || run.time < *until);
}

}  // namespace corvane::tools
