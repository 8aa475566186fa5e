// The wrappers of the functions that fault_calls.inc lists as WRAPPED. What is linked with --wrap
// for them (corvane_wrap_calls in CMakeLists.txt) calls these in their place. All other calls, such
// as the host platform's own, are neither counted nor failed. A failed call still consumes what it
// was given: a file that fclose fails to close is closed.

#include <CoreFoundation/CoreFoundation.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>

#include "host/faults.h"
#include "host/guarded_files.h"
#include "platform/export.h"

namespace {

using corvane::host::Call;
using corvane::host::injectedFault;

/// Returns whether the rules in force make this call of a CoreFoundation function return null.
bool returnsNull(Call call) { return injectedFault(call).has_value(); }

/// Returns what this call of a C library function must return by the rules in force, and sets
/// errno. Returns nothing when the call has to do its work.
template <typename Result>
std::optional<Result> failed(Call call, int error) {
  const std::optional<int64_t> result = injectedFault(call);
  if (!result) return {};
  errno = error;
  return static_cast<Result>(*result);
}

bool fails(Call call, int error) { return failed<int>(call, error).has_value(); }

}  // namespace

#define CORVANE_WRAPPER extern "C" CORVANE_EXPORT

CORVANE_WRAPPER CFMutableArrayRef __wrap_CFArrayCreateMutable(CFAllocatorRef allocator,
                                                              CFIndex capacity,
                                                              const CFArrayCallBacks* callBacks) {
  if (returnsNull(Call::CFArrayCreateMutable)) return nullptr;
  return CFArrayCreateMutable(allocator, capacity, callBacks);
}

CORVANE_WRAPPER CFDataRef __wrap_CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes,
                                              CFIndex length) {
  if (returnsNull(Call::CFDataCreate)) return nullptr;
  return CFDataCreate(allocator, bytes, length);
}

CORVANE_WRAPPER CFDataRef __wrap_CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator,
                                                             const UInt8* bytes, CFIndex length,
                                                             CFAllocatorRef deallocator) {
  if (returnsNull(Call::CFDataCreateWithBytesNoCopy)) return nullptr;
  return CFDataCreateWithBytesNoCopy(allocator, bytes, length, deallocator);
}

CORVANE_WRAPPER CFIndex __wrap_CFDataGetLength(CFDataRef data) {
  if (const auto result = injectedFault(Call::CFDataGetLength)) return CFIndex{*result};
  return CFDataGetLength(data);
}

CORVANE_WRAPPER CFMutableDictionaryRef __wrap_CFDictionaryCreateMutable(
    CFAllocatorRef allocator, CFIndex capacity, const CFDictionaryKeyCallBacks* keyCallBacks,
    const CFDictionaryValueCallBacks* valueCallBacks) {
  if (returnsNull(Call::CFDictionaryCreateMutable)) return nullptr;
  return CFDictionaryCreateMutable(allocator, capacity, keyCallBacks, valueCallBacks);
}

CORVANE_WRAPPER const void* __wrap_CFDictionaryGetValue(CFDictionaryRef dictionary,
                                                        const void* key) {
  if (returnsNull(Call::CFDictionaryGetValue)) return nullptr;
  return CFDictionaryGetValue(dictionary, key);
}

CORVANE_WRAPPER CFTypeID __wrap_CFGetTypeID(CFTypeRef object) {
  if (const auto result = injectedFault(Call::CFGetTypeID)) return static_cast<CFTypeID>(*result);
  return CFGetTypeID(object);
}

CORVANE_WRAPPER CFNumberRef __wrap_CFNumberCreate(CFAllocatorRef allocator, CFNumberType type,
                                                  const void* value) {
  if (returnsNull(Call::CFNumberCreate)) return nullptr;
  return CFNumberCreate(allocator, type, value);
}

CORVANE_WRAPPER CFPropertyListRef __wrap_CFPropertyListCreateWithData(CFAllocatorRef allocator,
                                                                      CFDataRef data,
                                                                      CFOptionFlags options,
                                                                      CFPropertyListFormat* format,
                                                                      CFErrorRef* error) {
  if (returnsNull(Call::CFPropertyListCreateWithData)) return nullptr;
  return CFPropertyListCreateWithData(allocator, data, options, format, error);
}

CORVANE_WRAPPER CFMutableStringRef __wrap_CFStringCreateMutableCopy(CFAllocatorRef allocator,
                                                                    CFIndex maxLength,
                                                                    CFStringRef string) {
  if (returnsNull(Call::CFStringCreateMutableCopy)) return nullptr;
  return CFStringCreateMutableCopy(allocator, maxLength, string);
}

CORVANE_WRAPPER CFStringRef __wrap_CFStringCreateWithBytes(CFAllocatorRef allocator,
                                                           const UInt8* bytes, CFIndex length,
                                                           CFStringEncoding encoding,
                                                           Boolean isExternalRepresentation) {
  if (returnsNull(Call::CFStringCreateWithBytes)) return nullptr;
  return CFStringCreateWithBytes(allocator, bytes, length, encoding, isExternalRepresentation);
}

CORVANE_WRAPPER CFStringRef __wrap_CFStringCreateWithCString(CFAllocatorRef allocator,
                                                             const char* text,
                                                             CFStringEncoding encoding) {
  if (returnsNull(Call::CFStringCreateWithCString)) return nullptr;
  return CFStringCreateWithCString(allocator, text, encoding);
}

CORVANE_WRAPPER CFStringRef __wrap_CFStringCreateWithFormat(CFAllocatorRef allocator,
                                                            CFDictionaryRef formatOptions,
                                                            CFStringRef format, ...) {
  if (returnsNull(Call::CFStringCreateWithFormat)) return nullptr;
  va_list arguments;
  va_start(arguments, format);
  const CFStringRef text =
      CFStringCreateWithFormatAndArguments(allocator, formatOptions, format, arguments);
  va_end(arguments);
  return text;
}

CORVANE_WRAPPER CFStringRef
__wrap_CFStringCreateWithFormatAndArguments(CFAllocatorRef allocator, CFDictionaryRef formatOptions,
                                            CFStringRef format, va_list arguments) {
  if (returnsNull(Call::CFStringCreateWithFormatAndArguments)) return nullptr;
  return CFStringCreateWithFormatAndArguments(allocator, formatOptions, format, arguments);
}

CORVANE_WRAPPER int __wrap_access(const char* path, int mode) {
  if (const auto result = failed<int>(Call::access, EACCES)) return *result;
  return access(path, mode);
}

CORVANE_WRAPPER void* __wrap_calloc(size_t count, size_t size) {
  return fails(Call::calloc, ENOMEM) ? nullptr : calloc(count, size);
}

CORVANE_WRAPPER char* __wrap_ctime(const time_t* time) {
  return fails(Call::ctime, EOVERFLOW) ? nullptr : ctime(time);
}

CORVANE_WRAPPER int __wrap_fclose(FILE* file) {
  const int closed = fclose(file);
  return failed<int>(Call::fclose, EIO).value_or(closed);
}

CORVANE_WRAPPER int __wrap_fflush(FILE* file) {
  if (const auto result = failed<int>(Call::fflush, EIO)) return *result;
  return fflush(file);
}

CORVANE_WRAPPER FILE* __wrap_fopen(const char* path, const char* mode) {
  return fails(Call::fopen, EACCES) ? nullptr : corvane::host::openGuarded(path, mode);
}

CORVANE_WRAPPER int __wrap_fputc(int character, FILE* file) {
  if (const auto result = failed<int>(Call::fputc, EIO)) return *result;
  return fputc(character, file);
}

CORVANE_WRAPPER size_t __wrap_fwrite(const void* bytes, size_t size, size_t count, FILE* file) {
  if (const auto result = failed<size_t>(Call::fwrite, EIO)) return *result;
  return fwrite(bytes, size, count, file);
}

CORVANE_WRAPPER struct tm* __wrap_localtime(const time_t* time) {
  return fails(Call::localtime, EOVERFLOW) ? nullptr : localtime(time);
}

CORVANE_WRAPPER void* __wrap_malloc(size_t size) {
  return fails(Call::malloc, ENOMEM) ? nullptr : malloc(size);
}

CORVANE_WRAPPER int __wrap_mkdir(const char* path, mode_t mode) {
  if (const auto result = failed<int>(Call::mkdir, EACCES)) return *result;
  return corvane::host::makeGuardedFolder(path, mode);
}

CORVANE_WRAPPER time_t __wrap_time(time_t* stored) {
  if (const auto result = failed<time_t>(Call::time, EOVERFLOW)) return *result;
  return time(stored);
}
