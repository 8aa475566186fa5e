#include "host/system_log.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <ctime>
#include <exception>
#include <mutex>
#include <string>

#include "host/linux/system_calls.h"
#include "host/virtual_unit/unit_file.h"
#include "host/virtual_unit/unit_in_use.h"
#include "platform/export.h"
#include "platform/file_descriptor.h"
#include "platform/files.h"
#include "platform/fork_safe_lock.h"
#include "platform/system_log.h"
#include "platform/text.h"

namespace corvane::host {
namespace {

struct LocalTime;

/// Returns "2026-11-16 00:05:09.250 station[812:1] ", as entries begin in the device's log. The
/// reentrant conversion does not change the record that programs share.
std::string entryPrefix() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  struct tm local {};
  {
    // A child of fork cannot free the lock that the C library holds in a conversion.
    const std::lock_guard lock(ForkSafeLock<LocalTime>::get());
    localtime_r(&now.tv_sec, &local);
  }
  char time[80];
  strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S", &local);
  char prefix[300];
  snprintf(prefix, sizeof prefix, "%s.%03ld %s[%d:%d] ", time, now.tv_nsec / 1000000, programName(),
           getpid(), threadId());
  return prefix;
}

/// Waits until no other process appends, but not long for a process that was stopped while it did:
/// a torn entry is better than a station that hangs.
void lockForAppend(int log) {
  constexpr timespec kPause{0, 1000000};
  for (int attempt = 0; attempt < 200; ++attempt) {
    if (::flock(log, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
    ::nanosleep(&kPause, nullptr);
  }
}

/// Appends the whole entry, or nothing when the disk is full.
void append(const std::string& file, std::string entry) {
  const FileDescriptor log = openForAppending(file, O_RDWR);
  if (!log) return;
  lockForAppend(log.get());
  struct stat facts {};
  if (::fstat(log.get(), &facts) != 0) return;
  // What a killed writer left unfinished gets a line of its own.
  char last = '\n';
  if (facts.st_size > 0 && ::pread(log.get(), &last, 1, facts.st_size - 1) == 1 && last != '\n') {
    entry.insert(0, 1, '\n');
  }
  if (!writeAll(log.get(), entry.data(), entry.size())) {
    [[maybe_unused]] const int truncated = ::ftruncate(log.get(), facts.st_size);
  }
}

bool areDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Returns whether the text has the form of `pattern`, in which "0" stands for a digit.
bool hasForm(std::string_view text, std::string_view pattern) {
  if (text.size() != pattern.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (pattern[i] == '0' ? !areDigits(text.substr(i, 1)) : text[i] != pattern[i]) return false;
  }
  return true;
}

}  // namespace

std::optional<std::string_view> messageOfEntry(std::string_view line) {
  constexpr std::string_view kTime = "0000-00-00 00:00:00.000 ";
  if (!hasForm(line.substr(0, kTime.size()), kTime)) return {};
  // The first "[PROCESS:THREAD] "; a program's name can have brackets, too.
  for (size_t open = line.find('[', kTime.size()); open != std::string_view::npos;
       open = line.find('[', open + 1)) {
    const size_t close = line.find("] ", open);
    if (close == std::string_view::npos) return {};
    const std::string_view ids = line.substr(open + 1, close - open - 1);
    const size_t colon = ids.find(':');
    if (colon == std::string_view::npos) continue;
    if (areDigits(ids.substr(0, colon)) && areDigits(ids.substr(colon + 1))) {
      return line.substr(close + 2);
    }
  }
  return {};
}

}  // namespace corvane::host

extern "C" CORVANE_EXPORT void NSLog(CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const corvane::CFRef<CFStringRef> text(
      CFStringCreateWithFormatAndArguments(kCFAllocatorDefault, nullptr, format, arguments));
  va_end(arguments);
  try {
    const auto unit = corvane::host::unitInUse();
    if (!unit) return;
    std::string entry = corvane::host::entryPrefix() + corvane::utf8Bytes(text.get());
    if (!entry.ends_with('\n')) entry += '\n';
    corvane::host::append(unit->filePath(corvane::host::kSystemLogFile), std::move(entry));
  } catch (const std::exception&) {
    return;  // An entry that cannot be written is dropped.
  }
}
