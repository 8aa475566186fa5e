#include <array>
#include <iterator>

#include "testing/objects.h"

namespace corvane::testing {
namespace {

constexpr CFOptionFlags kCase = kCFCompareCaseInsensitive;

template <typename... Arguments>
std::string format(const char* format, Arguments... arguments) {
  const CFRef text(
      CFStringCreateWithFormat(nullptr, nullptr, cfString(format).get(), arguments...));
  return testing::text(text.get());
}

TEST(StringTest, BytesAreTakenOnlyInAnEncodingTheyAreValidIn) {
  struct Case {
    std::string bytes;
    CFStringEncoding encoding;
    std::string text;
  };
  const std::string none = "(absent)";
  const std::vector<Case> cases = {
      {"", kCFStringEncodingUTF8, ""},
      {"\xE4", kCFStringEncodingISOLatin1, "ä"},
      {"\xE4", kCFStringEncodingUTF8, none},
      {"\xF0\x9F\x98\x80", kCFStringEncodingUTF8, "😀"},
      {"\xF0\x9F\x98", kCFStringEncodingUTF8, none},
      {"\xED\xA0\x80", kCFStringEncodingUTF8, none},
      {"\xC0\x80", kCFStringEncodingUTF8, none},
      {std::string("a\0b", 3), kCFStringEncodingUTF8, std::string("a\0b", 3)},
      {"plain", 0x0100, none},
  };
  for (const auto& [bytes, encoding, text] : cases) {
    const CFRef string(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                static_cast<CFIndex>(bytes.size()), encoding, false));
    EXPECT_EQ(testing::text(string.get()), text) << encoding;
  }
}

TEST(StringTest, TextsAreCompared) {
  const struct {
    const char *text, *other;
    CFOptionFlags options;
    CFComparisonResult result;
  } cases[] = {
      {"a", "b", 0, kCFCompareLessThan},
      {"a", "A", 0, kCFCompareGreaterThan},
      {"aÉ", "Aé", kCase, kCFCompareEqualTo},
  };
  for (const auto& [text, other, options, result] : cases) {
    EXPECT_EQ(CFStringCompare(cfString(text).get(), cfString(other).get(), options), result)
        << text << ' ' << other;
  }
  EXPECT_EQ(CFStringFind(CFSTR("-Debug"), CFSTR("dEBUG"), kCase).location, 1);
}

TEST(StringTest, ATextIsStoredWholeOrNotAtAll) {
  const struct {
    const char* text;
    CFIndex size;
    CFStringEncoding encoding;
    const char* stored;
  } cases[] = {{"ä", 3, kCFStringEncodingUTF8, "ä"},
               {"ä", 2, kCFStringEncodingUTF8, nullptr},
               {"ä", 2, kCFStringEncodingISOLatin1, "\xE4"},
               {"€", 8, kCFStringEncodingISOLatin1, nullptr},
               {"", 1, kCFStringEncodingUTF8, ""}};
  for (const auto& [text, size, encoding, stored] : cases) {
    char buffer[10] = "xxxxxxxxx";
    EXPECT_EQ(CFStringGetCString(cfString(text).get(), buffer, size, encoding), stored != nullptr);
    EXPECT_STREQ(buffer, stored ? stored : "") << text;
    EXPECT_EQ(buffer[size], 'x');
  }
  EXPECT_FALSE(CFStringGetCString(CFSTR(""), nullptr, 0, kCFStringEncodingUTF8));
}

TEST(StringFormatTest, NumbersComeOutAsPrintfMakesThem) {
  EXPECT_EQ(format("%d|%5d|%-5d|%05d|%+d|% d|%.3d", 42, 42, 42, 42, 42, 42, 7),
            "42|   42|42   |00042|+42| 42|007");
  EXPECT_EQ(format("%u %x %#X %o %llx %ld %zd %td %jd", ~0u, 0xABCu, 255u, 8u, ~0ULL, -1L,
                   ssize_t{-1}, ptrdiff_t{-2}, INTMAX_MIN),
            "4294967295 abc 0XFF 10 ffffffffffffffff -1 -1 -2 -9223372036854775808");
  EXPECT_EQ(format("%.2f %10.3e %g %a %Lf %*d|%-*d|%.*f", 2.345, 12345.678, 1e-7, 1.0, 1.25L, 6, 1,
                   6, 2, 2, 3.14159),
            "2.35  1.235e+04 1e-07 0x1p+0 1.250000      1|2     |3.14");
  EXPECT_EQ(format("%.200f", 1e100).size(), 302u);
  EXPECT_EQ(format("%qd", 1LL << 40), "1099511627776");
  EXPECT_EQ(format("%hhd %hhu %hd %hu", 200, 300, 40000, 70000), "-56 44 -25536 4464");
}

TEST(StringFormatTest, TextsAddressesAndWhatIsNotAConversionComeOutWhole) {
  EXPECT_EQ(format("[%s] [%6s] [%-6s] [%.2s]", "Gerät", "ab", "ab", "abc"),
            "[Gerät] [    ab] [ab    ] [ab]");
  EXPECT_EQ(format("%s", "\xE4 in Latin-1"), "ä in Latin-1");
  EXPECT_EQ(format("%s", static_cast<const char*>(nullptr)), "(null)");
  const std::string longText(5000, 'x');
  EXPECT_EQ(format("<%s>", longText.c_str()), "<" + longText + ">");
  EXPECT_EQ(format("%S %C", reinterpret_cast<const UniChar*>(u"ä😀"), 0x20AC), "ä😀 €");
  EXPECT_EQ(format("grün %d", 1), "grün 1");
  const char unterminated[] = {'a', 'b', 'c'};
  EXPECT_EQ(format("%.3s", unterminated), "abc");
  EXPECT_EQ(format("%.2s", "aä"), "a");
  EXPECT_EQ(format("%p %p", reinterpret_cast<void*>(0xBEEF), static_cast<void*>(nullptr)),
            "0xbeef 0x0");
  EXPECT_EQ(format("50%"), "50%");
  EXPECT_EQ(format("%-08.3l"), "%-08.3l");
  EXPECT_EQ(format("%d %y %d", 1, 2), "1 %y 2");
}

}  // namespace
}  // namespace corvane::testing
