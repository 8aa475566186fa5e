#ifndef CORVANE_HOST_VIRTUAL_UNIT_PROPERTIES_H_
#define CORVANE_HOST_VIRTUAL_UNIT_PROPERTIES_H_

#include <cstdint>
#include <optional>
#include <string>

#include "platform/cf_ref.h"

/// Reads and sets plain values in property lists, by key. A missing key and a value of another type
/// read as nothing; setting nothing removes the key.
namespace corvane::host {

/// Returns a new string. Throws DeviceError for text that is not UTF-8.
CFRef<CFStringRef> createString(const std::string& text);

CFRef<CFMutableDictionaryRef> createDictionary();
/// Returns a mutable copy; an empty dictionary for null.
CFRef<CFMutableDictionaryRef> copyForChange(CFDictionaryRef dictionary);

/// Returns a dictionary borrowed from `dictionary`, which may be null; null when the key has none.
CFDictionaryRef dictionaryIn(CFDictionaryRef dictionary, const std::string& key);
std::optional<std::string> textIn(CFDictionaryRef dictionary, const std::string& key);
std::optional<int64_t> integerIn(CFDictionaryRef dictionary, const std::string& key);
std::optional<bool> boolIn(CFDictionaryRef dictionary, const std::string& key);

void put(CFMutableDictionaryRef dictionary, const std::string& key, CFTypeRef value);
void putText(CFMutableDictionaryRef dictionary, const std::string& key,
             const std::optional<std::string>& value);
void putInteger(CFMutableDictionaryRef dictionary, const std::string& key,
                std::optional<int64_t> value);
void putBool(CFMutableDictionaryRef dictionary, const std::string& key, std::optional<bool> value);

}  // namespace corvane::host

#endif  // CORVANE_HOST_VIRTUAL_UNIT_PROPERTIES_H_
