#ifndef CORVANE_HOST_FAULTS_H_
#define CORVANE_HOST_FAULTS_H_

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace corvane::host {

/// The platform functions that a rule can name.
enum class Call {
#define CALL(where, function, result) function,
#include "host/fault_calls.inc"
#undef CALL
};

/// Counts one call of the function. Returns what the call must return instead of doing its work,
/// with 0 for null. Nothing when no rule fails this call. Each call asks exactly once, before
/// anything else.
std::optional<int64_t> injectedFault(Call call);

/// Overwrites the stuck bytes of data set `set` in its contents.
void applyStuckBytes(std::string_view set, std::span<uint8_t> contents);

/// Replaces this process's rules and starts counting anew. Returns what is wrong with the first
/// rule that cannot be used, and then changes nothing. Returns an empty text when all can.
std::string setFaultRules(std::string_view rules);

/// Returns how often each function that a rule can name was called since the rules were set,
/// without those that were not called. Calls are counted only while there are rules.
std::map<std::string, uint64_t> callsMade();

}  // namespace corvane::host

#endif  // CORVANE_HOST_FAULTS_H_
