#ifndef CORVANE_PLATFORM_OUT_OF_MEMORY_H_
#define CORVANE_PLATFORM_OUT_OF_MEMORY_H_

#include <exception>
#include <type_traits>

namespace corvane {

/// Returns the result of `operation`. Returns `otherwise` when memory runs out, which `operation`
/// reports by an exception: none may leave a function that C programs call.
template <typename Operation, typename Result = std::invoke_result_t<const Operation&>>
Result unlessOutOfMemory(std::type_identity_t<Result> otherwise, const Operation& operation) {
  try {
    return operation();
  } catch (const std::exception&) {
    return otherwise;
  }
}

/// Calls `operation`, which ends early when memory runs out.
template <typename Operation>
void unlessOutOfMemory(const Operation& operation) {
  try {
    operation();
  } catch (const std::exception&) {
    // What the operation has not done by then stays undone.
  }
}

}  // namespace corvane

#endif  // CORVANE_PLATFORM_OUT_OF_MEMORY_H_
