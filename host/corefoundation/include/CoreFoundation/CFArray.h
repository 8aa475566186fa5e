#ifndef __COREFOUNDATION_CFARRAY__
#define __COREFOUNDATION_CFARRAY__

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const void* (*CFArrayRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFArrayReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFArrayCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFArrayEqualCallBack)(const void* value1, const void* value2);
typedef struct {
  CFIndex version;
  CFArrayRetainCallBack retain;
  CFArrayReleaseCallBack release;
  CFArrayCopyDescriptionCallBack copyDescription;
  CFArrayEqualCallBack equal;
} CFArrayCallBacks;

/// Values are objects, retained while they are in the array. Null callbacks: bare pointers.
CF_EXPORT const CFArrayCallBacks kCFTypeArrayCallBacks;

typedef const struct __CFArray* CFArrayRef;
typedef struct __CFArray* CFMutableArrayRef;

CF_EXPORT CFTypeID CFArrayGetTypeID(void);
CF_EXPORT CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                                   const CFArrayCallBacks* callBacks);
CF_EXPORT CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFArrayCallBacks* callBacks);
CF_EXPORT CFIndex CFArrayGetCount(CFArrayRef array);
/// Borrowed. An index outside the array ends the program, as it does on the device.
CF_EXPORT const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
CF_EXPORT void CFArrayAppendValue(CFMutableArrayRef array, const void* value);

CF_EXTERN_C_END

#endif  // __COREFOUNDATION_CFARRAY__
