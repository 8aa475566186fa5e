#ifndef CORVANE_BENCH_UNIT_H_
#define CORVANE_BENCH_UNIT_H_

#include "host/include/virtual_device.h"

namespace corvane::bench {

/// Returns the unit in use, with its data area open, for the library's side of a pair. The unit and
/// its twin lie below one temporary folder, which the first call of either function creates and the
/// end of the process removes. Throws when it cannot be created.
const host::VirtualDevice& unit();

/// Returns a unit like `unit()` that the library never touches: the bare side of a pair works on
/// the same file system, with files of the same names and sizes at the same depth.
const host::VirtualDevice& twin();

}  // namespace corvane::bench

#endif  // CORVANE_BENCH_UNIT_H_
