#ifndef _SYS_SYSCTL_H_
#define _SYS_SYSCTL_H_

#include <host_export.h>
#include <sys/types.h>

CORVANE_HOST_EXTERN_C_BEGIN

#define CTL_KERN 1
#define KERN_ARGMAX 8
#define KERN_PROC 14
#define KERN_PROC_PID 1
#define KERN_PROCARGS2 49

/// The longest short name of a process.
#define MAXCOMLEN 16

struct extern_proc {
  pid_t p_pid;
  /// The kernel's short name of the process, ended by a zero.
  char p_comm[MAXCOMLEN + 1];
};
struct kinfo_proc {
  struct extern_proc kp_proc;
};

/// Stores one of these in `oldp`:
/// {CTL_KERN, KERN_ARGMAX}: an int, the most bytes that a program's arguments take.
/// {CTL_KERN, KERN_PROCARGS2, pid}: the process's argument count (an int), the path of its
/// executable, zeros, and its arguments, each ended by a zero; cut where the buffer ends.
/// {CTL_KERN, KERN_PROC, KERN_PROC_PID, pid}: a kinfo_proc; no bytes when there is no such process.
/// Returns 0 with the number of bytes stored in `*oldlenp`, or -1 with `errno` EINVAL (no such
/// process, or one whose path cannot be read), ENOENT (no such name), ENOMEM (too small a buffer,
/// or too few file descriptors) or EPERM (`newp` is not null: nothing here can be set).
CORVANE_HOST_EXPORT int sysctl(int* name, unsigned int namelen, void* oldp, size_t* oldlenp,
                               void* newp, size_t newlen);

CORVANE_HOST_EXTERN_C_END

#endif  // _SYS_SYSCTL_H_
