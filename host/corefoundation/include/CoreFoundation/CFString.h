#ifndef __COREFOUNDATION_CFSTRING__
#define __COREFOUNDATION_CFSTRING__

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <stdarg.h>

CF_EXTERN_C_BEGIN

typedef UInt32 CFStringEncoding;
enum { kCFStringEncodingISOLatin1 = 0x0201, kCFStringEncodingUTF8 = 0x08000100 };

/// kCFCompareCaseInsensitive: letters are the same in both cases. kCFCompareNumerically, for
/// CFStringCompare: digits that follow each other are one number. Texts are compared unit by unit,
/// so that a composed and a decomposed form of one character differ.
typedef CFOptionFlags CFStringCompareFlags;
enum { kCFCompareCaseInsensitive = 1, kCFCompareNumerically = 64 };

/// Returns the only constant string with that text, which is UTF-8. It is never freed.
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* text);
#ifdef __cplusplus
// Not initialized by the call: the child of a fork could wait without end for the
// initialization that another thread had begun.
#define CFSTR(text)                                                   \
  ([]() -> CFStringRef {                                              \
    static CFStringRef constant;                                      \
    CFStringRef known = __atomic_load_n(&constant, __ATOMIC_ACQUIRE); \
    if (known) return known;                                          \
    known = __CFStringMakeConstantString("" text "");                 \
    __atomic_store_n(&constant, known, __ATOMIC_RELEASE);             \
    return known;                                                     \
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

CF_EXPORT CFStringRef CFStringCreateCopy(CFAllocatorRef allocator, CFStringRef string);
/// Returns a new array of the parts of `string` between the separators; of `string` alone where
/// there is none.
CF_EXPORT CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef allocator,
                                                            CFStringRef string,
                                                            CFStringRef separator);
/// Returns a new string of the array's strings with the separator between them.
CF_EXPORT CFStringRef CFStringCreateByCombiningStrings(CFAllocatorRef allocator, CFArrayRef strings,
                                                       CFStringRef separator);

/// Return an empty string, and a copy, that can be changed. `maxLength` is 0, which means no limit.
/// @{
CF_EXPORT CFMutableStringRef CFStringCreateMutable(CFAllocatorRef allocator, CFIndex maxLength);
CF_EXPORT CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef allocator, CFIndex maxLength,
                                                       CFStringRef string);
/// @}
CF_EXPORT void CFStringAppend(CFMutableStringRef string, CFStringRef appended);
/// Appends the text, unless it is not valid in `encoding`.
CF_EXPORT void CFStringAppendCString(CFMutableStringRef string, const char* text,
                                     CFStringEncoding encoding);
/// Appends what CFStringCreateWithFormat makes of `format`.
CF_EXPORT void CFStringAppendFormat(CFMutableStringRef string, CFDictionaryRef formatOptions,
                                    CFStringRef format, ...);
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
/// Stores the whole text and a zero in `buffer`. Returns false, and stores an empty text, when
/// `bufferSize` bytes are too few or a character has no form in `encoding`.
CF_EXPORT Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize,
                                     CFStringEncoding encoding);
/// Returns null: no string keeps its text in such a form. A program that is given null takes
/// CFStringGetCString, as it must on the device, where only some strings keep theirs so.
CF_EXPORT const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding);
/// Returns how many bytes `length` units need at most in `encoding`, without a terminating zero.
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

CF_EXPORT CFComparisonResult CFStringCompare(CFStringRef string, CFStringRef other,
                                             CFStringCompareFlags options);
CF_EXPORT Boolean CFStringHasPrefix(CFStringRef string, CFStringRef prefix);
CF_EXPORT Boolean CFStringHasSuffix(CFStringRef string, CFStringRef suffix);
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
