#ifndef __COREFOUNDATION_CFDATA__
#define __COREFOUNDATION_CFDATA__

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFData* CFDataRef;
typedef struct __CFData* CFMutableDataRef;

CF_EXPORT CFTypeID CFDataGetTypeID(void);
CF_EXPORT CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
/// Returns an object that uses the bytes where they are. When it is freed, `bytesDeallocator` frees
/// them, unless it is kCFAllocatorNull.
CF_EXPORT CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes,
                                                CFIndex length, CFAllocatorRef bytesDeallocator);
/// Returns an empty buffer that can grow. `capacity` is 0, which means no limit.
CF_EXPORT CFMutableDataRef CFDataCreateMutable(CFAllocatorRef allocator, CFIndex capacity);
CF_EXPORT CFIndex CFDataGetLength(CFDataRef data);
/// Returns the object's own bytes, valid until it is changed or freed.
CF_EXPORT const UInt8* CFDataGetBytePtr(CFDataRef data);
/// Copies the bytes of `range` to `buffer`. A range outside the data ends the program.
CF_EXPORT void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer);
CF_EXPORT UInt8* CFDataGetMutableBytePtr(CFMutableDataRef data);
CF_EXPORT void CFDataAppendBytes(CFMutableDataRef data, const UInt8* bytes, CFIndex length);
/// Cuts or lengthens the data. New bytes are zero.
CF_EXPORT void CFDataSetLength(CFMutableDataRef data, CFIndex length);

CF_EXTERN_C_END

#endif  // __COREFOUNDATION_CFDATA__
