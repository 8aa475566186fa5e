#include "host/handles.h"

#include <mutex>
#include <utility>

#include "platform/fork_safe_lock.h"

namespace corvane::host {

uint32_t Handles::add(std::shared_ptr<KernelObject> object) {
  const std::lock_guard lock(ForkSafeLock<Handles>::get());
  uint32_t name = _nextName;
  while (name < kFirstName || _entries.contains(name)) name += kStep;
  _nextName = name + kStep;
  _entries[name] = {std::move(object), 1};
  return name;
}

std::shared_ptr<KernelObject> Handles::find(uint32_t name) {
  const std::lock_guard lock(ForkSafeLock<Handles>::get());
  const auto entry = _entries.find(name);
  return entry == _entries.end() ? nullptr : entry->second.object;
}

bool Handles::release(uint32_t name) {
  std::shared_ptr<KernelObject> last;  // Destroyed after the lock is released.
  const std::lock_guard lock(ForkSafeLock<Handles>::get());
  const auto entry = _entries.find(name);
  if (entry == _entries.end()) return false;
  if (--entry->second.references == 0) {
    last = std::move(entry->second.object);
    _entries.erase(entry);
  }
  return true;
}

uint32_t Handles::references(uint32_t name) {
  const std::lock_guard lock(ForkSafeLock<Handles>::get());
  const auto entry = _entries.find(name);
  return entry == _entries.end() ? 0 : entry->second.references;
}

size_t Handles::count() {
  const std::lock_guard lock(ForkSafeLock<Handles>::get());
  return _entries.size();
}

Handles& handles() {
  static Handles& table = *new Handles;  // Never destroyed: static destructors release handles.
  return table;
}

}  // namespace corvane::host
