#ifndef _MACH_MACH_H_
#define _MACH_MACH_H_

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int kern_return_t;
typedef unsigned int natural_t;
typedef natural_t mach_port_t;

#define MACH_PORT_NULL ((mach_port_t)0)

#define KERN_SUCCESS 0
#define KERN_INVALID_NAME 15

typedef struct {
  unsigned int tv_sec;
  int tv_nsec;
} mach_timespec_t;

/// The port through which a task finds the system's services.
extern __attribute__((visibility("default"))) mach_port_t bootstrap_port;

#ifdef __cplusplus
}
#endif

#endif  // _MACH_MACH_H_
