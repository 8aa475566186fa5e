#include "host/corefoundation/date.h"

#include <array>
#include <cmath>
#include <ctime>

#include "host/corefoundation/description.h"

void __CFDate::appendText(std::u16string& out, cf::Layout) const {
  // Some 30,000 years; beyond them, and for what is no number, there is no calendar date to show.
  constexpr CFAbsoluteTime kShown = 1e12;
  if (!(std::fabs(_at) < kShown)) {
    out += u"(no date)";
    return;
  }
  const time_t seconds = static_cast<time_t>(std::floor(_at)) + cf::kDateEpoch;
  tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 64> text;
  const size_t length = strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S +0000", &parts);
  cf::appendAscii(out, {text.data(), length});
}

CFTypeID CFDateGetTypeID() { return static_cast<CFTypeID>(cf::Type::kDate); }

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime at) { return new __CFDate(at); }
