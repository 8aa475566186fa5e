#include "host/corefoundation/string.h"

#include <locale.h>
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

namespace {

CFStringRef newString(std::optional<std::u16string> text) {
  return text ? new __CFString(*std::move(text)) : nullptr;
}

std::string_view bytesView(const void* bytes, CFIndex length) {
  return {static_cast<const char*>(bytes), static_cast<size_t>(length)};
}

/// Returns a locale that does not depend on the program's settings: that of Unicode where the
/// system has it.
locale_t textRules() {
  static const locale_t rules = [] {
    const locale_t unicode = newlocale(LC_ALL_MASK, "C.UTF-8", nullptr);
    return unicode != nullptr ? unicode : newlocale(LC_ALL_MASK, "C", nullptr);
  }();
  return rules;
}

bool isBlank(char16_t unit) { return iswspace_l(unit, textRules()) != 0; }

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

CFRange CFStringFind(CFStringRef string, CFStringRef find, CFStringCompareFlags) {
  const std::u16string& sought = find->text();
  const size_t at = sought.empty() ? std::u16string::npos : string->text().find(sought);
  if (at == std::u16string::npos) return {kCFNotFound, 0};
  return {static_cast<CFIndex>(at), CFStringGetLength(find)};
}

CFIndex CFStringFindAndReplace(CFMutableStringRef string, CFStringRef find, CFStringRef replacement,
                               CFRange range, CFStringCompareFlags) {
  std::u16string_view rest = string->units(range, "CFStringFindAndReplace");
  const std::u16string_view sought = find->text();
  if (sought.empty()) return 0;
  const auto start = static_cast<size_t>(range.location);
  std::u16string replaced = string->text().substr(0, start);
  CFIndex count = 0;
  for (size_t at; (at = rest.find(sought)) != rest.npos; ++count) {
    replaced += rest.substr(0, at);
    replaced += replacement->text();
    rest.remove_prefix(at + sought.size());
  }
  replaced += rest;
  replaced += std::u16string_view(string->text()).substr(start + static_cast<size_t>(range.length));
  string->text() = std::move(replaced);
  return count;
}

SInt32 CFStringGetIntValue(CFStringRef string) {
  const long value = std::strtol(numberText(string->text()).c_str(), nullptr, 10);
  return static_cast<SInt32>(std::clamp<long>(value, std::numeric_limits<SInt32>::min(),
                                              std::numeric_limits<SInt32>::max()));
}

double CFStringGetDoubleValue(CFStringRef string) {
  return strtod_l(numberText(string->text()).c_str(), nullptr, textRules());
}
