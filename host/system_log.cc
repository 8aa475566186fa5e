#include "platform/system_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <ctime>
#include <string>

#include "host/file_descriptor.h"
#include "host/system_log_file.h"
#include "host/unit/unit_in_use.h"
#include "platform/export.h"
#include "platform/text.h"

namespace {

/// "2026-11-16 00:05:09.250 station[812:1] ", as the device's log begins its entries. The reentrant
/// conversion leaves the record that programs share alone.
std::string entryPrefix() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  struct tm local {};
  localtime_r(&now.tv_sec, &local);
  char time[80];
  strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S", &local);
  char prefix[300];
  snprintf(prefix, sizeof prefix, "%s.%03ld %s[%d:%d] ", time, now.tv_nsec / 1000000,
           program_invocation_short_name, getpid(), gettid());
  return prefix;
}

void append(const std::string& file, const std::string& entry) {
  const corvane::host::FileDescriptor log(
      open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
  if (!log) return;
  // One call, so that entries of several processes do not mix. A full disk drops the entry.
  [[maybe_unused]] const ssize_t written = write(log.get(), entry.data(), entry.size());
}

}  // namespace

extern "C" CORVANE_EXPORT void NSLog(CFStringRef format, ...) {
  const auto unit = corvane::host::unitInUse();
  if (!unit) return;

  va_list arguments;
  va_start(arguments, format);
  const corvane::CFRef<CFStringRef> text(
      CFStringCreateWithFormatAndArguments(kCFAllocatorDefault, nullptr, format, arguments));
  va_end(arguments);
  std::string entry = entryPrefix() + corvane::utf8Bytes(text.get());
  if (!entry.ends_with('\n')) entry += '\n';

  append(unit->filePath(corvane::host::kSystemLogFile), entry);
}
