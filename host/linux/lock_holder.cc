#include "host/linux/lock_holder.h"

#include <sys/sysmacros.h>

#include <cstdio>
#include <sstream>
#include <string>

#include "host/linux/proc_files.h"

namespace corvane::host {

pid_t lockHolder(const struct stat& file) {
  std::istringstream locks(readWhole("/proc/locks").value_or(""));
  for (std::string line; std::getline(locks, line);) {
    // "1: FLOCK  ADVISORY  WRITE 708 08:02:1234 0 EOF"; one that waits has "->" after its number.
    int pid = 0;
    unsigned int majorNumber = 0, minorNumber = 0;
    unsigned long inode = 0;
    if (std::sscanf(line.c_str(), "%*[^:]: FLOCK %*s %*s %d %x:%x:%lu", &pid, &majorNumber,
                    &minorNumber, &inode) != 4) {
      continue;
    }
    if (inode == file.st_ino && majorNumber == major(file.st_dev) &&
        minorNumber == minor(file.st_dev)) {
      return pid > 0 ? pid : 0;
    }
  }
  return 0;
}

}  // namespace corvane::host
