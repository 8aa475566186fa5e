#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

#include "host/corefoundation/testing/objects.h"

namespace corvane::testing {
namespace {

constexpr std::array<UniChar, 3> kLoneSurrogate = {'a', 0xD83D, 'b'};

CFRef<CFStringRef> withLoneSurrogate() {
  return CFRef(CFStringCreateWithCharacters(nullptr, kLoneSurrogate.data(), 3));
}

CFRef<CFMutableStringRef> growing(const std::string& text) {
  return CFRef(CFStringCreateMutableCopy(nullptr, 0, cfString(text).get()));
}

TEST(StringTest, ConstantsOfOneTextAreOneObject) {
  const auto elsewhere = [] { return CFSTR("same text"); };
  EXPECT_EQ(CFSTR("same text"), elsewhere());
  EXPECT_NE(CFSTR("same text"), CFSTR("another text"));
}

TEST(StringTest, LengthIsInUtf16Units) {
  EXPECT_EQ(CFStringGetLength(cfString("").get()), 0);
  EXPECT_EQ(CFStringGetLength(cfString("ä€").get()), 2);
  EXPECT_EQ(CFStringGetLength(cfString("😀").get()), 2);
}

TEST(StringTest, BytesAreTakenOnlyInAnEncodingTheyAreValidIn) {
  struct Case {
    std::string bytes;
    CFStringEncoding encoding;
    std::string text;
  };
  const std::string none = "(absent)";
  const std::vector<Case> cases = {
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

TEST(StringTest, LoneSurrogatesHaveNoFormButTheLossByte) {
  const CFRef string = withLoneSurrogate();
  EXPECT_EQ(testing::text(string.get()), "a?b");
  CFIndex used = 0;
  EXPECT_EQ(CFStringGetBytes(string.get(), CFRangeMake(0, 3), kCFStringEncodingUTF8, 0, false,
                             nullptr, 0, &used),
            1);
  EXPECT_EQ(used, 1);
}

TEST(StringTest, BytesStopBeforeACharacterThatDoesNotFitWhole) {
  std::array<UInt8, 5> buffer;
  CFIndex used = 0;
  EXPECT_EQ(CFStringGetBytes(cfString("ab😀c").get(), CFRangeMake(0, 5), kCFStringEncodingUTF8, 0,
                             false, buffer.data(), 5, &used),
            2);
  EXPECT_EQ(used, 2);
}

TEST(StringDeathTest, PlacesOutsideTheStringEndTheProgram) {
  const CFRef string = cfString("abc");
  EXPECT_EQ(CFStringGetCharacterAtIndex(string.get(), 2), 'c');
  EXPECT_DEATH(CFStringGetCharacterAtIndex(string.get(), 3), "CFStringGetCharacterAtIndex: ");
  EXPECT_DEATH(CFStringCreateWithSubstring(nullptr, string.get(), CFRangeMake(2, 2)),
               "CFStringCreateWithSubstring: ");
}

TEST(StringTest, EqualTextsAreEqualHoweverTheyWereMade) {
  const CFRef string = cfString("Gerät");
  EXPECT_TRUE(CFEqual(string.get(), CFSTR("Gerät")));
  EXPECT_EQ(CFHash(string.get()), CFHash(CFSTR("Gerät")));
  EXPECT_FALSE(CFEqual(string.get(), CFSTR("Geräte")));
}

TEST(StringTest, FindTellsTheFirstPlace) {
  const std::pair<const char*, CFIndex> cases[] = {
      {"ab", 0}, {"aab", 4}, {"AB", kCFNotFound}, {"", kCFNotFound}, {"abacaabb", kCFNotFound}};
  for (const auto& [find, location] : cases) {
    EXPECT_EQ(CFStringFind(CFSTR("abacaab"), cfString(find).get(), 0).location, location) << find;
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
        CFStringFindAndReplace(string.get(), cfString(find).get(), cfString(replacement).get(),
                               CFRangeMake(0, CFStringGetLength(string.get())), 0),
        count);
    EXPECT_EQ(testing::text(string.get()), expected)
        << original << ' ' << find << ' ' << replacement;
  }
}

TEST(StringTest, ReplacingLeavesWhatLiesOutsideTheRange) {
  const CFRef string = growing("a-a-a-a");
  EXPECT_EQ(CFStringFindAndReplace(string.get(), CFSTR("a"), CFSTR("bb"), CFRangeMake(1, 5), 0), 2);
  EXPECT_EQ(testing::text(string.get()), "a-bb-bb-a");
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
    EXPECT_EQ(CFStringGetIntValue(cfString(text).get()), integer) << text;
    EXPECT_EQ(CFStringGetDoubleValue(cfString(text).get()), real) << text;
  }
}

}  // namespace
}  // namespace corvane::testing
