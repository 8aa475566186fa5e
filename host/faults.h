#ifndef CORVANE_HOST_FAULTS_H_
#define CORVANE_HOST_FAULTS_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

/// The platform functions that a rule can name, each with the result it fails with when the rule
/// gives none. YIELDS functions hand out an object or a pointer and fail by handing out null.
#define CORVANE_FAULT_CALLS(RESULT, YIELDS)          \
  YIELDS(CFArrayCreateMutable)                       \
  YIELDS(CFDataCreate)                               \
  YIELDS(CFDataCreateWithBytesNoCopy)                \
  RESULT(CFDataGetLength, 0)                         \
  YIELDS(CFDictionaryCreateMutable)                  \
  YIELDS(CFDictionaryGetValue)                       \
  RESULT(CFGetTypeID, 0)                             \
  YIELDS(CFNumberCreate)                             \
  YIELDS(CFPropertyListCreateWithData)               \
  YIELDS(CFStringCreateMutable)                      \
  YIELDS(CFStringCreateMutableCopy)                  \
  YIELDS(CFStringCreateWithBytes)                    \
  YIELDS(CFStringCreateWithCString)                  \
  YIELDS(CFStringCreateWithFormat)                   \
  YIELDS(CFStringCreateWithFormatAndArguments)       \
  RESULT(IOIteratorNext, 0)                          \
  RESULT(IOKitWaitQuiet, -536870212)                 \
  RESULT(IOMasterPort, -536870212)                   \
  RESULT(IOObjectRelease, -536870212)                \
  YIELDS(IORegistryEntryCreateCFProperty)            \
  RESULT(IORegistryEntryFromPath, 0)                 \
  RESULT(IORegistryEntryGetName, -536870212)         \
  RESULT(IORegistryEntrySetCFProperties, -536870212) \
  RESULT(IORegistryEntrySetCFProperty, -536870212)   \
  RESULT(IOServiceGetMatchingService, 0)             \
  RESULT(IOServiceGetMatchingServices, -536870212)   \
  YIELDS(IOServiceMatching)                          \
  RESULT(MobileWiFiContainsRadio, 0)                 \
  RESULT(access, -1)                                 \
  YIELDS(calloc)                                     \
  YIELDS(ctime)                                      \
  RESULT(fclose, -1)                                 \
  RESULT(fflush, -1)                                 \
  YIELDS(fopen)                                      \
  RESULT(fputc, -1)                                  \
  RESULT(fwrite, 0)                                  \
  RESULT(host_processor_set_priv, 5)                 \
  RESULT(host_processor_sets, 5)                     \
  YIELDS(localtime)                                  \
  RESULT(mach_host_self, 0)                          \
  RESULT(mach_port_deallocate, 15)                   \
  YIELDS(malloc)                                     \
  RESULT(mkdir, -1)                                  \
  RESULT(pid_for_task, 5)                            \
  RESULT(processor_set_tasks, 5)                     \
  RESULT(sysctl, -1)                                 \
  RESULT(task_info, 0x10000003)                      \
  RESULT(task_name_for_pid, 5)                       \
  RESULT(task_threads, 0x10000003)                   \
  RESULT(thread_info, 0x10000003)                    \
  RESULT(time, -1)                                   \
  RESULT(vm_deallocate, 1)

namespace corvane::host {

enum class Call {
#define CORVANE_FAULT_ENUM(name, ...) name,
  CORVANE_FAULT_CALLS(CORVANE_FAULT_ENUM, CORVANE_FAULT_ENUM)
#undef CORVANE_FAULT_ENUM
};

/// Every platform function asks this first, once per call: what it must return instead of doing its
/// work, or nothing when no rule makes this call fail. 0 stands for null in functions that yield an
/// object. Calls that the host platform makes itself (ScopedHostCall) are neither counted nor
/// failed.
std::optional<int64_t> injectedFault(Call call);

/// While one exists, platform calls on this thread are the host platform's own.
class ScopedHostCall {
 public:
  ScopedHostCall();
  ~ScopedHostCall();
  ScopedHostCall(const ScopedHostCall&) = delete;
  ScopedHostCall& operator=(const ScopedHostCall&) = delete;
};

/// Puts the stuck bytes of data set `set` over its contents.
void applyStuckBytes(std::string_view set, std::span<uint8_t> contents);

/// Replaces this process's rules and starts counting afresh. Returns what is wrong with the first
/// rule that cannot be used, and changes nothing then; an empty text when all is well.
std::string setFaultRules(std::string_view rules);

}  // namespace corvane::host

#endif  // CORVANE_HOST_FAULTS_H_
