// Comparing texts, and finding, replacing, separating and combining parts of them.

#include <CoreFoundation/CFString.h>
#include <wctype.h>

#include <algorithm>
#include <compare>
#include <string>
#include <string_view>
#include <utility>

#include "host/corefoundation/collections.h"
#include "host/corefoundation/neutral_locale.h"
#include "host/corefoundation/string.h"
#include "platform/cf_ref.h"

namespace {

/// Returns the text in the form in which `options` compare it, unit for unit.
std::u16string folded(std::u16string_view text, CFOptionFlags options) {
  std::u16string result(text);
  if ((options & kCFCompareCaseInsensitive) != 0) {
    for (char16_t& unit : result) {
      unit = static_cast<char16_t>(towlower_l(unit, cf::neutralLocale()));
    }
  }
  return result;
}

/// Cuts the decimal digits off the start of `text`. Returns them without leading zeros.
std::u16string_view cutDigits(std::u16string_view& text) {
  constexpr std::u16string_view kDigits = u"0123456789";
  const size_t length = std::min(text.find_first_not_of(kDigits), text.size());
  std::u16string_view digits = text.substr(0, length);
  text.remove_prefix(length);
  digits.remove_prefix(std::min(digits.find_first_not_of(u'0'), digits.size()));
  return digits;
}

bool beginsWithDigit(std::u16string_view text) {
  return !text.empty() && text.front() >= u'0' && text.front() <= u'9';
}

/// Compares unit by unit, and digits that follow each other as one number.
std::strong_ordering compareNumerically(std::u16string_view text1, std::u16string_view text2) {
  while (!text1.empty() && !text2.empty()) {
    if (beginsWithDigit(text1) && beginsWithDigit(text2)) {
      const std::u16string_view number1 = cutDigits(text1), number2 = cutDigits(text2);
      if (const auto order = number1.size() <=> number2.size(); std::is_neq(order)) return order;
      if (const auto order = number1 <=> number2; std::is_neq(order)) return order;
      continue;
    }
    if (const auto order = text1.front() <=> text2.front(); std::is_neq(order)) return order;
    text1.remove_prefix(1);
    text2.remove_prefix(1);
  }
  return text1.size() <=> text2.size();
}

}  // namespace

CFComparisonResult CFStringCompare(CFStringRef string, CFStringRef other,
                                   CFStringCompareFlags options) {
  const std::u16string text1 = folded(string->text(), options);
  const std::u16string text2 = folded(other->text(), options);
  const bool isNumeric = (options & kCFCompareNumerically) != 0;
  const auto order = isNumeric ? compareNumerically(text1, text2) : text1 <=> text2;
  if (std::is_eq(order)) return kCFCompareEqualTo;
  return std::is_lt(order) ? kCFCompareLessThan : kCFCompareGreaterThan;
}

Boolean CFStringHasPrefix(CFStringRef string, CFStringRef prefix) {
  return string->text().starts_with(prefix->text());
}

Boolean CFStringHasSuffix(CFStringRef string, CFStringRef suffix) {
  return string->text().ends_with(suffix->text());
}

CFRange CFStringFind(CFStringRef string, CFStringRef find, CFStringCompareFlags options) {
  const std::u16string sought = folded(find->text(), options);
  if (sought.empty()) return {kCFNotFound, 0};
  const size_t at = folded(string->text(), options).find(sought);
  if (at == std::u16string::npos) return {kCFNotFound, 0};
  return {static_cast<CFIndex>(at), CFStringGetLength(find)};
}

CFIndex CFStringFindAndReplace(CFMutableStringRef string, CFStringRef find, CFStringRef replacement,
                               CFRange range, CFStringCompareFlags options) {
  const std::u16string_view original = string->units(range, "CFStringFindAndReplace");
  const std::u16string sought = folded(find->text(), options), text = folded(original, options);
  if (sought.empty()) return 0;
  std::u16string replaced;
  CFIndex count = 0;
  size_t start = 0;
  for (size_t at; (at = text.find(sought, start)) != text.npos; ++count) {
    replaced += original.substr(start, at - start);
    replaced += replacement->text();
    start = at + sought.size();
  }
  replaced += original.substr(start);
  string->text().replace(static_cast<size_t>(range.location), static_cast<size_t>(range.length),
                         replaced);
  return count;
}

CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef, CFStringRef string,
                                                  CFStringRef separator) {
  corvane::CFRef<CFMutableArrayRef> parts(new __CFArray(&kCFTypeArrayCallBacks));
  const auto append = [&](std::u16string_view part) {
    parts.get()->append(corvane::CFRef<CFStringRef>(new __CFString(std::u16string(part))).get());
  };
  std::u16string_view rest = string->text();
  const std::u16string_view mark = separator->text();
  for (size_t at; !mark.empty() && (at = rest.find(mark)) != rest.npos;) {
    append(rest.substr(0, at));
    rest.remove_prefix(at + mark.size());
  }
  append(rest);
  return parts.release();
}

CFStringRef CFStringCreateByCombiningStrings(CFAllocatorRef, CFArrayRef strings,
                                             CFStringRef separator) {
  std::u16string text;
  std::u16string_view mark;
  for (const void* string : strings->values()) {
    text += mark;
    text += static_cast<CFStringRef>(string)->text();
    mark = separator->text();
  }
  return new __CFString(std::move(text));
}
