#include "tools/ps/process_sample.h"

#include <algorithm>
#include <array>
#include <tuple>

namespace corvane::tools {
namespace {

struct State {
  integer_t code;
  const char* text;
};

/// A process is in the first of these states that one of its threads is in.
constexpr std::array kStates = {
    State{TH_STATE_RUNNING, "running"}, State{TH_STATE_UNINTERRUPTIBLE, "uninterruptible"},
    State{TH_STATE_STOPPED, "stopped"}, State{TH_STATE_WAITING, "waiting"},
    State{TH_STATE_HALTED, "halted"}};

}  // namespace

const char* stateText(integer_t runState) {
  const auto* const found = std::ranges::find(kStates, runState, &State::code);
  return found == kStates.end() ? "unknown_state" : found->text;
}

const char* stateText(const ProcessSample& process) {
  for (const State& state : kStates) {
    const auto found = std::ranges::find(process.threads, state.code, &ThreadSample::runState);
    if (found != process.threads.end()) return state.text;
  }
  return "-";
}

void arrange(std::vector<ProcessSample>& processes, Order order, std::optional<size_t> count) {
  std::ranges::sort(processes, [order](const ProcessSample& a, const ProcessSample& b) {
    if (order == Order::kUsage && a.usage != b.usage) return a.usage > b.usage;
    if (order == Order::kName && a.name != b.name) return a.name < b.name;
    return a.pid < b.pid;
  });
  if (count && *count < processes.size()) processes.resize(*count);
}

}  // namespace corvane::tools
