#include <sys/sysctl.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

#include "host/faults.h"
#include "host/mach/task_source.h"

namespace host = corvane::host;

namespace {

/// The most bytes of arguments on the device.
constexpr int32_t kArgumentSpace = 256 * 1024;

int fail(int error) {
  errno = error;
  return -1;
}

/// Fills a buffer from its start, and drops what does not fit.
class Writer {
 public:
  explicit Writer(std::span<char> buffer) : _buffer(buffer) {}

  void append(const void* bytes, size_t size) {
    size = std::min(size, _buffer.size() - _used);
    if (size > 0) std::memcpy(_buffer.data() + _used, bytes, size);
    _used += size;
  }
  /// Appends zeros up to a multiple of `unit` bytes, at least one.
  void appendZeros(size_t unit) {
    constexpr char kZero = 0;
    do append(&kZero, 1);
    while (_used % unit != 0 && _used < _buffer.size());
  }
  size_t used() const { return _used; }

 private:
  std::span<char> _buffer;
  size_t _used = 0;
};

int storeArgumentSpace(void* out, size_t* size) {
  if (*size < sizeof kArgumentSpace) return fail(ENOMEM);
  std::memcpy(out, &kArgumentSpace, sizeof kArgumentSpace);
  *size = sizeof kArgumentSpace;
  return 0;
}

int errorOf(kern_return_t result) { return result == KERN_RESOURCE_SHORTAGE ? ENOMEM : EINVAL; }

int storeArguments(int32_t pid, void* out, size_t* size) {
  host::TaskSource::Arguments arguments;
  const kern_return_t result = host::taskSource()->arguments(pid, arguments);
  if (result != KERN_SUCCESS) return fail(errorOf(result));
  const auto count =
      static_cast<int32_t>(std::count(arguments.words.begin(), arguments.words.end(), '\0'));
  Writer writer({static_cast<char*>(out), *size});
  writer.append(&count, sizeof count);
  writer.append(arguments.path.data(), arguments.path.size());
  writer.appendZeros(sizeof(uint64_t));
  writer.append(arguments.words.data(), arguments.words.size());
  *size = writer.used();
  return 0;
}

int storeProcess(int32_t pid, void* out, size_t* size) {
  if (*size < sizeof(kinfo_proc)) return fail(ENOMEM);
  std::string name;
  const kern_return_t result = host::taskSource()->name(pid, name);
  // As on the device, a process that does not exist is not an error; no bytes are stored.
  *size = 0;
  if (result == KERN_RESOURCE_SHORTAGE) return fail(ENOMEM);
  if (result != KERN_SUCCESS) return 0;
  kinfo_proc process{};
  process.kp_proc.p_pid = pid;
  name.copy(process.kp_proc.p_comm, MAXCOMLEN);
  std::memcpy(out, &process, sizeof process);
  *size = sizeof process;
  return 0;
}

}  // namespace

int sysctl(int* name, unsigned int length, void* out, size_t* size, void* newValue, size_t) {
  if (const auto result = host::injectedFault(host::Call::sysctl)) {
    errno = EPERM;
    return static_cast<int>(*result);
  }
  if (newValue) return fail(EPERM);
  const std::span asked(name, length);
  if (length == 2 && asked[0] == CTL_KERN && asked[1] == KERN_ARGMAX) {
    return storeArgumentSpace(out, size);
  }
  if (length == 3 && asked[0] == CTL_KERN && asked[1] == KERN_PROCARGS2) {
    return storeArguments(asked[2], out, size);
  }
  if (length == 4 && asked[0] == CTL_KERN && asked[1] == KERN_PROC && asked[2] == KERN_PROC_PID) {
    return storeProcess(asked[3], out, size);
  }
  return fail(ENOENT);
}
