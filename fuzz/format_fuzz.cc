#include <CoreFoundation/CoreFoundation.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/cf_ref.h"
#include "platform/text.h"

namespace {

using corvane::CFRef;

CFRef<CFStringRef> cfString(const std::string& text) {
  return CFRef<CFStringRef>(CFStringCreateWithBytes(
      nullptr, reinterpret_cast<const UInt8*>(text.data()), static_cast<CFIndex>(text.size()),
      kCFStringEncodingISOLatin1, false));
}

/// Formats with CoreFoundation and with the C library; the texts must be the same.
template <typename... Arguments>
void compare(const std::string& format, Arguments... arguments) {
  std::array<char, 2048> expected;
  const int length = std::snprintf(expected.data(), expected.size(), format.c_str(), arguments...);
  if (length < 0 || static_cast<size_t>(length) >= expected.size()) return;
  const CFRef<CFStringRef> made(
      CFStringCreateWithFormat(nullptr, nullptr, cfString(format).get(), arguments...));
  if (!made || corvane::utf8Bytes(made.get()) != expected.data()) {
    std::fprintf(stderr, "%s: '%s', not '%s'\n", format.c_str(),
                 made ? corvane::utf8Bytes(made.get()).c_str() : "(null)", expected.data());
    std::abort();
  }
}

/// Returns a format of one conversion with flags, width and precision as the input has them.
std::string nextFormat(FuzzedDataProvider& input, const char* flags,
                       const std::string& conversion) {
  std::string format = "%";
  for (const char* flag = flags; *flag != '\0'; ++flag) {
    if (input.ConsumeBool()) format += *flag;
  }
  if (input.ConsumeBool()) format += std::to_string(input.ConsumeIntegralInRange(1, 300));
  if (input.ConsumeBool()) format += "." + std::to_string(input.ConsumeIntegralInRange(0, 300));
  return format + conversion;
}

void compareNumber(FuzzedDataProvider& input) {
  const std::string letter(1, input.PickValueInArray({'d', 'i', 'u', 'o', 'x', 'X'}));
  const char* flags = letter == "d" || letter == "i" ? "-+ 0" : letter == "u" ? "-0" : "-#0";
  switch (input.ConsumeIntegralInRange(0, 4)) {
    case 0:
      return compare(nextFormat(input, flags, letter), input.ConsumeIntegral<int>());
    case 1:
      return compare(nextFormat(input, flags, "l" + letter), input.ConsumeIntegral<long>());
    case 2:
      return compare(nextFormat(input, flags, "ll" + letter), input.ConsumeIntegral<long long>());
    case 3:
      return compare(nextFormat(input, flags, "h" + letter), input.ConsumeIntegral<int>());
    default:
      return compare(nextFormat(input, flags, "hh" + letter), input.ConsumeIntegral<int>());
  }
}

/// Formats any text whose conversions take no argument, so that none can be missing.
void formatAnyText(FuzzedDataProvider& input) {
  const int64_t spare[16] = {};
  std::string format = input.ConsumeRandomLengthString(64);
  size_t digits = 0;
  for (char& letter : format) {
    // A width of five digits is a text of megabytes.
    digits = letter >= '0' && letter <= '9' ? digits + 1 : 0;
    if (digits > 4) letter = '.';
    // Pointers would be followed; long doubles and counts would need more arguments.
    if (std::string_view("@sS*npCL").find(letter) != std::string_view::npos) letter = 'd';
  }
  if (std::count(format.begin(), format.end(), '%') > 6) return;
  const CFRef<CFStringRef> made(CFStringCreateWithFormat(
      nullptr, nullptr, cfString(format).get(), spare[0], spare[1], spare[2], spare[3], spare[4],
      spare[5], spare[6], spare[7], spare[8], spare[9], 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0));
  if (made && format.find('%') == std::string::npos &&
      !CFEqual(made.get(), cfString(format).get())) {
    std::abort();
  }
}

}  // namespace

/// Formats an argument of the input with a conversion of the input. Checks that CoreFoundation and
/// the C library make the same text of a conversion that both have, and that no other format
/// crashes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  switch (input.ConsumeIntegralInRange(0, 3)) {
    case 0:
      compareNumber(input);
      break;
    case 1: {
      const std::string letter(1, input.PickValueInArray({'e', 'E', 'f', 'F', 'g', 'G', 'a', 'A'}));
      const std::string format = nextFormat(input, "-+ #0", letter);
      compare(format, input.ConsumeFloatingPoint<double>());
      break;
    }
    case 2: {
      const std::string format = nextFormat(input, "-", "s");
      std::string text = input.ConsumeRandomLengthString(400);
      for (char& letter : text) letter = static_cast<char>(letter & 0x7F);
      compare(format, text.c_str());
      break;
    }
    default:
      formatAnyText(input);
  }
  return 0;
}
