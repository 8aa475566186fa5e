#include <cstdint>
#include <ctime>

#include "testing/objects.h"

/// What a program calls to make what the library takes and to use what it returns.
namespace corvane::testing {
namespace {

constexpr CFOptionFlags kCase = kCFCompareCaseInsensitive, kNumbers = kCFCompareNumerically;

TEST(CallerTest, TextsAreCompared) {
  const struct {
    const char *text, *other;
    CFOptionFlags options;
    CFComparisonResult result;
  } cases[] = {
      {"a", "b", 0, kCFCompareLessThan},
      {"a", "A", 0, kCFCompareGreaterThan},
      {"aÉ", "Aé", kCase, kCFCompareEqualTo},
      {"file9", "file10", 0, kCFCompareGreaterThan},
      {"File9", "file10", kCase | kNumbers, kCFCompareLessThan},
      {"v007.2", "v7.02", kNumbers, kCFCompareEqualTo},
      {"v7", "v7b", kNumbers, kCFCompareLessThan},
      {"5b", "5a", kNumbers, kCFCompareGreaterThan},
      {"19", "18", kNumbers, kCFCompareGreaterThan},
  };
  for (const auto& [text, other, options, result] : cases) {
    EXPECT_EQ(CFStringCompare(cfString(text).get(), cfString(other).get(), options), result)
        << text << ' ' << other;
  }
  EXPECT_TRUE(CFStringHasPrefix(CFSTR("T33AP"), CFSTR("T33")));
  EXPECT_FALSE(CFStringHasPrefix(CFSTR("T33AP"), CFSTR("AP")));
  EXPECT_TRUE(CFStringHasSuffix(CFSTR("T33AP"), CFSTR("AP")));
  EXPECT_FALSE(CFStringHasSuffix(CFSTR("T33AP"), CFSTR("T33")));
  EXPECT_EQ(CFStringFind(CFSTR("-Debug"), CFSTR("dEBUG"), kCase).location, 1);
}

TEST(CallerTest, ATextIsStoredWholeOrNotAtAll) {
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

TEST(CallerTest, TextsAreBuiltTakenApartAndPutTogether) {
  const CFRef built(CFStringCreateMutable(nullptr, 0));
  CFStringAppendCString(built.get(), "gr\xFCn", kCFStringEncodingISOLatin1);
  CFStringAppendCString(built.get(), "\xFC", kCFStringEncodingUTF8);
  CFStringAppendFormat(built.get(), nullptr, CFSTR(" %d %@"), 7, CFSTR("x"));
  const CFRef copy(CFStringCreateCopy(nullptr, built.get()));
  CFStringFindAndReplace(built.get(), CFSTR("GR"), CFSTR("k"), CFRangeMake(0, 4), kCase);
  EXPECT_EQ(text(built.get()), "kün 7 x");
  EXPECT_EQ(text(copy.get()), "grün 7 x");

  const std::pair<const char*, const char*> cases[] = {
      {"a, b, , c", "(a, b, , c)"}, {"", "()"}, {", ", "(, )"}, {"a,b", "(a,b)"}};
  for (const auto& [whole, parts] : cases) {
    const CFRef list(
        CFStringCreateArrayBySeparatingStrings(nullptr, cfString(whole).get(), CFSTR(", ")));
    EXPECT_EQ(shown(list.get()), parts);
    EXPECT_EQ(text(CFRef(CFStringCreateByCombiningStrings(nullptr, list.get(), CFSTR(", "))).get()),
              whole);
  }
}

TEST(CallerTest, CollectionsAreMadeAtOnceAndWalked) {
  const void* keys[] = {CFSTR("a"), CFSTR("b"), CFSTR("a")};
  const void* values[] = {CFSTR("1"), kCFNull, CFSTR("2")};
  const CFRef dictionary(CFDictionaryCreate(
      nullptr, keys, values, 3, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  EXPECT_EQ(shown(dictionary.get()), "{a = 1; b = <null>; }");
  const void* value = nullptr;
  EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary.get(), CFSTR("b"), &value));
  EXPECT_EQ(value, kCFNull);
  EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary.get(), CFSTR("a"), nullptr));
  EXPECT_FALSE(CFDictionaryGetValueIfPresent(dictionary.get(), CFSTR("c"), &value));

  std::string walked;
  const auto appendKey = [](const void* key, const void*, void* context) {
    *static_cast<std::string*>(context) += text(static_cast<CFStringRef>(key));
  };
  CFDictionaryApplyFunction(dictionary.get(), appendKey, &walked);
  const CFRef list(CFArrayCreate(nullptr, keys, 3, &kCFTypeArrayCallBacks));
  CFArrayApplyFunction(
      list.get(), CFRangeMake(1, 2),
      [](const void* held, void* context) {
        *static_cast<std::string*>(context) += text(static_cast<CFStringRef>(held));
      },
      &walked);
  EXPECT_EQ(walked, "abba");
  EXPECT_TRUE(CFArrayContainsValue(list.get(), CFRangeMake(0, 3), cfString("b").get()));
  EXPECT_FALSE(CFArrayContainsValue(list.get(), CFRangeMake(2, 1), CFSTR("b")));
  EXPECT_DEATH(CFArrayContainsValue(list.get(), CFRangeMake(2, 2), CFSTR("b")), "range");
}

TEST(CallerTest, NumbersBytesAndDatesAreReadBack) {
  const int16_t small = 300;
  const CFRef number(CFNumberCreate(nullptr, kCFNumberShortType, &small));
  EXPECT_EQ(CFNumberGetType(number.get()), kCFNumberSInt16Type);
  int8_t cut = 0;
  EXPECT_FALSE(CFNumberGetValue(number.get(), kCFNumberCharType, &cut));
  EXPECT_EQ(cut, 44);
  EXPECT_EQ(shown(CFRef(CFNumberCreate(nullptr, kCFNumberSInt8Type, &cut)).get()), "44");
  EXPECT_EQ(CFNumberCompare(makeNumber(INT64_MAX).get(), makeReal(0x1p63).get(), nullptr),
            kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(makeReal(-1.5).get(), makeNumber(-2).get(), nullptr),
            kCFCompareGreaterThan);
  EXPECT_EQ(CFNumberCompare(makeReal(3).get(), makeNumber(3).get(), nullptr), kCFCompareEqualTo);

  UInt8 bytes[3] = {};
  CFDataGetBytes(makeData("abc").get(), CFRangeMake(1, 2), bytes);
  EXPECT_STREQ(reinterpret_cast<const char*>(bytes), "bc");
  EXPECT_EQ(CFDateGetAbsoluteTime(CFRef(CFDateCreate(nullptr, 2.5)).get()), 2.5);
  EXPECT_NEAR(CFAbsoluteTimeGetCurrent(), static_cast<double>(std::time(nullptr) - 978307200), 2);
}

}  // namespace
}  // namespace corvane::testing
