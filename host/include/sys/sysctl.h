#ifndef _SYS_SYSCTL_H_
#define _SYS_SYSCTL_H_

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

#define CTL_KERN 1
#define KERN_ARGMAX 8
#define KERN_PROCARGS2 49

/// {CTL_KERN, KERN_ARGMAX}: an int, the most bytes that a program's arguments take.
/// {CTL_KERN, KERN_PROCARGS2, pid}: the process's argument count (an int), the path of its
/// executable, zeros, and its arguments, each ended by a zero; cut where the buffer ends.
/// Returns 0 with the number of bytes stored in `*oldlenp`, or -1 with `errno` EINVAL (no such
/// process, or one whose path cannot be read), ENOENT (no such name), ENOMEM (too small a buffer)
/// or EPERM (`newp` is not null: nothing here can be set).
extern __attribute__((visibility("default"))) int sysctl(int* name, unsigned int namelen,
                                                         void* oldp, size_t* oldlenp, void* newp,
                                                         size_t newlen);

#ifdef __cplusplus
}
#endif

#endif  // _SYS_SYSCTL_H_
