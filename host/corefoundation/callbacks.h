#ifndef CORVANE_HOST_COREFOUNDATION_CALLBACKS_H_
#define CORVANE_HOST_COREFOUNDATION_CALLBACKS_H_

#include <CoreFoundation/CFBase.h>

#include <cstring>
#include <forward_list>
#include <mutex>
#include <type_traits>

namespace cf {

/// One copy of `callBacks` for the life of the process, the same for equal ones. A program has a
/// handful of sets of them and any number of collections, each of which keeps but a pointer.
template <typename CallBacks>
const CallBacks* interned(const CallBacks& callBacks) {
  static_assert(std::has_unique_object_representations_v<CallBacks>);
  static std::mutex& mutex = *new std::mutex;
  static auto& known = *new std::forward_list<CallBacks>;
  const std::lock_guard lock(mutex);
  for (const CallBacks& candidate : known) {
    if (std::memcmp(&candidate, &callBacks, sizeof(CallBacks)) == 0) return &candidate;
  }
  return &known.emplace_front(callBacks);
}

/// The value to keep in a collection with these callbacks.
template <typename CallBacks>
const void* retained(const CallBacks& callBacks, const void* value) {
  return callBacks.retain != nullptr ? callBacks.retain(kCFAllocatorDefault, value) : value;
}

template <typename CallBacks>
void release(const CallBacks& callBacks, const void* value) {
  if (callBacks.release != nullptr) callBacks.release(kCFAllocatorDefault, value);
}

template <typename CallBacks>
bool equal(const CallBacks& callBacks, const void* value1, const void* value2) {
  return value1 == value2 || (callBacks.equal != nullptr && callBacks.equal(value1, value2));
}

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_CALLBACKS_H_
