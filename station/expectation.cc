#include "station/expectation.h"

#include <locale.h>
#include <regex.h>
#if __has_include(<xlocale.h>)
#include <xlocale.h>
#endif

#include <algorithm>

namespace corvane::station {
namespace {

constexpr size_t kMaxPattern = 4096;

/// Makes the C locale this thread's, while it exists.
class CLocale {
 public:
  CLocale() : _locale(::newlocale(LC_ALL_MASK, "C", nullptr)), _before(::uselocale(_locale)) {}
  ~CLocale() {
    ::uselocale(_before);
    if (_locale) ::freelocale(_locale);
  }
  CLocale(const CLocale&) = delete;
  CLocale& operator=(const CLocale&) = delete;

 private:
  locale_t _locale;
  locale_t _before;
};

/// Matches the whole text with a POSIX extended pattern.
void matchPattern(const std::string& text, const std::string& pattern, CheckResult& result) {
  if (pattern.size() > kMaxPattern) {
    result.mistake = "the pattern has " + std::to_string(pattern.size()) + " bytes; at most 4096";
    return;
  }
  const CLocale locale;
  regex_t compiled;
  if (const int error = ::regcomp(&compiled, pattern.c_str(), REG_EXTENDED); error != 0) {
    char reason[128] = "";
    ::regerror(error, &compiled, reason, sizeof reason);
    result.mistake = "the pattern '" + pattern + "' is wrong: " + reason;
    return;
  }
  // The first match is the longest of those that begin there.
  regmatch_t match = {};
  result.isMet = ::regexec(&compiled, text.c_str(), 1, &match, 0) == 0 && match.rm_so == 0 &&
                 static_cast<size_t>(match.rm_eo) == text.size();
  ::regfree(&compiled);
}

}  // namespace

CheckResult checked(std::string_view text, const Expected& expected) {
  CheckResult result;
  if (int{expected.equals.has_value()} + int{!expected.oneOf.empty()} +
          int{expected.matches.has_value()} !=
      1) {
    result.mistake = "exactly one of equals, oneOf and matches must be given";
  } else if (expected.equals) {
    result.kind = "equals";
    result.expected = *expected.equals;
    result.isMet = text == *expected.equals;
  } else if (expected.matches) {
    result.kind = "matches";
    result.expected = "matches " + *expected.matches;
    matchPattern(std::string(text), *expected.matches, result);
  } else {
    result.kind = "oneOf";
    for (const std::string& one : expected.oneOf) {
      result.expected += (result.expected.empty() ? "one of " : ", ") + one;
    }
    result.isMet = std::ranges::find(expected.oneOf, text) != expected.oneOf.end();
  }
  return result;
}

}  // namespace corvane::station
