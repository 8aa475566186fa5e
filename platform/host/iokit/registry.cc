#include <IOKit/IOKitLib.h>

#include <vector>

#include "platform/host/faults.h"
#include "platform/host/iokit/data_area_driver.h"
#include "platform/host/iokit/handles.h"
#include "platform/host/device_error.h"
#include "platform/host/unit/unit_in_use.h"
#include "platform/text.h"

using corvane::CFRef;
using corvane::utf8Bytes;
using corvane::host::Call;
using corvane::host::DeviceError;
using corvane::host::failing;
using corvane::host::handles;
using corvane::host::InsideHost;
using corvane::host::KernelObject;
using corvane::host::UnitFolder;

namespace {

constexpr mach_port_t kMasterPort = 0x103;

/// An entry of the registry: the `index`-th of those that the unit lists under `name`.
struct Entry : KernelObject {
  std::shared_ptr<UnitFolder> unit;
  std::string name;
  CFIndex index;

  Entry(std::shared_ptr<UnitFolder> itsUnit, std::string itsName, CFIndex itsIndex)
      : unit(std::move(itsUnit)), name(std::move(itsName)), index(itsIndex) {}
};

struct Iterator : KernelObject {
  std::vector<std::shared_ptr<Entry>> entries;
  size_t next = 0;
};

template <typename Kind>
std::shared_ptr<Kind> find(io_object_t handle) {
  return std::dynamic_pointer_cast<Kind>(handles().find(handle));
}

/// Runs `work` on the unit's files; what it returns, or `failure` after a report when they are
/// damaged.
template <typename Result, typename Work>
Result onUnitFiles(Result failure, Work work) {
  try {
    return work();
  } catch (const DeviceError& error) {
    corvane::host::reportUnusable(error.what());
    return failure;
  }
}

/// Whatever the unit lists under `name`, one entry a service.
std::vector<std::shared_ptr<Entry>> entriesNamed(const std::shared_ptr<UnitFolder>& unit,
                                                 const std::string& name) {
  const CFRef<CFTypeRef> listed = unit->copyRegistryEntries(name);
  CFIndex count = listed ? 1 : 0;
  if (listed && CFGetTypeID(listed.get()) == CFArrayGetTypeID()) {
    count = CFArrayGetCount(static_cast<CFArrayRef>(listed.get()));
  }
  std::vector<std::shared_ptr<Entry>> entries;
  for (CFIndex i = 0; i < count; ++i) entries.push_back(std::make_shared<Entry>(unit, name, i));
  return entries;
}

/// The property that the unit's files list for the entry; null when it, or the entry, is gone.
CFRef<CFTypeRef> copyListedProperty(const Entry& entry, CFStringRef key) {
  const CFRef<CFTypeRef> listed = entry.unit->copyRegistryEntries(entry.name);
  CFTypeRef properties = listed.get();
  if (properties && CFGetTypeID(properties) == CFArrayGetTypeID()) {
    const auto services = static_cast<CFArrayRef>(properties);
    properties = entry.index < CFArrayGetCount(services)
                     ? CFArrayGetValueAtIndex(services, entry.index)
                     : nullptr;
  }
  if (!properties) return {};
  return CFRef<CFTypeRef>::retaining(
      CFDictionaryGetValue(static_cast<CFDictionaryRef>(properties), key));
}

/// The class that `matching`, as IOServiceMatching makes it, asks for; empty when it asks for none.
std::string classMatched(CFDictionaryRef matching) {
  const CFTypeRef name = CFDictionaryGetValue(matching, CFSTR("IOProviderClass"));
  if (!name || CFGetTypeID(name) != CFStringGetTypeID()) return {};
  return utf8Bytes(static_cast<CFStringRef>(name));
}

}  // namespace

mach_port_t bootstrap_port = 0x707;
const mach_port_t kIOMasterPortDefault = 0;

kern_return_t IOMasterPort(mach_port_t, mach_port_t* masterPort) {
  *masterPort = MACH_PORT_NULL;
  if (const auto result = failing(Call::IOMasterPort)) return static_cast<kern_return_t>(*result);
  if (!corvane::host::unitInUse()) return kIOReturnNoDevice;
  *masterPort = kMasterPort;
  return kIOReturnSuccess;
}

kern_return_t IOKitWaitQuiet(mach_port_t, mach_timespec_t*) {
  return static_cast<kern_return_t>(failing(Call::IOKitWaitQuiet).value_or(kIOReturnSuccess));
}

CFMutableDictionaryRef IOServiceMatching(const char* name) {
  if (failing(Call::IOServiceMatching)) return nullptr;
  const InsideHost inside;
  const CFMutableDictionaryRef matching = CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  const CFRef<CFStringRef> className(
      CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8));
  CFDictionarySetValue(matching, CFSTR("IOProviderClass"), className.get());
  return matching;
}

kern_return_t IOServiceGetMatchingServices(mach_port_t, CFDictionaryRef matching,
                                           io_iterator_t* existing) {
  const CFRef<CFDictionaryRef> owned(matching);
  *existing = IO_OBJECT_NULL;
  if (const auto result = failing(Call::IOServiceGetMatchingServices)) {
    return static_cast<kern_return_t>(*result);
  }
  const InsideHost inside;
  if (!matching) return kIOReturnBadArgument;
  const auto unit = corvane::host::unitInUse();
  if (!unit) return kIOReturnNoDevice;

  return onUnitFiles(kIOReturnNoDevice, [&] {
    auto iterator = std::make_shared<Iterator>();
    iterator->entries = entriesNamed(unit, classMatched(matching));
    if (!iterator->entries.empty()) *existing = handles().add(iterator);
    return kIOReturnSuccess;
  });
}

io_object_t IOIteratorNext(io_iterator_t iterator) {
  if (const auto result = failing(Call::IOIteratorNext)) return static_cast<io_object_t>(*result);
  const auto found = find<Iterator>(iterator);
  if (!found || found->next == found->entries.size()) return IO_OBJECT_NULL;
  return handles().add(found->entries[found->next++]);
}

kern_return_t IOObjectRelease(io_object_t object) {
  if (const auto result = failing(Call::IOObjectRelease)) {
    return static_cast<kern_return_t>(*result);
  }
  return handles().release(object) ? KERN_SUCCESS : KERN_INVALID_NAME;
}

uint32_t IOObjectGetUserRetainCount(io_object_t object) { return handles().references(object); }

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                          CFAllocatorRef, IOOptionBits) {
  if (failing(Call::IORegistryEntryCreateCFProperty)) return nullptr;
  const InsideHost inside;
  const auto found = find<Entry>(entry);
  if (!found || !key) return nullptr;

  CFRef<CFTypeRef> property;
  if (found->name == corvane::host::kDataAreaClass) {
    property = corvane::host::copyDataSetProperty(found->unit->dataSets(), key);
  }
  if (!property) {
    property = onUnitFiles(CFRef<CFTypeRef>(), [&] { return copyListedProperty(*found, key); });
  }
  return property.release();
}

kern_return_t IORegistryEntrySetCFProperties(io_registry_entry_t entry, CFTypeRef properties) {
  if (const auto result = failing(Call::IORegistryEntrySetCFProperties)) {
    return static_cast<kern_return_t>(*result);
  }
  const InsideHost inside;
  const auto found = find<Entry>(entry);
  if (!found || !properties || CFGetTypeID(properties) != CFDictionaryGetTypeID()) {
    return kIOReturnBadArgument;
  }
  if (found->name != corvane::host::kDataAreaClass) return kIOReturnUnsupported;
  return corvane::host::writeDataSet(found->unit->dataSets(),
                                     static_cast<CFDictionaryRef>(properties));
}
