#ifndef CORVANE_TOOLS_UNIT_ACCESS_H_
#define CORVANE_TOOLS_UNIT_ACCESS_H_

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <string>

#include "platform/cf_ref.h"
#include "tools/command_line.h"
#include "unit/lock.h"

/// How the commands reach the unit.
namespace corvane::tools {

/// Returns `text` as the library takes it. Throws CommandError when it is not UTF-8.
CFRef<CFStringRef> textArgument(const std::string& text);

// What the tool must know of the virtual unit; on the device there is always a unit.

/// Throws CommandError when the fault rules in the environment cannot be used.
void requireFaultRules();
/// Makes the unit that is there the one in use, so that nothing makes another. Throws when there is
/// none.
void useExistingUnit();
/// Returns whether the error says that the virtual unit cannot be used.
bool isOfUnit(const std::exception& error);

/// Opens the unit for a command that only looks. Throws CommandError when there is none, and when
/// it cannot be used: unlike a change, a look makes no new unit.
void requireUnitToLook();
/// Does so, and finds the data area.
void requireDataToLook();

/// Adds a command without arguments to `group`, which `look(json)` does as text or as JSON.
void addLook(Command group, const std::string& name, const std::string& about,
             const std::string& footer, auto look) {
  Command command = group.add(name, about, footer);
  command.jsonFlag(command.actionOn<bool>(look));
}

/// Throws CommandError for an offset outside the data set of the control-bit bytes and, unless
/// `isForced`, for one that lies among the records.
void requireControlBit(uint32_t offset, bool isForced);

/// Returns the exit status of a command that ends with the error.
ExitStatus statusOf(const std::exception& error);

/// Runs `work` and returns what it and the libraries wrote to standard output, which does not show
/// it. Throws CommandError when it cannot be captured.
std::string capturedOutput(const std::function<void()>& work);

/// Runs `work` while standard error shows the virtual unit's own messages only: when a change is
/// refused, the platform prints the whole request there (33 KB for the configuration area).
void runQuietly(const std::function<void()>& work);

/// Returns what `change`, which takes the unit's lock, returns.
template <typename Change>
auto changeUnit(Change change) {
  unit::Lock lock;
  std::invoke_result_t<Change, unit::Lock&> result;
  runQuietly([&] { result = change(lock); });
  return result;
}

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_UNIT_ACCESS_H_
