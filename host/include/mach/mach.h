#ifndef _MACH_MACH_H_
#define _MACH_MACH_H_

#include <host_export.h>
#include <mach/mach_error.h>
#include <mach/mach_types.h>
#include <mach/task_info.h>
#include <mach/thread_info.h>

CORVANE_HOST_EXTERN_C_BEGIN

/// The port through which a task finds the system's services.
CORVANE_HOST_EXPORT mach_port_t bootstrap_port;

/// The calling task's own port; not counted.
CORVANE_HOST_EXPORT mach_port_t mach_task_self_;
#define mach_task_self() mach_task_self_

/// Ports are counted names of this process: a call that returns one adds a reference, which
/// mach_port_deallocate gives back. Arrays that a call returns are given back with vm_deallocate,
/// their ports one by one. A call on a port whose task or thread has gone, or on a name that is not
/// held, fails with MACH_SEND_INVALID_DEST; on a port of another kind with KERN_INVALID_ARGUMENT;
/// and when this process lacks file descriptors for an answer, with KERN_RESOURCE_SHORTAGE.

/// Gives a reference back. Fails with KERN_INVALID_NAME for a name that this process does not hold.
CORVANE_HOST_EXPORT kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name);
/// Frees an array that a call returned; `size` is in bytes.
CORVANE_HOST_EXPORT kern_return_t vm_deallocate(vm_map_t target_task, vm_address_t address,
                                                vm_size_t size);

CORVANE_HOST_EXPORT mach_port_t mach_host_self(void);
/// Stores the name ports of the host's processor sets. A virtual device has one set.
CORVANE_HOST_EXPORT kern_return_t host_processor_sets(host_priv_t host_priv,
                                                      processor_set_name_array_t* processor_sets,
                                                      mach_msg_type_number_t* processor_setsCnt);
CORVANE_HOST_EXPORT kern_return_t host_processor_set_priv(host_priv_t host_priv,
                                                          processor_set_name_t set_name,
                                                          processor_set_t* set);
/// Stores a port for each process of this machine, and one for the kernel task.
CORVANE_HOST_EXPORT kern_return_t processor_set_tasks(processor_set_t processor_set,
                                                      task_array_t* task_list,
                                                      mach_msg_type_number_t* task_listCnt);

/// Stores the process id of the task. Fails with KERN_FAILURE when the task has gone.
CORVANE_HOST_EXPORT kern_return_t pid_for_task(mach_port_name_t t, int* x);
/// Stores a port that only names the task. Fails with KERN_FAILURE when there is no such
/// process.
CORVANE_HOST_EXPORT kern_return_t task_name_for_pid(mach_port_name_t target_tport, int pid,
                                                    mach_port_name_t* tn);
CORVANE_HOST_EXPORT kern_return_t task_threads(task_t target_task, thread_act_array_t* act_list,
                                               mach_msg_type_number_t* act_listCnt);
/// Stores the TASK_THREAD_TIMES_INFO of the task, the only flavour.
CORVANE_HOST_EXPORT kern_return_t task_info(task_name_t target_task, task_flavor_t flavor,
                                            task_info_t task_info_out,
                                            mach_msg_type_number_t* task_info_outCnt);
/// Stores the THREAD_BASIC_INFO of the thread, the only flavour. The CPU usage is measured since a
/// call for this thread at least a quarter of a second ago, or over the thread's life when there
/// was none. Policy, suspend count and sleep time are 0.
CORVANE_HOST_EXPORT kern_return_t thread_info(thread_act_t target_act, thread_flavor_t flavor,
                                              thread_info_t thread_info_out,
                                              mach_msg_type_number_t* thread_info_outCnt);

CORVANE_HOST_EXTERN_C_END

#endif  // _MACH_MACH_H_
