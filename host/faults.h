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

/// Counts one call of the function. Returns what the call must return instead of doing its work, 0
/// standing for null; nothing when no rule fails this call. Each call asks exactly once, first of
/// all.
std::optional<int64_t> injectedFault(Call call);

/// Puts the stuck bytes of data set `set` over its contents.
void applyStuckBytes(std::string_view set, std::span<uint8_t> contents);

/// Replaces this process's rules and starts counting afresh. Returns what is wrong with the first
/// rule that cannot be used, and changes nothing then; an empty text when all is well.
std::string setFaultRules(std::string_view rules);

/// How often each function that a rule can name was called since the rules were set; those that
/// were not called are left out. Calls are counted only while there are rules.
std::map<std::string, uint64_t> callsMade();

}  // namespace corvane::host

#endif  // CORVANE_HOST_FAULTS_H_
