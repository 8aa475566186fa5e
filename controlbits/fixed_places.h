#ifndef CORVANE_CONTROLBITS_FIXED_PLACES_H_
#define CORVANE_CONTROLBITS_FIXED_PLACES_H_

#include <cstdint>

namespace corvane {

/// Fixed places among the control-bit bytes.
inline constexpr uint32_t kLogCollectionOffset = 9;
inline constexpr uint32_t kSuiteStatusOffset = 18;

}  // namespace corvane

#endif  // CORVANE_CONTROLBITS_FIXED_PLACES_H_
