#ifndef CORVANE_PLATFORM_TRUNCATE_H_
#define CORVANE_PLATFORM_TRUNCATE_H_

#include <cmath>
#include <cstdint>
#include <limits>

namespace corvane {

/// Returns `value` without its fraction: the nearest bound when it lies outside 32 bits, 0 when it
/// is not a number.
inline int32_t truncatedToInt32(double value) {
  constexpr double kLowest = std::numeric_limits<int32_t>::min();
  constexpr double kHighest = std::numeric_limits<int32_t>::max();
  if (std::isnan(value)) return 0;
  if (value <= kLowest) return std::numeric_limits<int32_t>::min();
  if (value >= kHighest) return std::numeric_limits<int32_t>::max();
  return static_cast<int32_t>(value);
}

}  // namespace corvane

#endif  // CORVANE_PLATFORM_TRUNCATE_H_
