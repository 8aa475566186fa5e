#ifndef EXAMPLES_LOAD_EVERY_CORE_H_
#define EXAMPLES_LOAD_EVERY_CORE_H_

#include <chrono>
#include <functional>
#include <string>
#include <vector>

/// The load that a station puts on a machine to see whether it holds.
namespace load {

/// What a core did under load.
struct CoreResult {
  int core = 0;
  /// Rounds that it finished.
  long rounds = 0;
  /// What went wrong in its first bad round; empty when nothing did.
  std::string fault;
};

/// One round of work; returns what went wrong, or an empty text.
using Round = std::function<std::string()>;

/// Keeps every core busy until the time is over or `keepsGoing` returns false. This thread calls
/// `keepsGoing` repeatedly, with the fraction done. Each core has a thread of its own, pinned to it
/// where the system can, which makes its round with `makeRound` and repeats it, at least once; a
/// core whose round fails stops.
std::vector<CoreResult> onEveryCore(std::chrono::milliseconds duration,
                                    const std::function<Round(int core)>& makeRound,
                                    const std::function<bool(double fraction)>& keepsGoing);

}  // namespace load

#endif  // EXAMPLES_LOAD_EVERY_CORE_H_
