#include "log/log.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>

#include "log/time_helpers.h"
#include "log/time_text.h"
#include "platform/device_path.h"
#include "platform/files.h"
#include "platform/system_log.h"
#include "platform/text.h"

namespace corvane {
namespace {

constexpr char kLogDirectory[] = "/private/var/logs/CorvaneTov";
constexpr char kLogFile[] = "/private/var/logs/CorvaneTov/log.txt";

/// The current local time, through the process's shared record as every log line takes it; all zero
/// when the clock cannot be converted.
struct tm localTimeNow() {
  const struct tm* now = getTime();
  return now ? *now : tm{};
}

/// Never destroyed: static destructors log too.
std::mutex& fileLock() {
  static std::mutex& lock = *new std::mutex;
  return lock;
}

}  // namespace

void Log::write(CFStringRef message, CFStringRef testName, int32_t indentation) {
  const CFRef<CFStringRef> prefix =
      timeText(CFSTR("[%04d-%02d-%02d %02d:%02d:%02d] "), localTimeNow());
  const CFRef<CFMutableStringRef> line(
      prefix ? CFStringCreateMutableCopy(kCFAllocatorDefault, 0, prefix.get()) : nullptr);
  if (line) {
    for (int32_t level = 0; level < indentation; ++level) {
      CFStringAppend(line.get(), CFSTR("    "));
    }
    if (testName) {
      CFStringAppend(line.get(), testName);
      CFStringAppend(line.get(), CFSTR(": "));
    }
    if (message) CFStringAppend(line.get(), message);
  }
  NSLog(CFSTR("%@"), message);
  if (line) write(line.get());
}

void Log::write(CFStringRef line) {
  if (!line) return;
  const std::lock_guard lock(fileLock());
  createDirectories(devicePath(kLogDirectory));

  std::FILE* file = std::fopen(devicePath(kLogFile).c_str(), "a");
  if (!file) return;
  const std::string bytes = utf8Bytes(line);
  // A buffer that holds the whole record makes it one append, which no other process can split.
  const size_t room = std::max<size_t>(bytes.size() + 2, BUFSIZ);
  const auto buffer = std::make_unique_for_overwrite<char[]>(room);
  std::setvbuf(file, buffer.get(), _IOFBF, room);
  std::fwrite(bytes.data(), 1, bytes.size(), file);
  std::fputc('\n', file);
  std::fflush(file);
  std::fclose(file);
}

void Log::writeDebug(CFStringRef, CFStringRef, int32_t) {}

void Log::writePalvireMessage(CFStringRef message, CFStringRef sid, CFStringRef msgType) {
  write(formatPalvireMessage(message, sid, msgType).get());
}

CFRef<CFStringRef> Log::formatPalvireMessage(CFStringRef message, CFStringRef sid,
                                             CFStringRef msgType) {
  const CFRef<CFStringRef> time = timeText(CFSTR("%04d/%02d/%02d %02d:%02d:%02d"), localTimeNow());
  const CFRef<CFStringRef> sidText = replacingText(sid, CFSTR("\""), CFSTR("'"));
  const CFRef<CFStringRef> typeText = replacingText(msgType, CFSTR("\""), CFSTR(""));
  const bool hasMessage = message && CFStringGetLength(message) != 0;
  return formatText(CFSTR("context=\"\",ts=\"%@\",sid=\"%@\",msg-type=\"%@\"%@%@"), time.get(),
                    sidText.get(), typeText.get(), hasMessage ? CFSTR(",") : CFSTR(""),
                    message ? message : CFSTR(""));
}

}  // namespace corvane
