#ifndef CORVANE_HOST_INCLUDE_DEVICE_ERROR_H_
#define CORVANE_HOST_INCLUDE_DEVICE_ERROR_H_

#include <stdexcept>

namespace corvane::host {

/// A virtual device cannot be used or changed; the text names the file and the reason.
class __attribute__((visibility("default"))) DeviceError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Another process or thread has held the unit's lock for too long.
class __attribute__((visibility("default"))) UnitBusyError : public DeviceError {
 public:
  using DeviceError::DeviceError;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_INCLUDE_DEVICE_ERROR_H_
