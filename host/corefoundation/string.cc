#include "host/corefoundation/string.h"

#include <functional>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "host/corefoundation/encoding.h"
#include "host/corefoundation/string_format.h"

namespace {

CFStringRef newString(std::optional<std::u16string> text) {
  return text ? new __CFString(*std::move(text)) : nullptr;
}

std::string_view bytesView(const void* bytes, CFIndex length) {
  return {static_cast<const char*>(bytes), static_cast<size_t>(length)};
}

}  // namespace

bool __CFString::equals(const Object& other) const {
  return _text == static_cast<const __CFString&>(other)._text;
}

CFHashCode __CFString::hash() const { return std::hash<std::u16string>()(_text); }

std::u16string_view __CFString::units(CFRange range, const char* function) const {
  const auto length = static_cast<CFIndex>(_text.size());
  if (range.location < 0 || range.length < 0 || range.location > length ||
      range.length > length - range.location) {
    cf::endProgram(function, "the range does not lie within the string");
  }
  return std::u16string_view(_text).substr(static_cast<size_t>(range.location),
                                           static_cast<size_t>(range.length));
}

CFTypeID CFStringGetTypeID() { return static_cast<CFTypeID>(cf::Type::kString); }

CFStringRef __CFStringMakeConstantString(const char* text) {
  static std::mutex& mutex = *new std::mutex;
  static auto& constants = *new std::unordered_map<std::string, __CFString>;
  const std::lock_guard lock(mutex);
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

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex, CFStringRef string) {
  return new __CFString(string->text());
}

void CFStringAppend(CFMutableStringRef string, CFStringRef appended) {
  string->text() += appended->text();
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

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  // A surrogate pair takes four bytes, so that no single unit takes more than three.
  return encoding == kCFStringEncodingUTF8 ? 3 * length : length;
}
