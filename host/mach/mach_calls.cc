#include <mach/mach.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "host/faults.h"
#include "host/handles.h"
#include "host/mach/task_source.h"

namespace host = corvane::host;

namespace {

struct Host : host::KernelObject {};
struct ProcessorSetName : host::KernelObject {};
struct ProcessorSet : host::KernelObject {};

/// A port that names a task. A `Task` also lets its holder look inside.
struct TaskName : host::KernelObject {
  const int32_t pid;
  explicit TaskName(int32_t itsPid) : pid(itsPid) {}
};
struct Task : TaskName {
  using TaskName::TaskName;
};

struct Thread : host::KernelObject {
  const int32_t pid;
  const int32_t id;
  Thread(int32_t itsPid, int32_t itsId) : pid(itsPid), id(itsId) {}
};

/// Returns the error of a call whose `port` names no object of the expected kind.
kern_return_t wrongPort(mach_port_t port) {
  return host::handles().find(port) ? KERN_INVALID_ARGUMENT : MACH_SEND_INVALID_DEST;
}

/// Returns the task of this Kind that `port` names, or null. The process's own port is not in the
/// table.
template <typename Kind>
std::shared_ptr<Kind> findTask(mach_port_t port) {
  return port == mach_task_self() ? std::make_shared<Task>(getpid()) : host::findHandle<Kind>(port);
}

/// Stores an array with a new port for each of `ids`, to the object that `makeObject` makes of it.
/// vm_deallocate frees the array.
template <typename MakeObject>
void storePorts(const std::vector<int32_t>& ids, MakeObject makeObject, mach_port_t** ports,
                mach_msg_type_number_t* count) {
  *ports = nullptr;
  *count = static_cast<mach_msg_type_number_t>(ids.size());
  if (ids.empty()) return;
  const auto free = [](mach_port_t* memory) { std::free(memory); };
  std::unique_ptr<mach_port_t, decltype(free)> array(
      static_cast<mach_port_t*>(std::malloc(ids.size() * sizeof(mach_port_t))));
  if (!array) throw std::bad_alloc();
  mach_port_t* next = array.get();
  for (const int32_t id : ids) *next++ = host::handles().add(makeObject(id));
  *ports = array.release();
}

/// Returns the error of a call that looks up a task other than by its port.
kern_return_t lookupFailure(kern_return_t result) {
  return result == MACH_SEND_INVALID_DEST ? KERN_FAILURE : result;
}

/// Answers task_info and thread_info: stores the Info that `query` finds out about `object`, which
/// `port` names. Fails with KERN_INVALID_ARGUMENT when the caller asks for another flavour or has
/// too little room.
template <typename Info, typename Object, typename Query>
kern_return_t storeInfo(mach_port_t port, const std::shared_ptr<Object>& object, bool isFlavor,
                        integer_t* out, mach_msg_type_number_t* count, Query query) {
  constexpr mach_msg_type_number_t kNeeded = sizeof(Info) / sizeof(natural_t);
  if (!object) return wrongPort(port);
  if (!isFlavor || *count < kNeeded) return KERN_INVALID_ARGUMENT;
  Info info{};
  const kern_return_t result = query(*object, info);
  if (result != KERN_SUCCESS) return result;
  std::memcpy(out, &info, sizeof info);
  *count = kNeeded;
  return KERN_SUCCESS;
}

}  // namespace

/// Returns from a call with the result that a fault rule gives it, if one does.
#define CORVANE_FAIL_BY_RULE(name)                               \
  if (const auto result = host::injectedFault(host::Call::name)) \
  return static_cast<kern_return_t>(*result)

mach_port_t mach_task_self_ = 0x203;

kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name) {
  CORVANE_FAIL_BY_RULE(mach_port_deallocate);
  if (task != mach_task_self()) return KERN_INVALID_TASK;
  return host::handles().release(name) ? KERN_SUCCESS : KERN_INVALID_NAME;
}

kern_return_t vm_deallocate(vm_map_t task, vm_address_t address, vm_size_t) {
  CORVANE_FAIL_BY_RULE(vm_deallocate);
  if (task != mach_task_self()) return KERN_INVALID_ARGUMENT;
  std::free(reinterpret_cast<void*>(address));
  return KERN_SUCCESS;
}

mach_port_t mach_host_self() {
  if (const auto result = host::injectedFault(host::Call::mach_host_self))
    return static_cast<mach_port_t>(*result);
  return host::handles().add(std::make_shared<Host>());
}

kern_return_t host_processor_sets(host_priv_t host, processor_set_name_array_t* sets,
                                  mach_msg_type_number_t* count) {
  CORVANE_FAIL_BY_RULE(host_processor_sets);
  if (!host::findHandle<Host>(host)) return wrongPort(host);
  const std::vector<int32_t> ids(host::taskSource()->processorSets());
  storePorts(
      ids, [](int32_t) { return std::make_shared<ProcessorSetName>(); }, sets, count);
  return KERN_SUCCESS;
}

kern_return_t host_processor_set_priv(host_priv_t host, processor_set_name_t name,
                                      processor_set_t* set) {
  CORVANE_FAIL_BY_RULE(host_processor_set_priv);
  if (!host::findHandle<Host>(host)) return wrongPort(host);
  if (!host::findHandle<ProcessorSetName>(name)) return KERN_INVALID_ARGUMENT;
  *set = host::handles().add(std::make_shared<ProcessorSet>());
  return KERN_SUCCESS;
}

kern_return_t processor_set_tasks(processor_set_t set, task_array_t* tasks,
                                  mach_msg_type_number_t* count) {
  CORVANE_FAIL_BY_RULE(processor_set_tasks);
  if (!host::findHandle<ProcessorSet>(set)) return wrongPort(set);
  std::vector<int32_t> pids;
  const kern_return_t result = host::taskSource()->tasks(pids);
  if (result != KERN_SUCCESS) return result;
  storePorts(
      pids, [](int32_t pid) { return std::make_shared<Task>(pid); }, tasks, count);
  return KERN_SUCCESS;
}

kern_return_t pid_for_task(mach_port_name_t port, int* pid) {
  CORVANE_FAIL_BY_RULE(pid_for_task);
  const auto task = findTask<TaskName>(port);
  if (!task) return KERN_FAILURE;
  const kern_return_t result = host::taskSource()->findTask(task->pid);
  if (result != KERN_SUCCESS) return lookupFailure(result);
  *pid = task->pid;
  return KERN_SUCCESS;
}

kern_return_t task_name_for_pid(mach_port_name_t task, int pid, mach_port_name_t* name) {
  CORVANE_FAIL_BY_RULE(task_name_for_pid);
  if (task != mach_task_self()) return KERN_FAILURE;
  const kern_return_t result = host::taskSource()->findTask(pid);
  if (result != KERN_SUCCESS) return lookupFailure(result);
  *name = host::handles().add(std::make_shared<TaskName>(pid));
  return KERN_SUCCESS;
}

kern_return_t task_threads(task_t port, thread_act_array_t* threads,
                           mach_msg_type_number_t* count) {
  CORVANE_FAIL_BY_RULE(task_threads);
  const auto task = findTask<Task>(port);
  if (!task) return wrongPort(port);
  std::vector<int32_t> ids;
  const kern_return_t result = host::taskSource()->threads(task->pid, ids);
  if (result != KERN_SUCCESS) return result;
  storePorts(
      ids, [&](int32_t id) { return std::make_shared<Thread>(task->pid, id); }, threads, count);
  return KERN_SUCCESS;
}

kern_return_t task_info(task_name_t port, task_flavor_t flavor, task_info_t info,
                        mach_msg_type_number_t* count) {
  CORVANE_FAIL_BY_RULE(task_info);
  return storeInfo<task_thread_times_info_data_t>(
      port, findTask<TaskName>(port), flavor == TASK_THREAD_TIMES_INFO, info, count,
      [](const TaskName& task, task_thread_times_info_data_t& times) {
        return host::taskSource()->taskTimes(task.pid, times);
      });
}

kern_return_t thread_info(thread_act_t port, thread_flavor_t flavor, thread_info_t info,
                          mach_msg_type_number_t* count) {
  CORVANE_FAIL_BY_RULE(thread_info);
  return storeInfo<thread_basic_info_data_t>(
      port, host::findHandle<Thread>(port), flavor == THREAD_BASIC_INFO, info, count,
      [](const Thread& thread, thread_basic_info_data_t& basic) {
        return host::taskSource()->threadInfo(thread.pid, thread.id, basic);
      });
}
