#include <IOKit/IOKitLib.h>

#include <cstring>
#include <vector>

#include "host/faults.h"
#include "host/handles.h"
#include "host/iokit/registry_entry.h"
#include "host/virtual_unit/properties.h"
#include "host/virtual_unit/unit_in_use.h"
#include "platform/text.h"

namespace host = corvane::host;

namespace corvane::host {
namespace {

constexpr mach_port_t kMasterPort = 0x103;

struct Iterator : KernelObject {
  std::vector<std::shared_ptr<RegistryEntry>> entries;
  size_t next = 0;
};

/// Returns the class that `matching`, as IOServiceMatching makes it, asks for; empty when it asks
/// for none.
std::string classMatched(CFDictionaryRef matching) {
  const CFTypeRef name = CFDictionaryGetValue(matching, CFSTR("IOProviderClass"));
  if (!name || CFGetTypeID(name) != CFStringGetTypeID()) return {};
  return utf8Bytes(static_cast<CFStringRef>(name));
}

/// Returns the services that match. Throws DeviceError.
std::vector<std::shared_ptr<RegistryEntry>> servicesMatching(
    const std::shared_ptr<UnitFolder>& unit, CFDictionaryRef matching) {
  return registryEntries(unit, classMatched(matching));
}

/// Returns a handle for the first of `entries`; null when there is none.
io_object_t handleForFirst(const std::vector<std::shared_ptr<RegistryEntry>>& entries) {
  return entries.empty() ? IO_OBJECT_NULL : handles().add(entries.front());
}

}  // namespace
}  // namespace corvane::host

mach_port_t bootstrap_port = 0x707;
const mach_port_t kIOMasterPortDefault = 0;

kern_return_t IOMasterPort(mach_port_t, mach_port_t* masterPort) {
  *masterPort = MACH_PORT_NULL;
  if (const auto result = host::injectedFault(host::Call::IOMasterPort)) {
    return static_cast<kern_return_t>(*result);
  }
  if (!host::unitInUse()) return kIOReturnNoDevice;
  *masterPort = host::kMasterPort;
  return kIOReturnSuccess;
}

kern_return_t IOKitWaitQuiet(mach_port_t, mach_timespec_t*) {
  return static_cast<kern_return_t>(
      host::injectedFault(host::Call::IOKitWaitQuiet).value_or(kIOReturnSuccess));
}

CFMutableDictionaryRef IOServiceMatching(const char* name) {
  if (host::injectedFault(host::Call::IOServiceMatching)) return nullptr;
  corvane::CFRef<CFMutableDictionaryRef> matching(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  const corvane::CFRef<CFStringRef> className(
      CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8));
  CFDictionarySetValue(matching.get(), CFSTR("IOProviderClass"), className.get());
  return matching.release();
}

kern_return_t IOServiceGetMatchingServices(mach_port_t, CFDictionaryRef matching,
                                           io_iterator_t* existing) {
  const corvane::CFRef<CFDictionaryRef> owned(matching);
  *existing = IO_OBJECT_NULL;
  if (const auto result = host::injectedFault(host::Call::IOServiceGetMatchingServices)) {
    return static_cast<kern_return_t>(*result);
  }
  if (!matching) return kIOReturnBadArgument;
  const auto unit = host::unitInUse();
  if (!unit) return kIOReturnNoDevice;

  return host::onUnitFiles(kIOReturnNoDevice, [&] {
    auto iterator = std::make_shared<host::Iterator>();
    iterator->entries = host::servicesMatching(unit, matching);
    if (!iterator->entries.empty()) *existing = host::handles().add(iterator);
    return kIOReturnSuccess;
  });
}

io_service_t IOServiceGetMatchingService(mach_port_t, CFDictionaryRef matching) {
  const corvane::CFRef<CFDictionaryRef> owned(matching);
  if (const auto result = host::injectedFault(host::Call::IOServiceGetMatchingService)) {
    return static_cast<io_service_t>(*result);
  }
  const auto unit = host::unitInUse();
  if (!matching || !unit) return IO_OBJECT_NULL;
  return host::onUnitFiles(
      IO_OBJECT_NULL, [&] { return host::handleForFirst(host::servicesMatching(unit, matching)); });
}

io_registry_entry_t IORegistryEntryFromPath(mach_port_t, const io_string_t path) {
  if (const auto result = host::injectedFault(host::Call::IORegistryEntryFromPath)) {
    return static_cast<io_registry_entry_t>(*result);
  }
  const auto unit = host::unitInUse();
  // A path begins with its plane. The other keys under which the unit lists entries are classes.
  if (!unit || !std::strstr(path, ":/")) return IO_OBJECT_NULL;
  return host::onUnitFiles(IO_OBJECT_NULL,
                           [&] { return host::handleForFirst(host::registryEntries(unit, path)); });
}

io_object_t IOIteratorNext(io_iterator_t iterator) {
  if (const auto result = host::injectedFault(host::Call::IOIteratorNext)) {
    return static_cast<io_object_t>(*result);
  }
  const auto found = host::findHandle<host::Iterator>(iterator);
  if (!found || found->next == found->entries.size()) return IO_OBJECT_NULL;
  return host::onUnitFiles(IO_OBJECT_NULL,
                           [&] { return host::handles().add(found->entries[found->next++]); });
}

kern_return_t IOObjectRelease(io_object_t object) {
  if (const auto result = host::injectedFault(host::Call::IOObjectRelease)) {
    return static_cast<kern_return_t>(*result);
  }
  return host::handles().release(object) ? KERN_SUCCESS : KERN_INVALID_NAME;
}

uint32_t IOObjectGetUserRetainCount(io_object_t object) {
  return host::handles().references(object);
}

kern_return_t IORegistryEntryGetName(io_registry_entry_t entry, io_name_t name) {
  if (const auto result = host::injectedFault(host::Call::IORegistryEntryGetName)) {
    return static_cast<kern_return_t>(*result);
  }
  const auto found = host::findHandle<host::RegistryEntry>(entry);
  if (!found) return kIOReturnBadArgument;
  return host::onUnitFiles(kIOReturnNoDevice, [&] {
    const auto text = host::createString(host::nameOf(*found));
    // As many whole characters as there is room for.
    CFIndex used = 0;
    CFStringGetBytes(text.get(), CFRangeMake(0, CFStringGetLength(text.get())),
                     kCFStringEncodingUTF8, '?', false, reinterpret_cast<UInt8*>(name),
                     sizeof(io_name_t) - 1, &used);
    name[used] = '\0';
    return kIOReturnSuccess;
  });
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                          CFAllocatorRef, IOOptionBits) {
  if (host::injectedFault(host::Call::IORegistryEntryCreateCFProperty)) return nullptr;
  const auto found = host::findHandle<host::RegistryEntry>(entry);
  if (!found || !key) return nullptr;
  return host::onUnitFiles(corvane::CFRef<CFTypeRef>(),
                           [&] { return host::copyPropertyOf(*found, key); })
      .release();
}

kern_return_t IORegistryEntrySetCFProperty(io_registry_entry_t entry, CFStringRef propertyName,
                                           CFTypeRef property) {
  if (const auto result = host::injectedFault(host::Call::IORegistryEntrySetCFProperty)) {
    return static_cast<kern_return_t>(*result);
  }
  const auto found = host::findHandle<host::RegistryEntry>(entry);
  if (!found) return kIOReturnBadArgument;
  return host::onUnitFiles(kIOReturnIOError,
                           [&] { return host::setPropertyOf(*found, propertyName, property); });
}

kern_return_t IORegistryEntrySetCFProperties(io_registry_entry_t entry, CFTypeRef properties) {
  if (const auto result = host::injectedFault(host::Call::IORegistryEntrySetCFProperties)) {
    return static_cast<kern_return_t>(*result);
  }
  const auto found = host::findHandle<host::RegistryEntry>(entry);
  if (!found || !properties || CFGetTypeID(properties) != CFDictionaryGetTypeID()) {
    return kIOReturnBadArgument;
  }
  return host::onUnitFiles(kIOReturnIOError, [&] {
    return host::setPropertiesOf(*found, static_cast<CFDictionaryRef>(properties));
  });
}
