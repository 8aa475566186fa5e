#include "processes/processes.h"

#include <mach/mach.h>
#include <sys/sysctl.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/mach_port.h"
#include "platform/out_of_memory.h"
#include "platform/text.h"
#include "processes/sampler_messages.h"

namespace corvane {
namespace {

using Ports = MachPortArray::Ports;

void report(const char* call, kern_return_t result) {
  std::printf(kCallFailed, call, mach_error_string(result));
}

void report(const char* call, mach_port_t port, kern_return_t result) {
  std::printf(kCallOnPortFailed, call, static_cast<int>(port), mach_error_string(result));
}

/// The capacity of a collection that takes any number of entries.
constexpr CFIndex kAnyCount = 0;

CFRef<CFMutableDictionaryRef> newDictionary() {
  return CFRef<CFMutableDictionaryRef>(CFDictionaryCreateMutable(kCFAllocatorDefault, kAnyCount,
                                                                 &kCFTypeDictionaryKeyCallBacks,
                                                                 &kCFTypeDictionaryValueCallBacks));
}

/// Sets an entry, or does nothing when any of the three is null.
void set(const CFRef<CFMutableDictionaryRef>& dictionary, CFStringRef key, CFTypeRef value) {
  if (dictionary && key && value) CFDictionarySetValue(dictionary.get(), key, value);
}

void setNumber(const CFRef<CFMutableDictionaryRef>& dictionary, CFStringRef key, double value) {
  const CFRef<CFNumberRef> number(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &value));
  set(dictionary, key, number.get());
}

/// Sets a time in seconds. The hundredths follow the point without a leading zero, as readers of
/// the records expect: 12.05 s is stored as 12.5.
void setTime(const CFRef<CFMutableDictionaryRef>& dictionary, CFStringRef key, time_value_t time) {
  const CFRef<CFStringRef> text =
      formatText(CFSTR("%d.%d"), time.seconds, time.microseconds / 10'000);
  if (text) setNumber(dictionary, key, CFStringGetDoubleValue(text.get()));
}

void merge(const CFRef<CFMutableDictionaryRef>& into,
           const CFRef<CFMutableDictionaryRef>& dictionary) {
  if (!dictionary) return;
  const auto count = static_cast<size_t>(CFDictionaryGetCount(dictionary.get()));
  std::vector<const void*> keys(count);
  std::vector<const void*> values(count);
  CFDictionaryGetKeysAndValues(dictionary.get(), keys.data(), values.data());
  for (size_t i = 0; i < count; ++i) set(into, static_cast<CFStringRef>(keys[i]), values[i]);
}

CFStringRef runStateText(integer_t state) {
  switch (state) {
    case TH_STATE_RUNNING:
      return CFSTR("running");
    case TH_STATE_STOPPED:
      return CFSTR("stopped");
    case TH_STATE_WAITING:
      return CFSTR("waiting");
    case TH_STATE_UNINTERRUPTIBLE:
      return CFSTR("uninterruptible");
    case TH_STATE_HALTED:
      return CFSTR("halted");
    default:
      return CFSTR("unknown_state");
  }
}

struct Free {
  void operator()(char* bytes) const { std::free(bytes); }
};

/// Stores at most `length` bytes of the value with this name, and their number in `length`.
bool readSysctl(std::span<int> name, void* out, size_t& length) {
  return sysctl(name.data(), static_cast<unsigned>(name.size()), out, &length, nullptr, 0) == 0;
}

/// Returns the path at the beginning of the process's argument area, or null when the area cannot
/// be read.
CFRef<CFStringRef> copyPath(int32_t pid) {
  int sizeName[] = {CTL_KERN, KERN_ARGMAX};
  int32_t size{};
  size_t length = sizeof size;
  if (!readSysctl(sizeName, &size, length)) return {};

  length = static_cast<size_t>(size);
  const std::unique_ptr<char, Free> area(static_cast<char*>(std::malloc(length)));
  int argumentsName[] = {CTL_KERN, KERN_PROCARGS2, pid};
  if (!area || !readSysctl(argumentsName, area.get(), length)) return {};

  // The scan starts within the argument count, which comes first: of 256 arguments or more the
  // count's second byte is not zero and is taken for the path.
  const char* const end = area.get() + length;
  const char* const path = std::find_if(std::min<const char*>(area.get() + 1, end), end,
                                        [](char byte) { return byte != '\0'; });
  if (path == end) return {};
  return formatText(CFSTR("%s"), std::string(path, std::find(path, end, '\0')).c_str());
}

}  // namespace

Processes::Processes() { refreshProcesses(); }

CFMutableDictionaryRef Processes::getCachedProcesses() { return _processes.get(); }

CFMutableDictionaryRef Processes::refreshProcesses() {
  unlessOutOfMemory([&] {
    const MachPort host(mach_host_self());
    _processes.reset();
    _processes = newDictionary();

    int ownPid = -1;
    kern_return_t result = pid_for_task(mach_task_self(), &ownPid);
    if (result != KERN_SUCCESS) {
      return report("pid_for_task", mach_task_self(), result);
    }
    MachPortArray sets(Ports::kOwned);
    result = host_processor_sets(host.get(), sets.out(), sets.outCount());
    if (result != KERN_SUCCESS) {
      return report("host_processor_sets", result);
    }
    for (const processor_set_name_t set : sets.ports()) {
      if (!addProcesses(host.get(), set, ownPid)) break;
    }
  });
  return _processes.get();
}

bool Processes::addProcesses(uint32_t host, uint32_t set, int32_t ownPid) {
  MachPort control;
  kern_return_t result = host_processor_set_priv(host, set, control.out());
  if (result != KERN_SUCCESS) {
    report("host_processor_set_priv", result);
    return false;
  }
  MachPortArray tasks(Ports::kOwned);
  result = processor_set_tasks(control.get(), tasks.out(), tasks.outCount());
  if (result != KERN_SUCCESS) {
    report("processor_set_tasks", control.get(), result);
    return false;
  }
  return std::ranges::all_of(tasks.ports(), [&](task_t task) { return addProcess(task, ownPid); });
}

bool Processes::addProcess(uint32_t task, int32_t ownPid) {
  int pid = -1;
  const kern_return_t result = pid_for_task(task, &pid);
  if (result != KERN_SUCCESS) {
    report("pid_for_task", task, result);
    return false;
  }
  if (pid == ownPid) return true;

  double usage = 0;
  const CFRef<CFMutableArrayRef> threads(
      CFArrayCreateMutable(kCFAllocatorDefault, kAnyCount, &kCFTypeArrayCallBacks));
  if (!addThreads(threads.get(), task, &usage)) return false;

  const CFRef<CFMutableDictionaryRef> record = newDictionary();
  set(record, CFSTR("threads"), threads.get());
  setNumber(record, CFSTR("total_usage"), usage);
  merge(record, taskInfoForPID(pid));
  set(_processes, formatText(CFSTR("%d"), pid).get(), record.get());
  return true;
}

bool Processes::addThreads(CFMutableArrayRef records, uint32_t task, double* usage) {
  MachPortArray threads(Ports::kReleasedByHolder);
  kern_return_t result = task_threads(task, threads.out(), threads.outCount());
  if (result != KERN_SUCCESS) {
    report("task_threads", task, result);
    return false;
  }
  for (const thread_act_t thread : threads.ports()) {
    const CFRef<CFMutableDictionaryRef> record = threadInfoForPort(thread, usage);
    if (records && record) CFArrayAppendValue(records, record.get());
    // Released right after its query, so that a pass never holds the ports of all threads at once.
    result = mach_port_deallocate(mach_task_self(), thread);
    if (result != KERN_SUCCESS) {
      report("mach_port_deallocate", thread, result);
      return false;
    }
  }
  return true;
}

CFRef<CFMutableDictionaryRef> Processes::taskInfoForPID(int32_t pid) {
  CFRef<CFMutableDictionaryRef> info = newDictionary();
  const CFRef<CFStringRef> path = copyPath(pid);
  const CFStringRef defaultName = pid == 0 ? CFSTR("kernel_task") : CFSTR("[Unknown Name]");
  set(info, CFSTR("name"), path ? path.get() : defaultName);

  MachPort task;
  const kern_return_t result = task_name_for_pid(mach_task_self(), pid, task.out());
  if (result != KERN_SUCCESS) {
    report(kUnnamedTaskCall, result);
    return info;
  }
  task_thread_times_info_data_t times{};
  mach_msg_type_number_t count = TASK_THREAD_TIMES_INFO_COUNT;
  if (task_info(task.get(), TASK_THREAD_TIMES_INFO, reinterpret_cast<task_info_t>(&times),
                &count) != KERN_SUCCESS) {
    return info;
  }
  setTime(info, CFSTR("user_time"), times.user_time);
  setTime(info, CFSTR("system_time"), times.system_time);
  return info;
}

CFRef<CFMutableDictionaryRef> Processes::threadInfoForPort(uint32_t port, double* usage) {
  CFRef<CFMutableDictionaryRef> record = newDictionary();
  thread_basic_info_data_t thread{};
  mach_msg_type_number_t count = THREAD_BASIC_INFO_COUNT;
  const kern_return_t result =
      thread_info(port, THREAD_BASIC_INFO, reinterpret_cast<thread_info_t>(&thread), &count);
  if (result != KERN_SUCCESS) {
    std::printf(kThreadQueryFailed, static_cast<int>(port), mach_error_string(result));
    return record;
  }
  const double threadUsage = thread.cpu_usage / 10.0;
  *usage += threadUsage;
  setNumber(record, CFSTR("cpu_usage"), threadUsage);
  set(record, CFSTR("run_state"), runStateText(thread.run_state));
  // Only the idle bit alone means idle. A thread without any flag is labelled "swapped" as well.
  set(record, CFSTR("flags"), thread.flags == TH_FLAGS_IDLE ? CFSTR("idle") : CFSTR("swapped"));
  setTime(record, CFSTR("user_time"), thread.user_time);
  setTime(record, CFSTR("system_time"), thread.system_time);
  return record;
}

}  // namespace corvane
