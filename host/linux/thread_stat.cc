#include "host/linux/thread_stat.h"

#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>

namespace corvane::host {
namespace {

constexpr uint64_t kKernelThreadFlag = 0x00200000;

/// The fields' numbers, as the manual page of /proc counts them.
constexpr int kState = 3, kFlags = 9, kUserTime = 14, kSystemTime = 15, kStartTime = 22;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

uint64_t number(const char* digits, const char* end) {
  uint64_t value = 0;
  std::from_chars(digits, end, value);
  return value;
}

}  // namespace

std::optional<ThreadStat> parseThreadStat(std::string_view line) {
  // The name may hold anything, including parentheses and line feeds. Only numbers follow it.
  const auto* const nameEnd = static_cast<const char*>(memrchr(line.data(), ')', line.size()));
  const char* const end = line.data() + line.size();
  if (!nameEnd || end - nameEnd < 3) return {};

  ThreadStat stat;
  stat.state = nameEnd[2];
  const char* at = nameEnd + 3;
  for (int field = kState + 1; field <= kStartTime; ++field) {
    at = std::find_if(at, end, isDigit);
    const char* const start = at;
    at = std::find_if_not(at, end, isDigit);
    if (at == start) return {};
    if (field == kFlags) stat.isKernelThread = (number(start, at) & kKernelThreadFlag) != 0;
    if (field == kUserTime) stat.userTicks = number(start, at);
    if (field == kSystemTime) stat.systemTicks = number(start, at);
    if (field == kStartTime) stat.startTicks = number(start, at);
  }
  return stat;
}

uint64_t ticksPerSecond() {
  static const auto ticks = static_cast<uint64_t>(sysconf(_SC_CLK_TCK));
  return ticks;
}

time_value_t timeOfTicks(uint64_t ticks) {
  constexpr uint64_t kMicroseconds = 1'000'000;
  const uint64_t second = ticksPerSecond();
  return {static_cast<integer_t>(ticks / second),
          static_cast<integer_t>(ticks % second * kMicroseconds / second)};
}

void setRunState(char state, thread_basic_info_data_t& info) {
  switch (state) {
    case 'R':
      info.run_state = TH_STATE_RUNNING;
      break;
    case 'T':
    case 't':
      info.run_state = TH_STATE_STOPPED;
      break;
    case 'D':
      info.run_state = TH_STATE_UNINTERRUPTIBLE;
      break;
    case 'Z':
    case 'X':
      info.run_state = TH_STATE_HALTED;
      break;
    default:
      info.run_state = TH_STATE_WAITING;
  }
  info.flags = state == 'I' ? TH_FLAGS_IDLE : 0;
}

}  // namespace corvane::host
