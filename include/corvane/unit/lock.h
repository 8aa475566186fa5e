#ifndef CORVANE_UNIT_LOCK_H_
#define CORVANE_UNIT_LOCK_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "../platform/export.h"

namespace corvane::unit {

/// Finds the data area, which everything except boot arguments and facts needs. Call it once before
/// anything else. Throws Error (kUnreadable) when there is none.
CORVANE_EXPORT void openDataArea();

/// Holds the unit's lock: what is read, changed and written back under it loses no change of
/// another process. Locks nothing on the device, which has no such lock. A thread that holds the
/// lock gets it again. Destroy it in the thread that made it, and do not wait for it while you hold
/// a mutex that the holder may need.
///
/// Every change takes a lock and leaves one line in the test log, after its read-back, under the
/// test name "Unit": what was changed, from what, to what, or why not.
class CORVANE_EXPORT Lock {
 public:
  /// What becomes of the lines.
  enum class Lines {
    kWritten,  ///< Each is written when its change is done.
    kKept,     ///< They are kept for `takeLines`: for a caller that must not wait for the log.
  };

  /// Acquires the lock; `lines` says what becomes of the lines. Throws Error (kLocked), which names
  /// the unit and the holder, when the lock cannot be acquired in time.
  explicit Lock(Lines lines = Lines::kWritten);
  ~Lock();
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  /// Writes or keeps the line `text` of a change. Control characters are escaped, and a long text
  /// is cut so that the line in the log has at most 256 bytes.
  void addLine(std::string_view text);
  /// Returns the lines that were kept so far, for `writeLine`, and forgets them.
  std::vector<std::string> takeLines();

 private:
  std::shared_ptr<const void> _hold;
  Lines _lines;
  std::vector<std::string> _kept;
};

/// Writes `line`, which `Lock::takeLines` returned, to the test log.
CORVANE_EXPORT void writeLine(const std::string& line);

}  // namespace corvane::unit

#endif  // CORVANE_UNIT_LOCK_H_
