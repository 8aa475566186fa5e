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

char16_t lowerCase(char16_t unit) {
  if (unit < 0x80) return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
  return static_cast<char16_t>(towlower_l(unit, textRules()));
}

bool isBlank(char16_t unit) { return iswspace_l(unit, textRules()) != 0; }

/// Compares units of two texts, in their lower-case form when the flags ask for that.
class Comparison {
 public:
  explicit Comparison(CFStringCompareFlags flags)
      : _ignoreCase((flags & kCFCompareCaseInsensitive) != 0) {}

  char16_t key(char16_t unit) const { return _ignoreCase ? lowerCase(unit) : unit; }
  bool operator()(char16_t unit1, char16_t unit2) const {
    return unit1 == unit2 || (_ignoreCase && lowerCase(unit1) == lowerCase(unit2));
  }

 private:
  bool _ignoreCase;
};

constexpr size_t kNowhere = std::u16string_view::npos;

/// Where `find` stands in `text` under all of the flags.
size_t position(std::u16string_view text, std::u16string_view find, CFStringCompareFlags flags) {
  if (find.empty() || find.size() > text.size()) return kNowhere;
  const bool backwards = (flags & kCFCompareBackwards) != 0;
  const size_t last = text.size() - find.size();
  if ((flags & kCFCompareAnchored) != 0) {
    const size_t anchor = backwards ? last : 0;
    text = text.substr(anchor, find.size());
    return std::equal(text.begin(), text.end(), find.begin(), Comparison(flags)) ? anchor
                                                                                 : kNowhere;
  }
  const auto found =
      backwards
          ? std::find_end(text.begin(), text.end(), find.begin(), find.end(), Comparison(flags))
          : std::search(text.begin(), text.end(), find.begin(), find.end(), Comparison(flags));
  return found == text.end() ? kNowhere : static_cast<size_t>(found - text.begin());
}

/// The characters a decimal number is made of that follow the white space at the start of `text`.
std::string numberText(std::u16string_view text) {
  const auto start = std::find_if_not(text.begin(), text.end(), isBlank);
  const auto end = std::find_if_not(start, text.end(), [](char16_t unit) {
    return std::u16string_view(u"+-.0123456789eE").find(unit) != kNowhere;
  });
  std::string digits;
  std::transform(start, end, std::back_inserter(digits),
                 [](char16_t unit) { return static_cast<char>(unit); });
  return digits;
}

}  // namespace

CFComparisonResult CFStringCompare(CFStringRef string1, CFStringRef string2,
                                   CFStringCompareFlags options) {
  const std::u16string& text1 = string1->text();
  const std::u16string& text2 = string2->text();
  const Comparison same(options);
  const auto [at1, at2] =
      std::mismatch(text1.begin(), text1.end(), text2.begin(), text2.end(), same);
  if (at1 == text1.end()) return at2 == text2.end() ? kCFCompareEqualTo : kCFCompareLessThan;
  if (at2 == text2.end()) return kCFCompareGreaterThan;
  return same.key(*at1) < same.key(*at2) ? kCFCompareLessThan : kCFCompareGreaterThan;
}

CFRange CFStringFind(CFStringRef string, CFStringRef find, CFStringCompareFlags options) {
  const size_t at = position(string->text(), find->text(), options);
  if (at == kNowhere) return {kCFNotFound, 0};
  return {static_cast<CFIndex>(at), CFStringGetLength(find)};
}

Boolean CFStringHasPrefix(CFStringRef string, CFStringRef prefix) {
  return string->text().starts_with(prefix->text());
}

CFIndex CFStringFindAndReplace(CFMutableStringRef string, CFStringRef find, CFStringRef replacement,
                               CFRange range, CFStringCompareFlags options) {
  std::u16string_view rest = string->units(range, "CFStringFindAndReplace");
  const std::u16string_view sought = find->text();
  const auto start = static_cast<size_t>(range.location);
  std::u16string replaced = string->text().substr(0, start);
  CFIndex count = 0;
  const CFStringCompareFlags forwards = options & ~CFStringCompareFlags{kCFCompareBackwards};
  for (size_t at; (at = position(rest, sought, forwards)) != kNowhere; ++count) {
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
