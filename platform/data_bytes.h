#ifndef CORVANE_PLATFORM_DATA_BYTES_H_
#define CORVANE_PLATFORM_DATA_BYTES_H_

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <span>

namespace corvane {

/// Return the bytes that `data` holds, which stay where they are until it is released or changes
/// its length.
/// @{
inline std::span<const uint8_t> bytesOf(CFDataRef data) {
  return {CFDataGetBytePtr(data), static_cast<size_t>(CFDataGetLength(data))};
}
inline std::span<uint8_t> bytesOf(CFMutableDataRef data) {
  return {CFDataGetMutableBytePtr(data), static_cast<size_t>(CFDataGetLength(data))};
}
/// @}

}  // namespace corvane

#endif  // CORVANE_PLATFORM_DATA_BYTES_H_
