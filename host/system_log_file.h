#ifndef CORVANE_HOST_SYSTEM_LOG_FILE_H_
#define CORVANE_HOST_SYSTEM_LOG_FILE_H_

namespace corvane::host {

/// What NSLog writes to, as the device knows it.
inline constexpr char kSystemLogFile[] = "/private/var/log/system.log";

}  // namespace corvane::host

#endif  // CORVANE_HOST_SYSTEM_LOG_FILE_H_
