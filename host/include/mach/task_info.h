#ifndef _MACH_TASK_INFO_H_
#define _MACH_TASK_INFO_H_

#include <mach/mach_types.h>

typedef natural_t task_flavor_t;
typedef integer_t* task_info_t;

#define TASK_THREAD_TIMES_INFO 3

/// Of the task's live threads.
struct task_thread_times_info {
  time_value_t user_time;
  time_value_t system_time;
};
typedef struct task_thread_times_info task_thread_times_info_data_t;

#define TASK_THREAD_TIMES_INFO_COUNT \
  ((mach_msg_type_number_t)(sizeof(task_thread_times_info_data_t) / sizeof(natural_t)))

#endif  // _MACH_TASK_INFO_H_
