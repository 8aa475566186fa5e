#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include "host/corefoundation/testing/objects.h"

namespace corvane::testing {
namespace {

/// The text with its addresses, which differ from run to run, taken out.
std::string withoutAddresses(std::string text) {
  for (size_t at = 0; (at = text.find("0x", at)) != std::string::npos;) {
    text.erase(at, text.find('>', at) - at);
  }
  return text;
}

std::string described(CFTypeRef object) {
  return withoutAddresses(testing::text(CFRef(CFCopyDescription(object)).get()));
}

TEST(DescriptionTest, CollectionsTakeALinePerEntry) {
  const CFRef dictionary = makeDictionary();
  const CFRef list(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  CFArrayAppendValue(list.get(), makeData("\x01").get());
  CFDictionarySetValue(dictionary.get(), CFSTR("name"), CFSTR("value"));
  CFDictionarySetValue(dictionary.get(), CFSTR("list"), list.get());
  EXPECT_EQ(described(dictionary.get()),
            "<CFDictionary >{count = 2\n"
            "    name = value\n"
            "    list = <CFArray >{count = 1\n"
            "        <01>\n"
            "    }\n"
            "}");
  EXPECT_EQ(described(CFSTR("text")), "<CFString >{text}");
}

TEST(DescriptionTest, ShowingEndsWithALineFeed) {
  ::testing::internal::CaptureStderr();
  CFShow(CFSTR("Gerät"));
  CFShow(nullptr);
  CFShow(makeNumber(3).get());
  EXPECT_EQ(withoutAddresses(::testing::internal::GetCapturedStderr()),
            "Gerät\n(null)\n<CFNumber >{3}\n");
}

TEST(DescriptionTest, ObjectsUnderNullCallbacksAreShownAsWhatTheyAre) {
  const CFRef value = makeNumber(0x2A);
  const CFRef bare(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
  CFDictionarySetValue(bare.get(), CFSTR("number"), value.get());
  CFDictionarySetValue(bare.get(), CFSTR("flag"), kCFBooleanTrue);
  EXPECT_EQ(shown(bare.get()), "{number = 42; flag = true; }");
}

TEST(DescriptionTest, BarePointersAreShownAsAddresses) {
  const auto foreign = std::make_unique<std::array<uint64_t, 8>>();
  const CFRef list(CFArrayCreateMutable(nullptr, 0, nullptr));
  const CFNumberRef dead = makeNumber(1).get();
  for (const void* pointer :
       {static_cast<const void*>(nullptr), reinterpret_cast<const void*>(7),
        reinterpret_cast<const void*>(0x1000), static_cast<const void*>(foreign.get()),
        static_cast<const void*>(dead)}) {
    CFArrayAppendValue(list.get(), pointer);
  }
  char expected[100];
  std::snprintf(expected, sizeof(expected), "(0x0, 0x7, 0x1000, %p, %p)",
                static_cast<const void*>(foreign.get()), static_cast<const void*>(dead));
  EXPECT_EQ(shown(list.get()), expected);
}

TEST(DescriptionTest, CollectionThatHoldsItselfIsCutShort) {
  const CFRef list(CFArrayCreateMutable(nullptr, 0, nullptr));
  CFArrayAppendValue(list.get(), list.get());
  EXPECT_NE(shown(list.get()).find("(((...)))"), std::string::npos);
}

}  // namespace
}  // namespace corvane::testing
