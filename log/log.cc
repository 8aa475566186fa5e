#include "log/log.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>

#include "log/local_time.h"
#include "platform/device_path.h"
#include "platform/files.h"
#include "platform/fork_safe_lock.h"
#include "platform/out_of_memory.h"
#include "platform/scoped_file.h"
#include "platform/system_log.h"
#include "platform/text.h"

namespace corvane {
namespace {

/// A line with more levels of indentation is dropped: 4 MiB of blanks are not written on purpose.
constexpr int32_t kMaxIndentation = 1 << 20;

/// Returns the whole line; null when it cannot be made.
CFRef<CFMutableStringRef> lineOf(CFStringRef message, CFStringRef testName, int32_t indentation) {
  const CFRef<CFStringRef> prefix =
      timeText(CFSTR("[%04d-%02d-%02d %02d:%02d:%02d] "), localTimeNow());
  if (!prefix || indentation > kMaxIndentation) return {};
  CFRef<CFMutableStringRef> line(CFStringCreateMutableCopy(kCFAllocatorDefault, 0, prefix.get()));
  if (!line) return {};
  for (int32_t level = 0; level < indentation; ++level) {
    CFStringAppend(line.get(), CFSTR("    "));
  }
  if (testName) {
    CFStringAppend(line.get(), testName);
    CFStringAppend(line.get(), CFSTR(": "));
  }
  if (message) CFStringAppend(line.get(), message);
  return line;
}

}  // namespace

void Log::write(CFStringRef message, CFStringRef testName, int32_t indentation) {
  unlessOutOfMemory([&] {
    const auto line = lineOf(message, testName, indentation);
    NSLog(CFSTR("%@"), message);
    write(line.get());
  });
}

void Log::write(CFStringRef line) {
  unlessOutOfMemory([&] {
    if (!line) return;
    const std::string bytes = utf8Bytes(line);
    const std::string path = devicePath(kLogFile);
    // A buffer that holds the whole line makes it one append, which no other process can split.
    const size_t room = std::max<size_t>(bytes.size() + 2, BUFSIZ);
    const auto buffer = std::make_unique_for_overwrite<char[]>(room);

    const std::lock_guard lock(ForkSafeLock<Log>::get());
    createDirectories(path.substr(0, path.rfind('/')));
    const ScopedFile file(std::fopen(path.c_str(), "ae"));
    if (!file) return;
    std::setvbuf(file.get(), buffer.get(), _IOFBF, room);
    std::fwrite(bytes.data(), 1, bytes.size(), file.get());
    std::fputc('\n', file.get());
    std::fflush(file.get());
  });
}

void Log::writeDebug(CFStringRef, CFStringRef, int32_t) {}

void Log::writePalvireMessage(CFStringRef message, CFStringRef sid, CFStringRef msgType) {
  write(formatPalvireMessage(message, sid, msgType).get());
}

CFRef<CFStringRef> Log::formatPalvireMessage(CFStringRef message, CFStringRef sid,
                                             CFStringRef msgType) {
  return unlessOutOfMemory({}, [&]() -> CFRef<CFStringRef> {
    const CFRef<CFStringRef> time =
        timeText(CFSTR("%04d/%02d/%02d %02d:%02d:%02d"), localTimeNow());
    const CFRef<CFStringRef> sidText = replacingText(sid, CFSTR("\""), CFSTR("'"));
    const CFRef<CFStringRef> typeText = replacingText(msgType, CFSTR("\""), CFSTR(""));
    const bool hasMessage = message && CFStringGetLength(message) != 0;
    return formatText(CFSTR("context=\"\",ts=\"%@\",sid=\"%@\",msg-type=\"%@\"%@%@"), time.get(),
                      sidText.get(), typeText.get(), hasMessage ? CFSTR(",") : CFSTR(""),
                      message ? message : CFSTR(""));
  });
}

}  // namespace corvane
