#include "platform/host/mach/thread_stat.h"

#include <string.h>
#include <unistd.h>

#include <charconv>

namespace corvane::host {
namespace {

constexpr uint64_t kKernelThreadFlag = 0x00200000;

/// Where the fields stand, as /proc's manual counts them.
constexpr int kState = 3, kFlags = 9, kUserTime = 14, kSystemTime = 15, kStartTime = 22;

}  // namespace

std::optional<ThreadStat> parseThreadStat(std::string_view line) {
  // The name may hold anything, parentheses and line feeds too; behind it come only numbers.
  const auto* const nameEnd = static_cast<const char*>(memrchr(line.data(), ')', line.size()));
  const char* const end = line.data() + line.size();
  if (!nameEnd || end - nameEnd < 3) return {};

  ThreadStat stat;
  stat.state = nameEnd[2];
  const char* at = nameEnd + 3;
  for (int field = kState + 1; field <= kStartTime; ++field) {
    while (at < end && (*at == ' ' || *at == '-')) ++at;
    uint64_t value = 0;
    const auto [next, error] = std::from_chars(at, end, value);
    if (error != std::errc()) return {};
    at = next;
    if (field == kFlags) stat.isKernelThread = (value & kKernelThreadFlag) != 0;
    if (field == kUserTime) stat.userTicks = value;
    if (field == kSystemTime) stat.systemTicks = value;
    if (field == kStartTime) stat.startTicks = value;
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
