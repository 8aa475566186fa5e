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

/// For values that are objects: retained while they are in the array. With null callbacks they are
/// bare pointers.
CF_EXPORT const CFArrayCallBacks kCFTypeArrayCallBacks;

typedef const struct __CFArray* CFArrayRef;
typedef struct __CFArray* CFMutableArrayRef;

/// Is called with a value of an array and the `context` of its caller.
typedef void (*CFArrayApplierFunction)(const void* value, void* context);

CF_EXPORT CFTypeID CFArrayGetTypeID(void);
/// Returns an array of the `count` values at `values`, in this order.
CF_EXPORT CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                                   const CFArrayCallBacks* callBacks);
CF_EXPORT CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFArrayCallBacks* callBacks);
CF_EXPORT CFIndex CFArrayGetCount(CFArrayRef array);
/// Returns the borrowed value. An index outside the array ends the program, as it does on the
/// device.
CF_EXPORT const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
/// Returns whether a value of `range` equals `value` by the array's callback. A range outside the
/// array ends the program.
CF_EXPORT Boolean CFArrayContainsValue(CFArrayRef array, CFRange range, const void* value);
/// Calls `applier` with each value of `range`, in order. A range outside the array ends the
/// program.
CF_EXPORT void CFArrayApplyFunction(CFArrayRef array, CFRange range, CFArrayApplierFunction applier,
                                    void* context);
CF_EXPORT void CFArrayAppendValue(CFMutableArrayRef array, const void* value);

CF_EXTERN_C_END

#endif  // __COREFOUNDATION_CFARRAY__
