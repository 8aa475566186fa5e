#ifndef CORVANE_HOST_FAULTS_H_
#define CORVANE_HOST_FAULTS_H_

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace corvane::host {

/// The platform functions that a rule can name.
enum class Call {
#define CALL(where, function, result) function,
#include "host/fault_calls.inc"
#undef CALL
};

/// False while it is known that calls are neither failed nor counted, so that a call costs no more
/// than this look. True from the start: the first call reads CORVANE_FAULTS and CORVANE_CALLS.
extern std::atomic<bool> gMayHaveRules;

/// Returns the result of `injectedFault` once there may be rules.
std::optional<int64_t> faultByRules(Call call);

/// Counts one call of the function, and sends this process the signals that rules have for it.
/// Returns what the call must return instead of doing its work,
/// with 0 for null. Returns nothing when no rule fails this call. Each call asks exactly once,
/// before anything else.
inline std::optional<int64_t> injectedFault(Call call) {
  if (!gMayHaveRules.load(std::memory_order_acquire)) return {};
  return faultByRules(call);
}

/// Overwrites the stuck bytes of data set `set` in its contents.
void applyStuckBytes(CFStringRef set, CFMutableDataRef contents);

/// Replaces this process's rules and starts counting from 0. Returns an empty text, or changes
/// nothing and returns what is wrong with the first rule that cannot be used.
std::string setFaultRules(std::string_view rules);

/// Returns what is wrong with the rules in CORVANE_FAULTS, which would end the program at its first
/// platform call; empty when they can be used.
std::string faultInEnvironment();

/// Returns how often each function that a rule can name was called since the rules were set,
/// without those that were not called. Counted only while there are rules.
std::map<std::string, uint64_t> callsMade();

}  // namespace corvane::host

#endif  // CORVANE_HOST_FAULTS_H_
