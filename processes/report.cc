#include <algorithm>
#include <vector>

#include "log/log.h"
#include "platform/out_of_memory.h"
#include "platform/text.h"
#include "processes/numeric_compare.h"
#include "processes/processes.h"

namespace corvane {
namespace {

std::vector<CFStringRef> sortedKeys(CFDictionaryRef processes) {
  if (!processes) return {};
  std::vector<CFStringRef> keys(static_cast<size_t>(CFDictionaryGetCount(processes)));
  CFDictionaryGetKeysAndValues(processes, reinterpret_cast<const void**>(keys.data()), nullptr);
  std::stable_sort(keys.begin(), keys.end(), [](CFStringRef key1, CFStringRef key2) {
    return numericCompare(key1, key2) == kCFCompareLessThan;
  });
  return keys;
}

/// Returns the record's number; 0 when it has none of that name.
double figure(CFDictionaryRef record, CFStringRef key) {
  const CFTypeRef number = record ? CFDictionaryGetValue(record, key) : nullptr;
  float value = 0;
  if (number) CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberFloatType, &value);
  return value;
}

void writeLine(CFStringRef line) { Log::write(line, nullptr, 1); }

void writeProcess(CFStringRef key, CFDictionaryRef record) {
  const CFTypeRef name = record ? CFDictionaryGetValue(record, CFSTR("name")) : nullptr;
  const CFRef<CFStringRef> line =
      formatText(CFSTR("%@\t%0.1f\t%0.1f\t%0.1f\t\t%@"), key, figure(record, CFSTR("total_usage")),
                 figure(record, CFSTR("user_time")), figure(record, CFSTR("system_time")), name);
  writeLine(line.get());
}

}  // namespace

void Processes::prettyPrintToLog() {
  unlessOutOfMemory([&] {
    const CFDictionaryRef processes = _processes ? _processes.get() : refreshProcesses();
    const std::vector<CFStringRef> keys = sortedKeys(processes);
    writeLine(CFSTR("PID\tCPU%\tUsr\tSys\t\tName"));
    writeLine(CFSTR("---\t----\t---\t---\t\t----"));
    for (const CFStringRef key : keys) {
      writeProcess(key, static_cast<CFDictionaryRef>(CFDictionaryGetValue(processes, key)));
    }
  });
}

}  // namespace corvane
