#ifndef __COREFOUNDATION_CFBASE__
#define __COREFOUNDATION_CFBASE__

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#endif

#define CF_EXPORT extern __attribute__((visibility("default")))

/// Begins an enumeration whose values are of `type`, in C, too.
#ifdef __cplusplus
#define CF_VALUES(type, name) enum name : type
#else
#define CF_VALUES(type, name) \
  typedef type name;          \
  enum
#endif

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

CF_EXTERN_C_BEGIN

typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef signed char SInt8;
typedef unsigned short UInt16;
typedef signed short SInt16;
typedef unsigned int UInt32;
typedef signed int SInt32;
typedef SInt32 OSStatus;
typedef uint64_t UInt64;
typedef int64_t SInt64;
typedef float Float32;
typedef double Float64;
typedef UInt16 UniChar;

typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;
typedef signed long CFIndex;

/// Any object of this library; null when absent. Objects are counted: a Create or Copy function
/// returns one reference that its caller owns, a Get function a borrowed one.
typedef const void* CFTypeRef;

typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;
typedef struct __CFError* CFErrorRef;

CF_VALUES(CFIndex, CFComparisonResult){kCFCompareLessThan = -1, kCFCompareEqualTo = 0,
                                       kCFCompareGreaterThan = 1};

enum { kCFNotFound = -1 };

typedef struct {
  CFIndex location;
  CFIndex length;
} CFRange;

static inline CFRange CFRangeMake(CFIndex location, CFIndex length) {
  CFRange range;
  range.location = location;
  range.length = length;
  return range;
}

/// Null: the default allocator. All objects come from the C++ heap, also when a call names an
/// allocator; allocators matter only as the deallocator of bytes that a caller hands over.
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;
/// Releases bytes, which were obtained with `malloc`, with `free`.
CF_EXPORT const CFAllocatorRef kCFAllocatorMalloc;
/// Does not release the bytes, which stay their owner's.
CF_EXPORT const CFAllocatorRef kCFAllocatorNull;

/// The only object of its type: stands for a missing value in a collection.
typedef const struct __CFNull* CFNullRef;
CF_EXPORT const CFNullRef kCFNull;
CF_EXPORT CFTypeID CFNullGetTypeID(void);

CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef object);
/// Returns `object` itself, with one more reference. A null object ends the program, as it does on
/// the device.
CF_EXPORT CFTypeRef CFRetain(CFTypeRef object);
/// Gives one reference back; the last one frees the object. A null object ends the program.
CF_EXPORT void CFRelease(CFTypeRef object);
/// Returns how many references are held. Constants (`CFSTR`, booleans, allocators) report the
/// largest CFIndex.
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef object);
/// Returns whether both are of one type and have the same contents.
CF_EXPORT Boolean CFEqual(CFTypeRef object1, CFTypeRef object2);
CF_EXPORT CFHashCode CFHash(CFTypeRef object);
/// Returns a new text with the object's type, address and contents, on several lines for
/// collections.
CF_EXPORT CFStringRef CFCopyDescription(CFTypeRef object);

CF_EXTERN_C_END

#endif  // __COREFOUNDATION_CFBASE__
