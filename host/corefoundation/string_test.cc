#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

#include "host/corefoundation/testing/objects.h"

namespace cf {
namespace {

constexpr std::array<UniChar, 3> kLoneSurrogate = {'a', 0xD83D, 'b'};

CFRef<CFStringRef> withLoneSurrogate() {
  return CFRef(CFStringCreateWithCharacters(nullptr, kLoneSurrogate.data(), 3));
}

CFRef<CFMutableStringRef> growing(std::string_view text) {
  return CFRef(CFStringCreateMutableCopy(nullptr, 0, makeString(text).get()));
}

TEST(StringTest, ConstantsOfOneTextAreOneObject) {
  const auto elsewhere = [] { return CFSTR("same text"); };
  EXPECT_EQ(CFSTR("same text"), elsewhere());
  EXPECT_NE(CFSTR("same text"), CFSTR("another text"));
}

TEST(StringTest, LengthIsInUtf16Units) {
  EXPECT_EQ(CFStringGetLength(makeString("").get()), 0);
  EXPECT_EQ(CFStringGetLength(makeString("ä€").get()), 2);
  EXPECT_EQ(CFStringGetLength(makeString("😀").get()), 2);
}

TEST(StringTest, BytesAreTakenOnlyInAnEncodingTheyAreValidIn) {
  struct Case {
    std::string bytes;
    CFStringEncoding encoding;
    std::string text;
  };
  const std::string none = "no string";
  const std::vector<Case> cases = {
      {"plain", kCFStringEncodingASCII, "plain"},
      {"\xE4", kCFStringEncodingASCII, none},
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
    EXPECT_EQ(textOf(string.get()), text) << encoding;
  }
}

TEST(StringTest, CStringNeedsRoomForTheTerminatingZero) {
  std::array<char, 8> buffer;
  const CFRef string = makeString("äb");
  EXPECT_FALSE(CFStringGetCString(string.get(), buffer.data(), 3, kCFStringEncodingUTF8));
  ASSERT_TRUE(CFStringGetCString(string.get(), buffer.data(), 4, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer.data(), "äb");
  EXPECT_FALSE(CFStringGetCString(string.get(), buffer.data(), 8, kCFStringEncodingASCII));
}

TEST(StringTest, LoneSurrogatesHaveNoFormButTheLossByte) {
  const CFRef string = withLoneSurrogate();
  std::array<char, 16> buffer;
  EXPECT_FALSE(CFStringGetCString(string.get(), buffer.data(), 16, kCFStringEncodingUTF8));
  EXPECT_EQ(textOf(string.get()), "a?b");
  CFIndex used = 0;
  EXPECT_EQ(CFStringGetBytes(string.get(), CFRangeMake(0, 3), kCFStringEncodingUTF8, 0, false,
                             nullptr, 0, &used),
            1);
  EXPECT_EQ(used, 1);
}

TEST(StringTest, BytesStopBeforeACharacterThatDoesNotFitWhole) {
  std::array<UInt8, 5> buffer;
  CFIndex used = 0;
  EXPECT_EQ(CFStringGetBytes(makeString("ab😀c").get(), CFRangeMake(0, 5), kCFStringEncodingUTF8, 0,
                             false, buffer.data(), 5, &used),
            2);
  EXPECT_EQ(used, 2);
}

TEST(StringDeathTest, PlacesOutsideTheStringEndTheProgram) {
  const CFRef string = makeString("abc");
  EXPECT_EQ(CFStringGetCharacterAtIndex(string.get(), 2), 'c');
  EXPECT_DEATH(CFStringGetCharacterAtIndex(string.get(), 3), "CFStringGetCharacterAtIndex: ");
  EXPECT_DEATH(CFStringCreateWithSubstring(nullptr, string.get(), CFRangeMake(2, 2)),
               "CFStringCreateWithSubstring: ");
}

TEST(StringTest, CopyOfAGrowingStringStaysAsItWas) {
  const CFRef original = growing("one");
  const CFRef copy(CFStringCreateCopy(nullptr, original.get()));
  CFStringAppend(original.get(), original.get());
  CFStringAppendCString(original.get(), "\xE4", kCFStringEncodingISOLatin1);
  EXPECT_EQ(textOf(original.get()), "oneoneä");
  EXPECT_EQ(textOf(copy.get()), "one");
}

TEST(StringTest, EqualTextsAreEqualHoweverTheyWereMade) {
  const CFRef string = makeString("Gerät");
  EXPECT_TRUE(CFEqual(string.get(), CFSTR("Gerät")));
  EXPECT_EQ(CFHash(string.get()), CFHash(CFSTR("Gerät")));
  EXPECT_FALSE(CFEqual(string.get(), CFSTR("Geräte")));
}

TEST(StringTest, ComparisonOrdersByUnitsAndMayIgnoreCase) {
  EXPECT_EQ(CFStringCompare(CFSTR("a"), CFSTR("b"), 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("ab"), CFSTR("a"), 0), kCFCompareGreaterThan);
  EXPECT_EQ(CFStringCompare(CFSTR("B"), CFSTR("a"), 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("B"), CFSTR("a"), kCFCompareCaseInsensitive),
            kCFCompareGreaterThan);
  EXPECT_EQ(CFStringCompare(CFSTR("ÄÉ"), CFSTR("äé"), kCFCompareCaseInsensitive),
            kCFCompareEqualTo);
}

TEST(StringTest, FindHonoursItsFlags) {
  struct Case {
    const char* find;
    CFStringCompareFlags flags;
    CFIndex location;
  };
  for (const auto& [find, flags, location] : std::vector<Case>{
           {"ab", 0, 0},
           {"ab", kCFCompareBackwards, 5},
           {"AB", 0, kCFNotFound},
           {"BA", kCFCompareCaseInsensitive, 1},
           {"b", kCFCompareAnchored, kCFNotFound},
           {"b", kCFCompareAnchored | kCFCompareBackwards, 6},
           {"", 0, kCFNotFound},
           {"much longer than that", 0, kCFNotFound},
       }) {
    EXPECT_EQ(CFStringFind(CFSTR("abacaab"), makeString(find).get(), flags).location, location)
        << find << ' ' << flags;
  }
}

TEST(StringTest, ReplacingDoesWhatAPlainLoopDoes) {
  std::mt19937 random(20260);
  for (int round = 0; round < 500; ++round) {
    const auto text = [&](size_t least, size_t most) {
      std::string made(least + random() % (most - least + 1), '\0');
      for (char& letter : made) letter = static_cast<char>('a' + random() % 2);
      return made;
    };
    const std::string original = text(0, 20), find = text(1, 3), replacement = text(0, 4);
    std::string expected = original;
    CFIndex count = 0;
    for (size_t at = 0; (at = expected.find(find, at)) != std::string::npos; ++count) {
      expected.replace(at, find.size(), replacement);
      at += replacement.size();
    }
    const CFRef string = growing(original);
    EXPECT_EQ(
        CFStringFindAndReplace(string.get(), makeString(find).get(), makeString(replacement).get(),
                               CFRangeMake(0, CFStringGetLength(string.get())), 0),
        count);
    EXPECT_EQ(textOf(string.get()), expected) << original << ' ' << find << ' ' << replacement;
  }
}

TEST(StringTest, ReplacingLeavesWhatLiesOutsideTheRange) {
  const CFRef string = growing("a-a-a-a");
  EXPECT_EQ(CFStringFindAndReplace(string.get(), CFSTR("a"), CFSTR("bb"), CFRangeMake(1, 5), 0), 2);
  EXPECT_EQ(textOf(string.get()), "a-bb-bb-a");
}

TEST(StringTest, NumbersAreReadFromTheStartOfATextOnly) {
  struct Case {
    const char* text;
    SInt32 integer;
    double real;
  };
  for (const auto& [text, integer, real] : std::vector<Case>{
           {" \t-12abc", -12, -12},
           {"+7.5e1x", 7, 75},
           {"99999999999999999999", 2147483647, 1e20},
           {"-99999999999", -2147483647 - 1, -99999999999},
           {"0x10", 0, 0},
           {"inf", 0, 0},
           {"", 0, 0},
       }) {
    EXPECT_EQ(CFStringGetIntValue(makeString(text).get()), integer) << text;
    EXPECT_EQ(CFStringGetDoubleValue(makeString(text).get()), real) << text;
  }
}

}  // namespace
}  // namespace cf
