#ifndef CORVANE_STATION_CF_TEXT_H_
#define CORVANE_STATION_CF_TEXT_H_

#include <string_view>

#include "platform/cf_ref.h"

namespace corvane::station {

/// A new string of `text`, whose bytes are taken as Latin-1 when they are not UTF-8; null when it
/// cannot be made.
inline CFRef<CFStringRef> cfText(std::string_view text) {
  const auto make = [&](CFStringEncoding encoding) {
    return CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                   static_cast<CFIndex>(text.size()), encoding, false);
  };
  CFRef<CFStringRef> string(make(kCFStringEncodingUTF8));
  if (!string) string.reset(make(kCFStringEncodingISOLatin1));
  return string;
}

}  // namespace corvane::station

#endif  // CORVANE_STATION_CF_TEXT_H_
