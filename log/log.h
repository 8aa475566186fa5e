#ifndef CORVANE_LOG_LOG_H_
#define CORVANE_LOG_LOG_H_

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

#include "../platform/cf_ref.h"
#include "../platform/export.h"

namespace corvane {

/// The device's path of the test log.
inline constexpr char kLogFile[] = "/private/var/logs/CorvaneTov/log.txt";

/// The test log: the file `kLogFile`, UTF-8, one record a line, only ever appended to. Any thread
/// may call any operation; lines of several threads and processes never mix. Nothing here reports a
/// failure: a line that cannot be written is dropped.
class CORVANE_EXPORT Log {
 public:
  Log() = delete;

  /// Appends "[2026-11-16 00:05:09] ", four blanks for each level of `indentation` (none below 1),
  /// `testName` and ": " (left out when absent), and `message` (nothing when absent). The bare
  /// message also goes to the system log, before the line is written.
  static void write(CFStringRef message, CFStringRef testName, int32_t indentation);

  /// Appends `line` as it stands and a line feed. The log's directory is made when it is missing;
  /// the file is opened and closed for each line, so that the line is with the system on return.
  static void write(CFStringRef line);

  /// The debug trace: does nothing, on purpose.
  static void writeDebug(CFStringRef message, CFStringRef testName, int32_t indentation);

  /// Appends a station message, as `formatPalvireMessage` makes it, as a line of its own. The
  /// system log gets no copy.
  static void writePalvireMessage(CFStringRef message, CFStringRef sid, CFStringRef msgType);

  /// One line of comma-separated fields: an empty context, the local time ("2026/11/16 00:05:09"),
  /// `sid` with double quotes turned into apostrophes, `msgType` with double quotes removed, and
  /// `message` verbatim, which holds the caller's further fields and may be absent or empty. An
  /// absent `sid` or `msgType` shows as "(null)".
  static CFRef<CFStringRef> formatPalvireMessage(CFStringRef message, CFStringRef sid,
                                                 CFStringRef msgType);
};

}  // namespace corvane

#endif  // CORVANE_LOG_LOG_H_
