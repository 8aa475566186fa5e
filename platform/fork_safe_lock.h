#ifndef CORVANE_PLATFORM_FORK_SAFE_LOCK_H_
#define CORVANE_PLATFORM_FORK_SAFE_LOCK_H_

#include <pthread.h>

#include <mutex>

namespace corvane {

/// A lock that a child of fork finds free: each fork waits until no thread holds it. There is one
/// for each `Owner`; it is never destroyed. Acquire no other such lock while you hold one.
///
///     const std::lock_guard lock(ForkSafeLock<KnownUnits>::get());
template <typename Owner>
class ForkSafeLock {
 public:
  static std::mutex& get() {
    static_cast<void>(kIsKept);  // Its use is what makes it exist.
    return lock();
  }

 private:
  static std::mutex& lock() {
    static std::mutex& lock = *new std::mutex;
    return lock;
  }

  static inline const bool kIsKept =
      pthread_atfork([] { lock().lock(); }, [] { lock().unlock(); }, [] { lock().unlock(); }) == 0;
};

}  // namespace corvane

#endif  // CORVANE_PLATFORM_FORK_SAFE_LOCK_H_
