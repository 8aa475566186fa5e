#ifndef __COREFOUNDATION_CFNUMBER__
#define __COREFOUNDATION_CFNUMBER__

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFBoolean* CFBooleanRef;
CF_EXPORT const CFBooleanRef kCFBooleanTrue;
CF_EXPORT const CFBooleanRef kCFBooleanFalse;
CF_EXPORT CFTypeID CFBooleanGetTypeID(void);
CF_EXPORT Boolean CFBooleanGetValue(CFBooleanRef boolean);

CF_VALUES(CFIndex, CFNumberType){
    kCFNumberSInt8Type = 1,   kCFNumberSInt16Type = 2,    kCFNumberSInt32Type = 3,
    kCFNumberSInt64Type = 4,  kCFNumberFloat32Type = 5,   kCFNumberFloat64Type = 6,
    kCFNumberCharType = 7,    kCFNumberShortType = 8,     kCFNumberIntType = 9,
    kCFNumberLongType = 10,   kCFNumberLongLongType = 11, kCFNumberFloatType = 12,
    kCFNumberDoubleType = 13, kCFNumberCFIndexType = 14};

typedef const struct __CFNumber* CFNumberRef;

CF_EXPORT CFTypeID CFNumberGetTypeID(void);
/// Returns a new number from the value of `type` at `value`. Returns null for a type that is not
/// one of the above.
CF_EXPORT CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type,
                                     const void* value);
/// Returns the stored form: one of the SInt and Float types.
CF_EXPORT CFNumberType CFNumberGetType(CFNumberRef number);
/// Stores the value as `type`. Returns false when the conversion changes the value, and then stores
/// the nearest integer for a float (saturated), the low bytes for an integer in a narrower one.
CF_EXPORT Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);
/// Compares two numbers of any types by their exact values. `context` is null.
CF_EXPORT CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef other, void* context);

CF_EXTERN_C_END

#endif  // __COREFOUNDATION_CFNUMBER__
