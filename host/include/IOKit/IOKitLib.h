#ifndef __IOKIT_IOKITLIB_H
#define __IOKIT_IOKITLIB_H

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOReturn.h>
#include <host_export.h>
#include <mach/mach.h>

CORVANE_HOST_EXTERN_C_BEGIN

/// Objects of the device registry, as counted names of this process: a function that returns one
/// adds a reference, IOObjectRelease gives it back.
typedef mach_port_t io_object_t;
typedef io_object_t io_registry_entry_t;
typedef io_object_t io_service_t;
typedef io_object_t io_iterator_t;
typedef UInt32 IOOptionBits;
typedef char io_name_t[128];
typedef char io_string_t[512];

#define IO_OBJECT_NULL ((io_object_t)0)

/// Stands for the port that IOMasterPort stores.
CORVANE_HOST_EXPORT const mach_port_t kIOMasterPortDefault;

/// Stores the port to the registry. Fails with kIOReturnNoDevice, and stores a null port, when the
/// virtual device cannot be used.
CORVANE_HOST_EXPORT kern_return_t IOMasterPort(mach_port_t bootstrapPort, mach_port_t* masterPort);
/// Waits until the registry is settled. That of a virtual device always is.
CORVANE_HOST_EXPORT kern_return_t IOKitWaitQuiet(mach_port_t masterPort, mach_timespec_t* waitTime);

/// Returns a new dictionary that matches the services of class `name`.
CORVANE_HOST_EXPORT CFMutableDictionaryRef IOServiceMatching(const char* name);
/// Stores an iterator over the services that match, or a null one when there are none. Takes over
/// the caller's reference to `matching`, also when it fails.
CORVANE_HOST_EXPORT kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort,
                                                               CFDictionaryRef matching,
                                                               io_iterator_t* existing);
/// Returns the first service that matches, with a reference for the caller; null when there is
/// none. Takes over the caller's reference to `matching`, also when it fails.
CORVANE_HOST_EXPORT io_service_t IOServiceGetMatchingService(mach_port_t masterPort,
                                                             CFDictionaryRef matching);
/// Returns the next object, with a reference for the caller; null at the end.
CORVANE_HOST_EXPORT io_object_t IOIteratorNext(io_iterator_t iterator);

/// Gives a reference back. Fails with KERN_INVALID_NAME for a name that this process does not hold.
CORVANE_HOST_EXPORT kern_return_t IOObjectRelease(io_object_t object);
/// Returns how many references this process holds; 0 for a name that it does not hold.
CORVANE_HOST_EXPORT uint32_t IOObjectGetUserRetainCount(io_object_t object);

/// Returns the entry at `path` (its plane, ":" and its place there), with a reference for the
/// caller; null when there is none.
CORVANE_HOST_EXPORT io_registry_entry_t IORegistryEntryFromPath(mach_port_t masterPort,
                                                                const io_string_t path);
/// Stores the entry's name, zero-terminated.
CORVANE_HOST_EXPORT kern_return_t IORegistryEntryGetName(io_registry_entry_t entry, io_name_t name);

/// Returns a new reference to the entry's property; null when it has none of that name.
CORVANE_HOST_EXPORT CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry,
                                                              CFStringRef key,
                                                              CFAllocatorRef allocator,
                                                              IOOptionBits options);
/// Hands `properties` to the entry's driver. The data area service takes one request of four
/// entries: "VelmoDiagnosticDataSet" (string), "VelmoDiagnosticDataCommit" (boolean),
/// "VelmoDiagnosticDataOffset" (number) and "VelmoDiagnosticDataBuffer" (data). Fails with
/// kIOReturnBadArgument for a request of another form or a range outside the set, kIOReturnNotFound
/// for an unknown set, kIOReturnUnsupported for an entry that takes none, kIOReturnNoSpace,
/// kIOReturnNotWritable or kIOReturnIOError when the set's file cannot be written, and
/// kIOReturnCannotLock when the unit's lock cannot be acquired.
CORVANE_HOST_EXPORT kern_return_t IORegistryEntrySetCFProperties(io_registry_entry_t entry,
                                                                 CFTypeRef properties);

/// Hands one property to the entry's driver. NVRAM (the service "IODTNVRAM" and the entry
/// "IODeviceTree:/options") takes a string, a number, a boolean or data as the new value of the
/// variable of that name, durably. Fails with kIOReturnBadArgument for a null value, which leaves
/// the variable as it is, and for one of another kind, kIOReturnUnsupported for an entry that takes
/// none, kIOReturnIOError when the variables cannot be read or written, and kIOReturnCannotLock
/// when the unit's lock cannot be acquired.
CORVANE_HOST_EXPORT kern_return_t IORegistryEntrySetCFProperty(io_registry_entry_t entry,
                                                               CFStringRef propertyName,
                                                               CFTypeRef property);

CORVANE_HOST_EXTERN_C_END

#endif  // __IOKIT_IOKITLIB_H
