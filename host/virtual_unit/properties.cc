#include "host/virtual_unit/properties.h"

#include "host/include/device_error.h"
#include "platform/text.h"

namespace corvane::host {
namespace {

/// Returns the borrowed value of `key` when it is of type `type`, else null.
CFTypeRef valueOfType(CFDictionaryRef dictionary, const std::string& key, CFTypeID type) {
  if (!dictionary) return nullptr;
  const CFTypeRef value = CFDictionaryGetValue(dictionary, createString(key).get());
  return value && CFGetTypeID(value) == type ? value : nullptr;
}

}  // namespace

CFRef<CFStringRef> createString(const std::string& text) {
  CFRef<CFStringRef> string = textFromUtf8(text);
  if (!string) throw DeviceError("'" + text + "' is not UTF-8 text");
  return string;
}

CFRef<CFMutableDictionaryRef> createDictionary() { return copyForChange(nullptr); }

CFRef<CFMutableDictionaryRef> copyForChange(CFDictionaryRef dictionary) {
  return CFRef<CFMutableDictionaryRef>(
      dictionary ? CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, dictionary)
                 : CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                             &kCFTypeDictionaryValueCallBacks));
}

CFDictionaryRef dictionaryIn(CFDictionaryRef dictionary, const std::string& key) {
  return static_cast<CFDictionaryRef>(valueOfType(dictionary, key, CFDictionaryGetTypeID()));
}

std::optional<std::string> textIn(CFDictionaryRef dictionary, const std::string& key) {
  const CFTypeRef value = valueOfType(dictionary, key, CFStringGetTypeID());
  if (!value) return {};
  return utf8Bytes(static_cast<CFStringRef>(value));
}

std::optional<int64_t> integerIn(CFDictionaryRef dictionary, const std::string& key) {
  const CFTypeRef value = valueOfType(dictionary, key, CFNumberGetTypeID());
  if (!value) return {};
  int64_t number = 0;
  CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number);
  return number;
}

std::optional<bool> boolIn(CFDictionaryRef dictionary, const std::string& key) {
  const CFTypeRef value = valueOfType(dictionary, key, CFBooleanGetTypeID());
  if (!value) return {};
  return CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0;
}

void put(CFMutableDictionaryRef dictionary, const std::string& key, CFTypeRef value) {
  const CFRef<CFStringRef> name = createString(key);
  if (value) {
    CFDictionarySetValue(dictionary, name.get(), value);
  } else {
    CFDictionaryRemoveValue(dictionary, name.get());
  }
}

void putText(CFMutableDictionaryRef dictionary, const std::string& key,
             const std::optional<std::string>& value) {
  put(dictionary, key, value ? createString(*value).get() : nullptr);
}

void putInteger(CFMutableDictionaryRef dictionary, const std::string& key,
                std::optional<int64_t> value) {
  const CFRef<CFNumberRef> number(
      value ? CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &*value) : nullptr);
  put(dictionary, key, number.get());
}

void putBool(CFMutableDictionaryRef dictionary, const std::string& key, std::optional<bool> value) {
  put(dictionary, key, value ? (*value ? kCFBooleanTrue : kCFBooleanFalse) : nullptr);
}

}  // namespace corvane::host
