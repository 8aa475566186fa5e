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
/// may call any operation; lines of several threads and processes never mix. A line feed in a text
/// is written as it stands and begins a further line without a time. Nothing reports a failure: a
/// line that cannot be made or written is dropped. A disk that fills up can keep the first part of
/// a line; the next line then follows it without a line feed.
class CORVANE_EXPORT Log {
 public:
  Log() = delete;

  /// Appends "[2026-11-16 00:05:09] ", the local time; four blanks for each level of `indentation`,
  /// none below 1; `testName` and ": ", unless it is null; and `message`, unless it is null. The
  /// bare message goes to the system log first, where a null one shows as "(null)". Drops the line
  /// when `indentation` is above 1,048,576.
  static void write(CFStringRef message, CFStringRef testName, int32_t indentation);

  /// Appends `line` as it stands and a line feed; nothing when it is null. Creates the log's
  /// directory when it is missing. The file is opened, flushed and closed for each line, so that
  /// the system has the line on return.
  static void write(CFStringRef line);

  /// Drops a line of the debug trace, on purpose: does nothing with `message`, `testName` and
  /// `indentation`.
  static void writeDebug(CFStringRef message, CFStringRef testName, int32_t indentation);

  /// Appends the station message that `formatPalvireMessage` makes of `message`, `sid` and
  /// `msgType`, as a line of its own. The system log gets no copy.
  static void writePalvireMessage(CFStringRef message, CFStringRef sid, CFStringRef msgType);

  /// Returns one line of comma-separated fields: an empty context, the local time ("2026/11/16
  /// 00:05:09"), `sid` with double quotes replaced by apostrophes, `msgType` with double quotes
  /// removed, and `message` verbatim, which holds the caller's further fields and may be null or
  /// empty. A null `sid` or `msgType` shows as "(null)". Returns null when the line cannot be made.
  static CFRef<CFStringRef> formatPalvireMessage(CFStringRef message, CFStringRef sid,
                                                 CFStringRef msgType);
};

}  // namespace corvane

#endif  // CORVANE_LOG_LOG_H_
