#ifndef CORVANE_TOOLS_UNIT_LOCK_H_
#define CORVANE_TOOLS_UNIT_LOCK_H_

#include <memory>

namespace corvane::tools {

/// Holds the unit's lock while it exists: what a command reads, changes and writes back under it
/// loses no other process's change. Locks nothing on the device, which has no such lock.
class UnitLock {
 public:
  /// Throws CommandError (the unit cannot be used) when the lock cannot be acquired in time.
  UnitLock();

 private:
  std::shared_ptr<const void> _lock;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_UNIT_LOCK_H_
