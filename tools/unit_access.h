#ifndef CORVANE_TOOLS_UNIT_ACCESS_H_
#define CORVANE_TOOLS_UNIT_ACCESS_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/cf_ref.h"
#include "platform/file_descriptor.h"
#include "tools/captured_output.h"
#include "tools/command_line.h"
#include "unit/error.h"
#include "unit/lock.h"

/// How the commands reach the unit.
namespace corvane::tools {

/// Returns `text` as the library takes it. Throws CommandError when it is not UTF-8.
CFRef<CFStringRef> textArgument(const std::string& text);

/// Opens the unit for a command that only looks. Throws CommandError when there is none, and when
/// it cannot be used: unlike a change, a look makes no new unit.
void requireUnitToLook();
/// Does so, and finds the data area.
void requireDataToLook();

/// Adds a command without arguments to `group`, which `look` does as text or as JSON.
void addLook(Command group, const std::string& name, const std::string& about,
             const std::string& footer, ExitStatus (*look)(bool json));

/// Throws CommandError unless `offset` lies inside a data set of `size` bytes.
void requireInside(uint32_t offset, size_t size);
/// Throws CommandError for an offset outside the data set of the control-bit bytes and, unless
/// `isForced`, for one that lies among the records.
void requireControlBit(uint32_t offset, bool isForced);

/// Returns the exit status of a command that ends with `fault`.
ExitStatus statusOf(unit::Fault fault);

/// Keeps standard error to the virtual unit's own messages while it exists: when a change is
/// refused, the platform prints the whole request there (33 KB for the configuration area).
class QuietChange {
 public:
  QuietChange();
  ~QuietChange();
  QuietChange(const QuietChange&) = delete;
  QuietChange& operator=(const QuietChange&) = delete;

 private:
  FileDescriptor _nowhere{::open("/dev/null", O_WRONLY | O_CLOEXEC)};
  Redirection _redirection;
};

/// Returns what `change`, which takes the unit's lock, returns.
template <typename Change>
auto changeUnit(Change change) {
  unit::Lock lock;
  const QuietChange quiet;
  return change(lock);
}

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_UNIT_ACCESS_H_
