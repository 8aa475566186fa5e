#ifndef EXAMPLES_LOAD_MACHINE_H_
#define EXAMPLES_LOAD_MACHINE_H_

#include <cstddef>
#include <optional>
#include <vector>

namespace load {

/// Returns the numbers of the cores that this program may use.
std::vector<int> usableCores();

/// Returns the bytes of memory that nothing uses, or a quarter of all memory where the system does
/// not report them.
size_t freeMemory();

/// Returns the highest temperature that the machine's sensors show now, in degrees Celsius; nothing
/// when it has none.
std::optional<double> temperature();

/// Returns the processor use of all programs except this one since the last call, in percent of one
/// processor.
double loadOfOthers();

}  // namespace load

#endif  // EXAMPLES_LOAD_MACHINE_H_
