#ifndef CORVANE_TOOLS_VIRTUAL_UNIT_H_
#define CORVANE_TOOLS_VIRTUAL_UNIT_H_

#include <exception>

/// What the tool must know of the virtual unit; on the device there is always a unit.
namespace corvane::tools {

/// Throws CommandError when the fault rules in the environment cannot be used.
void requireFaultRules();

/// Makes the unit that is there the one in use, so that nothing makes another. Throws when there is
/// none.
void useExistingUnit();

/// Returns whether the error says that the virtual unit cannot be used.
bool isOfUnit(const std::exception& error);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_VIRTUAL_UNIT_H_
