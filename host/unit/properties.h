#ifndef CORVANE_HOST_UNIT_PROPERTIES_H_
#define CORVANE_HOST_UNIT_PROPERTIES_H_

#include <cstdint>
#include <optional>
#include <string>

#include "platform/cf_ref.h"

/// Plain values out of and into property lists, by key. A key that is missing, or whose value is of
/// another type, reads as nothing; setting nothing removes the key.
namespace corvane::host {

/// Throws DeviceError for text that is not UTF-8.
CFRef<CFStringRef> createString(const std::string& text);

CFRef<CFMutableDictionaryRef> createDictionary();
/// A copy to change; an empty dictionary for null.
CFRef<CFMutableDictionaryRef> copyForChange(CFDictionaryRef dictionary);

/// Borrowed from `dictionary`, which may be null; null when there is no dictionary under the key.
CFDictionaryRef dictionaryIn(CFDictionaryRef dictionary, const std::string& key);
std::optional<std::string> textIn(CFDictionaryRef dictionary, const std::string& key);
std::optional<int64_t> integerIn(CFDictionaryRef dictionary, const std::string& key);
std::optional<bool> truthIn(CFDictionaryRef dictionary, const std::string& key);

void put(CFMutableDictionaryRef dictionary, const std::string& key, CFTypeRef value);
void putText(CFMutableDictionaryRef dictionary, const std::string& key,
             const std::optional<std::string>& value);
void putInteger(CFMutableDictionaryRef dictionary, const std::string& key,
                std::optional<int64_t> value);
void putBool(CFMutableDictionaryRef dictionary, const std::string& key, std::optional<bool> value);

}  // namespace corvane::host

#endif  // CORVANE_HOST_UNIT_PROPERTIES_H_
