#include "host/iokit/data_area_driver.h"

#include <vector>

#include "host/faults.h"
#include "host/virtual_unit/unit_file.h"
#include "host/virtual_unit/unit_in_use.h"
#include "platform/data_bytes.h"
#include "platform/text.h"

namespace corvane::host {
namespace {

/// Returns the value of `request` under the key `name` when it is of type `type`, else null.
/// Compares keys by content: a driver gets a copy of the request, whose own callbacks may compare
/// identities.
CFTypeRef valueOf(CFDictionaryRef request, CFStringRef name, CFTypeID type) {
  const auto count = static_cast<size_t>(CFDictionaryGetCount(request));
  std::vector<const void*> keys(count), values(count);
  CFDictionaryGetKeysAndValues(request, keys.data(), values.data());
  for (size_t i = 0; i < count; ++i) {
    if (CFEqual(keys[i], name)) return CFGetTypeID(values[i]) == type ? values[i] : nullptr;
  }
  return nullptr;
}

kern_return_t returnCode(const std::error_code& error) {
  if (error == std::errc::no_such_file_or_directory) return kIOReturnNotFound;
  if (error == std::errc::invalid_argument) return kIOReturnBadArgument;
  if (error == std::errc::no_space_on_device) return kIOReturnNoSpace;
  if (error == std::errc::permission_denied || error == std::errc::read_only_file_system ||
      error == std::errc::operation_not_permitted) {
    return kIOReturnNotWritable;
  }
  return kIOReturnIOError;
}

}  // namespace

CFRef<CFTypeRef> copyDataSetProperty(const DataSets& sets, CFStringRef set) {
  CFRef<CFMutableDataRef> contents = sets.copyContents(set);
  if (contents) applyStuckBytes(set, contents.get());
  return CFRef<CFTypeRef>(contents.release());
}

kern_return_t writeDataSet(const DataSets& sets, CFDictionaryRef request) {
  const auto set = static_cast<CFStringRef>(
      valueOf(request, CFSTR("VelmoDiagnosticDataSet"), CFStringGetTypeID()));
  const auto commit = static_cast<CFBooleanRef>(
      valueOf(request, CFSTR("VelmoDiagnosticDataCommit"), CFBooleanGetTypeID()));
  const auto offset = static_cast<CFNumberRef>(
      valueOf(request, CFSTR("VelmoDiagnosticDataOffset"), CFNumberGetTypeID()));
  const auto buffer = static_cast<CFDataRef>(
      valueOf(request, CFSTR("VelmoDiagnosticDataBuffer"), CFDataGetTypeID()));
  int64_t start = -1;
  if (!set || !commit || !offset || !buffer ||
      !CFNumberGetValue(offset, kCFNumberSInt64Type, &start) || start < 0) {
    return kIOReturnBadArgument;
  }
  try {
    sets.write(utf8Bytes(set), static_cast<uint64_t>(start), bytesOf(buffer),
               CFBooleanGetValue(commit));
    return kIOReturnSuccess;
  } catch (const FileError& error) {
    return returnCode(error.code());
  } catch (const UnitBusyError& error) {
    reportUnusable(error.what());
    return kIOReturnCannotLock;
  }
}

}  // namespace corvane::host
