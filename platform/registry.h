#ifndef CORVANE_PLATFORM_REGISTRY_H_
#define CORVANE_PLATFORM_REGISTRY_H_

#include "platform/cf_ref.h"
#include "platform/io_object.h"

namespace corvane {

/// Returns the first service of class `className`; an empty owner when there is none.
inline IOObject firstService(const char* className, mach_port_t masterPort = kIOMasterPortDefault) {
  return IOObject(IOServiceGetMatchingService(masterPort, IOServiceMatching(className)));
}

/// Return the entry's property; null when it has none of that name.
/// @{
inline CFRef<CFTypeRef> copyProperty(io_registry_entry_t entry, CFStringRef name) {
  return CFRef<CFTypeRef>(IORegistryEntryCreateCFProperty(entry, name, kCFAllocatorDefault, 0));
}
inline CFRef<CFTypeRef> copyProperty(const IOObject& entry, CFStringRef name) {
  return copyProperty(entry.get(), name);
}
/// @}

}  // namespace corvane

#endif  // CORVANE_PLATFORM_REGISTRY_H_
