#include "tools/time_text.h"

#include <array>
#include <ctime>

namespace corvane::tools {
namespace {

using Convert = struct tm*(const time_t*, struct tm*);

std::optional<std::string> formatTime(int64_t time, Convert* convert, const char* format) {
  const auto seconds = static_cast<time_t>(time);
  struct tm fields {};
  if (seconds != time || !convert(&seconds, &fields)) return std::nullopt;
  std::array<char, 64> text{};
  const size_t length = std::strftime(text.data(), text.size(), format, &fields);
  return std::string(text.data(), length);
}

}  // namespace

std::optional<std::string> localTimeText(int64_t time) {
  return formatTime(time, localtime_r, "%Y-%m-%d %H:%M:%S %z");
}

std::optional<std::string> isoTimeText(int64_t time) {
  auto text = formatTime(time, localtime_r, "%Y-%m-%dT%H:%M:%S%z");
  // strftime has no offset with a colon.
  if (text) text->insert(text->size() - 2, 1, ':');
  return text;
}

std::optional<std::string> utcTimeText(int64_t time) {
  return formatTime(time, gmtime_r, "%Y-%m-%dT%H:%M:%SZ");
}

std::optional<int64_t> secondsOfLocalTime(struct tm time) {
  time.tm_isdst = -1;
  const struct tm given = time;
  const time_t seconds = std::mktime(&time);
  // A time that the clock does not show is moved to one that it does.
  if (time.tm_mon != given.tm_mon || time.tm_mday != given.tm_mday || time.tm_sec != given.tm_sec) {
    return std::nullopt;
  }
  return seconds;
}

}  // namespace corvane::tools
