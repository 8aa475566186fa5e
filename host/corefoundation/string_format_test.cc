#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "host/corefoundation/testing/objects.h"

namespace corvane::testing {
namespace {

template <typename... Arguments>
std::string format(const char* format, Arguments... arguments) {
  const CFRef text(
      CFStringCreateWithFormat(nullptr, nullptr, cfString(format).get(), arguments...));
  return testing::text(text.get());
}

#define EXPECT_AS_PRINTF(...)                               \
  do {                                                      \
    char expected[400];                                     \
    std::snprintf(expected, sizeof(expected), __VA_ARGS__); \
    EXPECT_EQ(format(__VA_ARGS__), expected);               \
  } while (false)

TEST(StringFormatTest, NumbersComeOutAsPrintfMakesThem) {
  EXPECT_AS_PRINTF("%d|%5d|%-5d|%05d|%+d|% d|%.3d", 42, 42, 42, 42, 42, 42, 7);
  EXPECT_AS_PRINTF("%u %x %X %#x %o %#o", ~0u, 0xABCu, 0xABCu, 255u, 8u, 8u);
  EXPECT_AS_PRINTF("%ld %lu %lld %llx", -1L, ~0UL, INT64_MIN + 0LL, ~0ULL);
  EXPECT_AS_PRINTF("%zu %zd %td %jd %ju", sizeof(int), ssize_t{-1}, ptrdiff_t{-2}, INTMAX_MIN,
                   UINTMAX_MAX);
  EXPECT_AS_PRINTF("%f %.2f %10.3e %g %G %a %F %E", 1.5, 2.345, 12345.678, 1e-7, 1e20, 1.0, -0.0,
                   1.0);
  EXPECT_AS_PRINTF("%Lf %.3Lg", 1.25L, 1.0L / 3);
  EXPECT_AS_PRINTF("%*d|%-*d|%.*f|%*d|%.*d", 6, 1, 6, 2, 2, 3.14159, -6, 4, -1, 5);
  EXPECT_AS_PRINTF("100%% %c%c", 'o', 'k');
  EXPECT_AS_PRINTF("%300d", 1);
  EXPECT_AS_PRINTF("%.200f", 1e100);
  EXPECT_EQ(format("%qd", 1LL << 40), "1099511627776");
  EXPECT_EQ(format("%hhd %hhu %hd %hu", 200, 300, 40000, 70000), "-56 44 -25536 4464");
}

TEST(StringFormatTest, StringsKeepTheirText) {
  EXPECT_EQ(format("[%s] [%6s] [%-6s] [%.2s]", "Gerät", "ab", "ab", "abc"),
            "[Gerät] [    ab] [ab    ] [ab]");
  EXPECT_EQ(format("%s", "\xE4 in Latin-1"), "ä in Latin-1");
  EXPECT_EQ(format("%s", static_cast<const char*>(nullptr)), "(null)");
  const std::string longText(5000, 'x');
  EXPECT_EQ(format("<%s>", longText.c_str()), "<" + longText + ">");
  EXPECT_EQ(format("%S %C", reinterpret_cast<const UniChar*>(u"ä😀"), 0x20AC), "ä😀 €");
  EXPECT_EQ(format("grün %d", 1), "grün 1");
}

TEST(StringFormatTest, PrecisionBoundsTheBytesThatAreLookedAt) {
  const char unterminated[] = {'a', 'b', 'c'};
  EXPECT_EQ(format("%.3s", unterminated), "abc");
  EXPECT_EQ(format("%.2s", "aä"), "a");
}

TEST(StringFormatTest, AddressesAreHexadecimal) {
  EXPECT_EQ(format("%p %p", reinterpret_cast<void*>(0xBEEF), static_cast<void*>(nullptr)),
            "0xbeef 0x0");
}

TEST(StringFormatTest, WhatIsNoConversionStandsAsItIs) {
  EXPECT_EQ(format("50%"), "50%");
  EXPECT_EQ(format("%-08.3l"), "%-08.3l");
  EXPECT_EQ(format("%d %y %d", 1, 2), "1 %y 2");
}

TEST(StringFormatTest, ObjectsShowTheirContentsOnOneLine) {
  const float third = 1.0f / 3;
  const double tenth = 0.1;
  EXPECT_EQ(shown(CFSTR("text")), "text");
  EXPECT_EQ(shown(nullptr), "(null)");
  EXPECT_EQ(shown(kCFBooleanTrue), "true");
  EXPECT_EQ(shown(makeNumber(-5).get()), "-5");
  EXPECT_EQ(shown(CFRef(CFNumberCreate(nullptr, kCFNumberFloatType, &third)).get()), "0.33333334");
  EXPECT_EQ(shown(CFRef(CFNumberCreate(nullptr, kCFNumberDoubleType, &tenth)).get()), "0.1");
  EXPECT_EQ(shown(makeData("\x0A\x0B\xFF").get()), "<0a0bff>");
  EXPECT_EQ(shown(CFRef(CFDateCreate(nullptr, 86400.5)).get()), "2001-01-02 00:00:00 +0000");
  EXPECT_EQ(format("[%6@] [%-6@] [%.2@]", CFSTR("abc"), CFSTR("abc"), CFSTR("abc")),
            "[   abc] [abc   ] [ab]");
}

TEST(StringFormatTest, CollectionsShowTheirEntriesOnOneLine) {
  const CFRef list(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  EXPECT_EQ(shown(list.get()), "()");
  CFArrayAppendValue(list.get(), CFSTR("a"));
  CFArrayAppendValue(list.get(), makeNumber(2).get());
  const CFRef dictionary = makeDictionary();
  CFDictionarySetValue(dictionary.get(), CFSTR("list"), list.get());
  CFDictionarySetValue(dictionary.get(), CFSTR("flag"), kCFBooleanFalse);
  EXPECT_EQ(shown(dictionary.get()), "{list = (a, 2); flag = false; }");
}

}  // namespace
}  // namespace corvane::testing
