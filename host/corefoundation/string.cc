#include "host/corefoundation/string.h"

#include <stdlib.h>
#include <wctype.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <limits>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "host/corefoundation/encoding.h"
#include "host/corefoundation/neutral_locale.h"
#include "platform/fork_safe_lock.h"

namespace {

struct Constants;

CFStringRef newString(std::optional<std::u16string> text) {
  return text ? new __CFString(*std::move(text)) : nullptr;
}

std::string_view bytesView(const void* bytes, CFIndex length) {
  return {static_cast<const char*>(bytes), static_cast<size_t>(length)};
}

bool isBlank(char16_t unit) { return iswspace_l(unit, cf::neutralLocale()) != 0; }

/// Returns the characters of a decimal number that follow the white space at the start of `text`.
std::string numberText(std::u16string_view text) {
  const auto start = std::find_if_not(text.begin(), text.end(), isBlank);
  const auto end = std::find_if_not(start, text.end(), [](char16_t unit) {
    return std::u16string_view(u"+-.0123456789eE").find(unit) != std::u16string_view::npos;
  });
  std::string digits;
  std::transform(start, end, std::back_inserter(digits),
                 [](char16_t unit) { return static_cast<char>(unit); });
  return digits;
}

}  // namespace

bool __CFString::equals(const Object& other) const {
  // Unlike ==, which compares unit by unit, this compares memory.
  return std::ranges::equal(_text, static_cast<const __CFString&>(other)._text);
}

CFHashCode __CFString::hash() const { return std::hash<std::u16string>()(_text); }

std::u16string_view __CFString::units(CFRange range, const char* function) const {
  cf::requireRange(range, _text.size(), function);
  return std::u16string_view(_text).substr(static_cast<size_t>(range.location),
                                           static_cast<size_t>(range.length));
}

CFTypeID CFStringGetTypeID() { return static_cast<CFTypeID>(cf::Type::kString); }

CFStringRef __CFStringMakeConstantString(const char* text) {
  static auto& constants = *new std::unordered_map<std::string, __CFString>;
  const std::lock_guard lock(corvane::ForkSafeLock<Constants>::get());
  const auto found = constants.find(text);
  if (found != constants.end()) return &found->second;
  return &constants.try_emplace(text, cf::Object::Lifetime::kImmortal, cf::decodeAny(text))
              .first->second;
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* text, CFStringEncoding encoding) {
  return newString(cf::decode(text, encoding));
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex length,
                                    CFStringEncoding encoding, Boolean) {
  if (length < 0) return nullptr;
  return newString(cf::decode(bytesView(bytes, length), encoding));
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* units, CFIndex length) {
  if (length < 0) return nullptr;
  return newString(std::u16string(units, units + length));
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef, CFStringRef string, CFRange range) {
  return newString(std::u16string(string->units(range, "CFStringCreateWithSubstring")));
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef, CFDictionaryRef, CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const CFStringRef string = newString(cf::formatted(format->text(), arguments));
  va_end(arguments);
  return string;
}

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef, CFDictionaryRef,
                                                 CFStringRef format, va_list arguments) {
  return newString(cf::formatted(format->text(), arguments));
}

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef string) {
  return new __CFString(string->text());
}

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex) { return new __CFString({}); }

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex, CFStringRef string) {
  return new __CFString(string->text());
}

void CFStringAppend(CFMutableStringRef string, CFStringRef appended) {
  string->text() += appended->text();
}

void CFStringAppendCString(CFMutableStringRef string, const char* text, CFStringEncoding encoding) {
  string->text() += cf::decode(text, encoding).value_or(std::u16string());
}

void CFStringAppendFormat(CFMutableStringRef string, CFDictionaryRef, CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  string->text() += cf::formatted(format->text(), arguments);
  va_end(arguments);
}

CFIndex CFStringGetLength(CFStringRef string) {
  return static_cast<CFIndex>(string->text().size());
}

UniChar CFStringGetCharacterAtIndex(CFStringRef string, CFIndex index) {
  return string->units({index, 1}, "CFStringGetCharacterAtIndex").front();
}

CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
                         UInt8 lossByte, Boolean, UInt8* buffer, CFIndex maxBufferLength,
                         CFIndex* usedBufferLength) {
  const auto room = static_cast<size_t>(maxBufferLength < 0 ? 0 : maxBufferLength);
  const cf::Encoded done =
      cf::encode(string->units(range, "CFStringGetBytes"), encoding, lossByte, buffer, room);
  if (usedBufferLength != nullptr) *usedBufferLength = static_cast<CFIndex>(done.bytes);
  return static_cast<CFIndex>(done.units);
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize,
                           CFStringEncoding encoding) {
  if (bufferSize < 1) return false;
  const auto room = static_cast<size_t>(bufferSize - 1);
  const cf::Encoded done =
      cf::encode(string->text(), encoding, 0, reinterpret_cast<uint8_t*>(buffer), room);
  const bool isWhole = done.units == string->text().size();
  buffer[isWhole ? done.bytes : 0] = '\0';
  return isWhole;
}

const char* CFStringGetCStringPtr(CFStringRef, CFStringEncoding) { return nullptr; }

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  // A surrogate pair takes four bytes, so that no single unit takes more than three.
  return encoding == kCFStringEncodingUTF8 ? 3 * length : length;
}

SInt32 CFStringGetIntValue(CFStringRef string) {
  const long value = std::strtol(numberText(string->text()).c_str(), nullptr, 10);
  return static_cast<SInt32>(std::clamp<long>(value, std::numeric_limits<SInt32>::min(),
                                              std::numeric_limits<SInt32>::max()));
}

double CFStringGetDoubleValue(CFStringRef string) {
  return strtod_l(numberText(string->text()).c_str(), nullptr, cf::neutralLocale());
}
