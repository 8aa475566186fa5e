#ifndef EXAMPLES_LOAD_MACHINE_H_
#define EXAMPLES_LOAD_MACHINE_H_

#include <cstddef>
#include <optional>
#include <vector>

namespace load {

/// The numbers of the cores that this program may use.
std::vector<int> usableCores();

/// Bytes of memory that nothing uses; a quarter of all memory where the system does not tell.
size_t freeMemory();

/// The highest temperature that the machine's sensors show now, in degrees Celsius; nothing when it
/// has none.
std::optional<double> temperature();

/// What every program except this one uses of the processors, in percent of one, since the last
/// call.
double loadOfOthers();

}  // namespace load

#endif  // EXAMPLES_LOAD_MACHINE_H_
