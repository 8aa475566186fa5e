#ifndef CORVANE_DATAAREA_FAILURE_H_
#define CORVANE_DATAAREA_FAILURE_H_

#include <cstdint>

namespace corvane {

/// What the data-area functions return for a failure of their own; a platform call's failure passes
/// its return code through instead.
inline constexpr uint32_t kDataAreaFailure = 5;

}  // namespace corvane

#endif  // CORVANE_DATAAREA_FAILURE_H_
