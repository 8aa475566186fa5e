#ifndef _MACH_THREAD_INFO_H_
#define _MACH_THREAD_INFO_H_

#include <mach/mach_types.h>

typedef natural_t thread_flavor_t;
typedef integer_t* thread_info_t;

#define THREAD_BASIC_INFO 3

struct thread_basic_info {
  time_value_t user_time;
  time_value_t system_time;
  /// Scaled: TH_USAGE_SCALE is one processor.
  integer_t cpu_usage;
  integer_t policy;
  integer_t run_state;
  integer_t flags;
  integer_t suspend_count;
  integer_t sleep_time;
};
typedef struct thread_basic_info thread_basic_info_data_t;

#define THREAD_BASIC_INFO_COUNT \
  ((mach_msg_type_number_t)(sizeof(thread_basic_info_data_t) / sizeof(natural_t)))

#define TH_USAGE_SCALE 1000

#define TH_STATE_RUNNING 1
#define TH_STATE_STOPPED 2
#define TH_STATE_WAITING 3
#define TH_STATE_UNINTERRUPTIBLE 4
#define TH_STATE_HALTED 5

#define TH_FLAGS_SWAPPED 0x1
#define TH_FLAGS_IDLE 0x2

#endif  // _MACH_THREAD_INFO_H_
