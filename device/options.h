#ifndef CORVANE_DEVICE_OPTIONS_H_
#define CORVANE_DEVICE_OPTIONS_H_

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "controlbits/control_bits.h"

namespace corvane {

/// The model whose options decide whether it has a baseband.
inline constexpr char kModelWithOptions[] = "T34";

/// The value of the configuration key "OPTS", at most 255 bytes of it; nothing when there is none
/// or it cannot be read.
inline std::optional<std::string> readOptions() {
  constexpr uint32_t kOptionsKey = 0x4F505453;
  constexpr size_t kAreaSize = 8192;
  constexpr size_t kLongest = 255;
  // The read takes no size: no value is longer than the area that holds it.
  std::vector<uint8_t> value(kAreaSize);
  const int32_t length = ControlBits::readSystemConfig(value.data(), kOptionsKey);
  if (length <= 0) return {};
  return std::string(value.begin(), value.begin() + std::min<ptrdiff_t>(length, kLongest));
}

}  // namespace corvane

#endif  // CORVANE_DEVICE_OPTIONS_H_
