#ifndef __COREFOUNDATION_CFPROPERTYLIST__
#define __COREFOUNDATION_CFPROPERTYLIST__

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>

CF_EXTERN_C_BEGIN

/// A string, number, boolean, date or data object, or an array or dictionary (with string keys) of
/// such.
typedef CFTypeRef CFPropertyListRef;

CF_VALUES(CFIndex, CFPropertyListFormat){kCFPropertyListXMLFormat_v1_0 = 100,
                                         kCFPropertyListBinaryFormat_v1_0 = 200};

enum { kCFPropertyListImmutable = 0, kCFPropertyListMutableContainers = 1 };

/// Returns the object that an XML (UTF-8, with or without a byte order mark) or a binary property
/// list holds, and stores in `*format` which it was. Returns null when the bytes are neither, or
/// not a whole and sound list. Sets `*error` to null: off the device there is no further
/// explanation. Both pointers may be null.
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                                         CFOptionFlags options,
                                                         CFPropertyListFormat* format,
                                                         CFErrorRef* error);
/// Returns the bytes of the list in `format`; null when it holds an object that a property list
/// cannot hold.
CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef list,
                                             CFPropertyListFormat format, CFOptionFlags options,
                                             CFErrorRef* error);

CF_EXTERN_C_END

#endif  // __COREFOUNDATION_CFPROPERTYLIST__
