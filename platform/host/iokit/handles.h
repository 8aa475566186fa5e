#ifndef CORVANE_PLATFORM_HOST_IOKIT_HANDLES_H_
#define CORVANE_PLATFORM_HOST_IOKIT_HANDLES_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace corvane::host {

/// What a handle stands for.
class KernelObject {
 public:
  virtual ~KernelObject() = default;
};

/// The names under which this process holds kernel objects, each with its count of references. A
/// name is never used twice, so that one that was released stays invalid.
class Handles {
 public:
  /// A new name for `object`, with one reference.
  uint32_t add(std::shared_ptr<KernelObject> object);
  /// Null for a name that is not held.
  std::shared_ptr<KernelObject> find(uint32_t name);
  /// Gives one reference back, and the name with the last. False for a name that is not held.
  bool release(uint32_t name);
  /// 0 for a name that is not held.
  uint32_t references(uint32_t name);
  /// How many names are held.
  size_t count();

 private:
  struct Entry {
    std::shared_ptr<KernelObject> object;
    uint32_t references;
  };

  std::mutex _mutex;
  uint32_t _nextName = 0x1003;
  std::unordered_map<uint32_t, Entry> _entries;
};

/// This process's.
Handles& handles();

}  // namespace corvane::host

#endif  // CORVANE_PLATFORM_HOST_IOKIT_HANDLES_H_
