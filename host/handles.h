#ifndef CORVANE_HOST_HANDLES_H_
#define CORVANE_HOST_HANDLES_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <typeinfo>
#include <unordered_map>
#include <utility>

namespace corvane::host {

/// What a handle stands for: an object of the device registry, or the far end of a Mach port.
class KernelObject {
 public:
  virtual ~KernelObject() = default;
};

/// The names under which this process holds kernel objects, each with its count of references. A
/// released name is given out again only after all others, so that one kept by mistake stays
/// invalid.
class Handles {
 public:
  /// Returns a new name for `object`, with one reference.
  uint32_t add(std::shared_ptr<KernelObject> object);
  /// Returns the object that is held as `name`; null for a name that is not held.
  std::shared_ptr<KernelObject> find(uint32_t name);
  /// Drops one reference, and with the last one the name. Returns false for a name that is not
  /// held.
  bool release(uint32_t name);
  /// Returns how many references `name` has; 0 for a name that is not held.
  uint32_t references(uint32_t name);
  /// Returns how many names are held.
  size_t count();

 private:
  struct Entry {
    std::shared_ptr<KernelObject> object;
    uint32_t references;
  };

  /// Lower names are the system's own: the task itself, the master port.
  static constexpr uint32_t kFirstName = 0x1003;
  static constexpr uint32_t kStep = 0x100;

  uint32_t _nextName = kFirstName;
  std::unordered_map<uint32_t, Entry> _entries;
};

/// Returns this process's handles.
Handles& handles();

/// Returns the object of that kind that this process holds as `name`; null when there is none.
template <typename Kind>
std::shared_ptr<Kind> findHandle(uint32_t name) {
  std::shared_ptr<KernelObject> found = handles().find(name);
  if constexpr (std::is_final_v<Kind>) {  // Its exact type is compared faster than a cast is tried.
    const KernelObject* const object = found.get();
    if (!object || typeid(*object) != typeid(Kind)) return nullptr;
    return std::static_pointer_cast<Kind>(std::move(found));
  }
  return std::dynamic_pointer_cast<Kind>(std::move(found));
}

}  // namespace corvane::host

#endif  // CORVANE_HOST_HANDLES_H_
