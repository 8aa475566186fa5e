#ifndef CORVANE_PLATFORM_IO_OBJECT_H_
#define CORVANE_PLATFORM_IO_OBJECT_H_

#include <IOKit/IOKitLib.h>

#include <utility>

namespace corvane {

/// Owns at most one reference to an object of the device registry: a service, an entry or an
/// iterator.
class IOObject {
 public:
  IOObject() = default;
  explicit IOObject(io_object_t owned) : _object(owned) {}
  IOObject(IOObject&& other) noexcept : _object(std::exchange(other._object, IO_OBJECT_NULL)) {}
  IOObject(const IOObject&) = delete;
  IOObject& operator=(const IOObject&) = delete;
  IOObject& operator=(IOObject&&) = delete;
  ~IOObject() {
    if (_object != IO_OBJECT_NULL) IOObjectRelease(_object);
  }

  io_object_t get() const { return _object; }
  explicit operator bool() const { return _object != IO_OBJECT_NULL; }

 private:
  io_object_t _object = IO_OBJECT_NULL;
};

}  // namespace corvane

#endif  // CORVANE_PLATFORM_IO_OBJECT_H_
