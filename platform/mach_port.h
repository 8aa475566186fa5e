#ifndef CORVANE_PLATFORM_MACH_PORT_H_
#define CORVANE_PLATFORM_MACH_PORT_H_

#include <mach/mach.h>

#include <span>

namespace corvane {

/// Owns at most one reference to a port that a Mach call returned.
class MachPort {
 public:
  MachPort() = default;
  explicit MachPort(mach_port_t owned) : _port(owned) {}
  MachPort(const MachPort&) = delete;
  MachPort& operator=(const MachPort&) = delete;
  ~MachPort() {
    if (_port != MACH_PORT_NULL) mach_port_deallocate(mach_task_self(), _port);
  }

  mach_port_t get() const { return _port; }
  /// Returns where a call stores the port that it returns.
  mach_port_t* out() { return &_port; }

 private:
  mach_port_t _port = MACH_PORT_NULL;
};

/// Owns at most one array of ports that a Mach call returned: the array and its ports, or only
/// the array when their holder releases them one by one.
class MachPortArray {
 public:
  enum class Ports { kOwned, kReleasedByHolder };

  explicit MachPortArray(Ports ports) : _arePortsOwned(ports == Ports::kOwned) {}
  MachPortArray(const MachPortArray&) = delete;
  MachPortArray& operator=(const MachPortArray&) = delete;
  ~MachPortArray() {
    if (!_array) return;
    if (_arePortsOwned) {
      for (const mach_port_t port : ports()) mach_port_deallocate(mach_task_self(), port);
    }
    vm_deallocate(mach_task_self(), reinterpret_cast<vm_address_t>(_array),
                  _count * sizeof(mach_port_t));
  }

  std::span<const mach_port_t> ports() const { return {_array, _count}; }
  /// Return where a call stores the array that it returns, and its length.
  mach_port_t** out() { return &_array; }
  mach_msg_type_number_t* outCount() { return &_count; }

 private:
  mach_port_t* _array = nullptr;
  mach_msg_type_number_t _count = 0;
  bool _arePortsOwned;
};

}  // namespace corvane

#endif  // CORVANE_PLATFORM_MACH_PORT_H_
