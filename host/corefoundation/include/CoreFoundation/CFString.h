#ifndef __COREFOUNDATION_CFSTRING__
#define __COREFOUNDATION_CFSTRING__

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <stdarg.h>

CF_EXTERN_C_BEGIN

typedef UInt32 CFStringEncoding;
enum { kCFStringEncodingISOLatin1 = 0x0201, kCFStringEncodingUTF8 = 0x08000100 };

/// Always 0: no flag is known.
typedef CFOptionFlags CFStringCompareFlags;

/// Returns the only constant string with that text, which is UTF-8. It is never freed.
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* text);
#ifdef __cplusplus
#define CFSTR(text)                                                               \
  ([]() -> CFStringRef {                                                          \
    static const CFStringRef constant = __CFStringMakeConstantString("" text ""); \
    return constant;                                                              \
  }())
#else
#define CFSTR(text) __CFStringMakeConstantString("" text "")
#endif

CF_EXPORT CFTypeID CFStringGetTypeID(void);

/// Return a new string from bytes in `encoding`; null when the bytes are not valid in it, or it is
/// not one of the encodings above.
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text,
                                                CFStringEncoding encoding);
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes,
                                              CFIndex length, CFStringEncoding encoding,
                                              Boolean isExternalRepresentation);
CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef allocator, const UniChar* units,
                                                   CFIndex length);
CF_EXPORT CFStringRef CFStringCreateWithSubstring(CFAllocatorRef allocator, CFStringRef string,
                                                  CFRange range);

/// Return a new string from `format`: `printf` conversions (each with its flags, width, precision
/// and length), and "%@" for any object: a string's own text, a number's digits, "true" or "false",
/// another object's contents on one line, "(null)" for null. "%s" is UTF-8 (other bytes are taken
/// as Latin-1), "%S" zero-terminated UTF-16 units, "%C" one unit. Arguments are taken in order.
/// `formatOptions` is null.
CF_EXPORT CFStringRef CFStringCreateWithFormat(CFAllocatorRef allocator,
                                               CFDictionaryRef formatOptions, CFStringRef format,
                                               ...);
CF_EXPORT CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef allocator,
                                                           CFDictionaryRef formatOptions,
                                                           CFStringRef format, va_list arguments);

/// Returns a copy that can be changed. `maxLength` is 0, which means no limit.
CF_EXPORT CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef allocator, CFIndex maxLength,
                                                       CFStringRef string);
CF_EXPORT void CFStringAppend(CFMutableStringRef string, CFStringRef appended);
/// Replaces each occurrence of `find` within `range`, left to right and without overlap. Returns
/// how many there were.
CF_EXPORT CFIndex CFStringFindAndReplace(CFMutableStringRef string, CFStringRef find,
                                         CFStringRef replacement, CFRange range,
                                         CFStringCompareFlags options);

/// Returns the length in UTF-16 units.
CF_EXPORT CFIndex CFStringGetLength(CFStringRef string);
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef string, CFIndex index);
/// Converts the units of `range`, as many as fit whole into `maxBufferLength` bytes, and returns
/// how many units were converted; stores the number of bytes in `*usedBufferLength`. A character
/// without a form in `encoding` becomes `lossByte`, or ends the conversion when that is 0. With a
/// null buffer it only computes the lengths.
CF_EXPORT CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
                                   UInt8 lossByte, Boolean isExternalRepresentation, UInt8* buffer,
                                   CFIndex maxBufferLength, CFIndex* usedBufferLength);
/// Returns how many bytes `length` units need at most in `encoding`, without a terminating zero.
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

/// Returns where `find` first occurs, or a location of kCFNotFound. An empty `find` occurs nowhere.
CF_EXPORT CFRange CFStringFind(CFStringRef string, CFStringRef find, CFStringCompareFlags options);
/// Returns the number at the start of the string, after white space: a sign and decimal digits,
/// clamped to 32 bits. Returns 0 without digits.
CF_EXPORT SInt32 CFStringGetIntValue(CFStringRef string);
/// Returns the number in the same way, with a fraction and an exponent.
CF_EXPORT double CFStringGetDoubleValue(CFStringRef string);

/// Writes a string's own text or another object's description, and a line feed, to standard error;
/// "(null)" for null.
CF_EXPORT void CFShow(CFTypeRef object);

CF_EXTERN_C_END

#endif  // __COREFOUNDATION_CFSTRING__
