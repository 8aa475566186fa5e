#ifndef _MACH_KERN_RETURN_H_
#define _MACH_KERN_RETURN_H_

typedef int kern_return_t;

#define KERN_SUCCESS 0
#define KERN_INVALID_ADDRESS 1
#define KERN_INVALID_ARGUMENT 4
#define KERN_FAILURE 5
#define KERN_RESOURCE_SHORTAGE 6
#define KERN_INVALID_NAME 15
#define KERN_INVALID_TASK 16
#define KERN_INVALID_HOST 22
/// Returned by a call on a port whose task or thread has gone, or on a name that is not held.
#define MACH_SEND_INVALID_DEST 0x10000003

#endif  // _MACH_KERN_RETURN_H_
