#include <mach/mach.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <span>

#include "host/faults.h"
#include "host/handles.h"
#include "host/mach/task_source.h"

using corvane::host::Call;
using corvane::host::findHandle;
using corvane::host::handles;
using corvane::host::injectedFault;
using corvane::host::KernelObject;
using corvane::host::taskSource;

namespace {

struct Host : KernelObject {};
struct ProcessorSetName : KernelObject {};
struct ProcessorSet : KernelObject {};

/// A port that names a task; `Task` lets its holder look inside, too.
struct TaskName : KernelObject {
  const int32_t pid;
  explicit TaskName(int32_t itsPid) : pid(itsPid) {}
};
struct Task : TaskName {
  using TaskName::TaskName;
};

struct Thread : KernelObject {
  const int32_t pid;
  const int32_t id;
  Thread(int32_t itsPid, int32_t itsId) : pid(itsPid), id(itsId) {}
};

/// What a call on `port` fails with when it names nothing of the kind that the call is for.
kern_return_t wrongPort(mach_port_t port) {
  return handles().find(port) ? KERN_INVALID_ARGUMENT : MACH_SEND_INVALID_DEST;
}

/// The task that `port` names, of that Kind; the process's own port is not in the table.
template <typename Kind>
std::shared_ptr<Kind> findTask(mach_port_t port) {
  return port == mach_task_self() ? std::make_shared<Task>(getpid()) : findHandle<Kind>(port);
}

/// An array as the kernel hands one out, with a new port to the object made for each of `ids`.
/// vm_deallocate frees it.
template <typename Ids, typename MakeObject>
void handOut(const Ids& ids, MakeObject makeObject, mach_port_t** ports,
             mach_msg_type_number_t* count) {
  *ports = nullptr;
  *count = static_cast<mach_msg_type_number_t>(ids.size());
  if (ids.empty()) return;
  *ports = static_cast<mach_port_t*>(std::malloc(ids.size() * sizeof(mach_port_t)));
  mach_port_t* next = *ports;
  for (const auto id : ids) *next++ = handles().add(makeObject(id));
}

/// Stores `info` as integers when there is room for all of them.
template <typename Info>
kern_return_t storeInfo(const std::optional<Info>& info, integer_t* out,
                        mach_msg_type_number_t* count) {
  constexpr mach_msg_type_number_t kNeeded = sizeof(Info) / sizeof(natural_t);
  if (*count < kNeeded) return KERN_INVALID_ARGUMENT;
  if (!info) return MACH_SEND_INVALID_DEST;
  std::memcpy(out, &*info, sizeof(Info));
  *count = kNeeded;
  return KERN_SUCCESS;
}

}  // namespace

/// Each call asks the fault rules first.
#define CORVANE_FAIL_BY_RULE(name) \
  if (const auto result = injectedFault(Call::name)) return static_cast<kern_return_t>(*result)

mach_port_t mach_task_self_ = 0x203;

kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name) {
  CORVANE_FAIL_BY_RULE(mach_port_deallocate);
  if (task != mach_task_self()) return KERN_INVALID_TASK;
  return handles().release(name) ? KERN_SUCCESS : KERN_INVALID_NAME;
}

kern_return_t vm_deallocate(vm_map_t task, vm_address_t address, vm_size_t) {
  CORVANE_FAIL_BY_RULE(vm_deallocate);
  if (task != mach_task_self()) return KERN_INVALID_ARGUMENT;
  std::free(reinterpret_cast<void*>(address));
  return KERN_SUCCESS;
}

mach_port_t mach_host_self() {
  if (const auto result = injectedFault(Call::mach_host_self))
    return static_cast<mach_port_t>(*result);
  return handles().add(std::make_shared<Host>());
}

kern_return_t host_processor_sets(host_priv_t host, processor_set_name_array_t* sets,
                                  mach_msg_type_number_t* count) {
  CORVANE_FAIL_BY_RULE(host_processor_sets);
  if (!findHandle<Host>(host)) return wrongPort(host);
  constexpr int32_t kOnlySet[] = {0};
  handOut(
      std::span(kOnlySet), [](int32_t) { return std::make_shared<ProcessorSetName>(); }, sets,
      count);
  return KERN_SUCCESS;
}

kern_return_t host_processor_set_priv(host_priv_t host, processor_set_name_t name,
                                      processor_set_t* set) {
  CORVANE_FAIL_BY_RULE(host_processor_set_priv);
  if (!findHandle<Host>(host)) return wrongPort(host);
  if (!findHandle<ProcessorSetName>(name)) return KERN_INVALID_ARGUMENT;
  *set = handles().add(std::make_shared<ProcessorSet>());
  return KERN_SUCCESS;
}

kern_return_t processor_set_tasks(processor_set_t set, task_array_t* tasks,
                                  mach_msg_type_number_t* count) {
  CORVANE_FAIL_BY_RULE(processor_set_tasks);
  if (!findHandle<ProcessorSet>(set)) return wrongPort(set);
  const auto pids = taskSource()->tasks();
  if (!pids) return KERN_FAILURE;
  handOut(
      *pids, [](int32_t pid) { return std::make_shared<Task>(pid); }, tasks, count);
  return KERN_SUCCESS;
}

kern_return_t pid_for_task(mach_port_name_t port, int* pid) {
  CORVANE_FAIL_BY_RULE(pid_for_task);
  const auto task = findTask<TaskName>(port);
  if (!task || !taskSource()->hasTask(task->pid)) return KERN_FAILURE;
  *pid = task->pid;
  return KERN_SUCCESS;
}

kern_return_t task_name_for_pid(mach_port_name_t task, int pid, mach_port_name_t* name) {
  CORVANE_FAIL_BY_RULE(task_name_for_pid);
  if (task != mach_task_self() || !taskSource()->hasTask(pid)) return KERN_FAILURE;
  *name = handles().add(std::make_shared<TaskName>(pid));
  return KERN_SUCCESS;
}

kern_return_t task_threads(task_t port, thread_act_array_t* threads,
                           mach_msg_type_number_t* count) {
  CORVANE_FAIL_BY_RULE(task_threads);
  const auto task = findTask<Task>(port);
  if (!task) return wrongPort(port);
  const auto ids = taskSource()->threads(task->pid);
  if (!ids) return MACH_SEND_INVALID_DEST;
  handOut(
      *ids, [&](int32_t id) { return std::make_shared<Thread>(task->pid, id); }, threads, count);
  return KERN_SUCCESS;
}

kern_return_t task_info(task_name_t port, task_flavor_t flavor, task_info_t info,
                        mach_msg_type_number_t* count) {
  CORVANE_FAIL_BY_RULE(task_info);
  const auto task = findTask<TaskName>(port);
  if (!task) return wrongPort(port);
  if (flavor != TASK_THREAD_TIMES_INFO) return KERN_INVALID_ARGUMENT;
  return storeInfo(taskSource()->taskTimes(task->pid), info, count);
}

kern_return_t thread_info(thread_act_t port, thread_flavor_t flavor, thread_info_t info,
                          mach_msg_type_number_t* count) {
  CORVANE_FAIL_BY_RULE(thread_info);
  const auto thread = findHandle<Thread>(port);
  if (!thread) return wrongPort(port);
  if (flavor != THREAD_BASIC_INFO) return KERN_INVALID_ARGUMENT;
  return storeInfo(taskSource()->threadInfo(thread->pid, thread->id), info, count);
}
