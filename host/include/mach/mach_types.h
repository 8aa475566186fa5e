#ifndef _MACH_MACH_TYPES_H_
#define _MACH_MACH_TYPES_H_

#include <mach/kern_return.h>
#include <stdint.h>

typedef int integer_t;
typedef unsigned int natural_t;
typedef natural_t mach_port_name_t;
typedef natural_t mach_port_t;
typedef natural_t mach_msg_type_number_t;

#define MACH_PORT_NULL ((mach_port_t)0)

typedef mach_port_t ipc_space_t;
typedef mach_port_t vm_map_t;
typedef uintptr_t vm_address_t;
typedef uintptr_t vm_size_t;

typedef mach_port_t host_t;
typedef mach_port_t host_priv_t;
typedef mach_port_t processor_set_t;
typedef mach_port_t processor_set_name_t;
typedef processor_set_name_t* processor_set_name_array_t;
typedef mach_port_t task_t;
typedef mach_port_t task_name_t;
typedef task_t* task_array_t;
typedef mach_port_t thread_act_t;
typedef thread_act_t* thread_act_array_t;

typedef struct {
  unsigned int tv_sec;
  int tv_nsec;
} mach_timespec_t;

typedef struct time_value {
  integer_t seconds;
  integer_t microseconds;
} time_value_t;

#endif  // _MACH_MACH_TYPES_H_
