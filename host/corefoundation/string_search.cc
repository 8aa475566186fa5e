#include <locale.h>
#include <wctype.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>

#include "host/corefoundation/string.h"

namespace {

/// Text rules that depend on no setting of the program: all of Unicode where the system has that.
locale_t textRules() {
  static const locale_t rules = [] {
    const locale_t unicode = newlocale(LC_ALL_MASK, "C.UTF-8", nullptr);
    return unicode != nullptr ? unicode : newlocale(LC_ALL_MASK, "C", nullptr);
  }();
  return rules;
}

bool isBlank(char16_t unit) { return iswspace_l(unit, textRules()) != 0; }

/// The characters a decimal number is made of that follow the white space at the start of `text`.
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
