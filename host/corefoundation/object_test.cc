#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <random>
#include <thread>

#include "testing/objects.h"

namespace corvane::testing {
namespace {

template <typename T>
CFRef<CFNumberRef> number(CFNumberType type, T value) {
  return CFRef(CFNumberCreate(nullptr, type, &value));
}

TEST(ObjectTest, ConstantsOutliveAnyNumberOfReleases) {
  for (const CFTypeRef constant : std::vector<CFTypeRef>{CFSTR("constant"), kCFBooleanTrue,
                                                         kCFBooleanFalse, kCFAllocatorMalloc}) {
    CFRelease(constant);
    CFRelease(constant);
    EXPECT_EQ(CFGetRetainCount(constant), std::numeric_limits<CFIndex>::max());
  }
}

TEST(ObjectTest, ThreadsShareAnObject) {
  const CFRef number = makeNumber(1);
  const auto use = [&] {
    for (int round = 0; round < 100000; ++round) CFRelease(CFRetain(number.get()));
  };
  { const std::jthread one(use), another(use), third(use); }
  EXPECT_EQ(CFGetRetainCount(number.get()), 1);
}

TEST(ObjectDeathTest, NullIsReportedAndEndsTheProgram) {
  EXPECT_DEATH(CFRelease(nullptr), "CFRelease: ");
  EXPECT_DEATH(CFRetain(nullptr), "CFRetain: ");
}

TEST(DataTest, BytesAreCopiedLentOrTakenOverAsTheDeallocatorSays) {
  std::string bytes(8192, 'x');
  const CFRef copy = makeData(bytes);
  bytes[0] = 'y';
  EXPECT_EQ(bytesOf(copy.get()), std::string(8192, 'x'));

  std::array<UInt8, 2> kept = {1, 2};
  const CFRef lent(CFDataCreateWithBytesNoCopy(nullptr, kept.data(), 2, kCFAllocatorNull));
  EXPECT_EQ(CFDataGetBytePtr(lent.get()), kept.data());

  // Memory that is not freed with its object would be reported as leaked.
  for (const CFAllocatorRef deallocator : {kCFAllocatorDefault, kCFAllocatorMalloc}) {
    auto* given = static_cast<UInt8*>(std::malloc(2));
    const CFRef owner(CFDataCreateWithBytesNoCopy(nullptr, given, 2, deallocator));
    EXPECT_EQ(CFDataGetBytePtr(owner.get()), given);
  }
}

TEST(DataTest, GrowingDataStartsEmptyAndFillsUpWithZeros) {
  const CFRef data(CFDataCreateMutable(nullptr, 0));
  const UInt8 letters[] = {'a', 'b', 'c'};
  for (const UInt8& letter : letters) CFDataAppendBytes(data.get(), &letter, 1);
  EXPECT_EQ(bytesOf(data.get()), "abc");
  CFDataSetLength(data.get(), 1);
  CFDataSetLength(data.get(), 4);
  CFDataGetMutableBytePtr(data.get())[3] = 'd';
  const CFRef same = makeData(std::string("a\0\0d", 4));
  EXPECT_EQ(bytesOf(data.get()), bytesOf(same.get()));
  EXPECT_TRUE(CFEqual(data.get(), same.get()));
  EXPECT_EQ(CFHash(data.get()), CFHash(same.get()));
}

TEST(NumberTest, AliasesOfANumberTypeAreStoredAsThatType) {
  EXPECT_EQ(CFNumberGetType(number(kCFNumberIntType, 1).get()), kCFNumberSInt32Type);
  EXPECT_EQ(CFNumberGetType(number(kCFNumberCFIndexType, CFIndex{1}).get()), kCFNumberSInt64Type);
  EXPECT_EQ(CFNumberGetType(number(kCFNumberFloatType, 1.0f).get()), kCFNumberFloat32Type);
  EXPECT_FALSE(number(static_cast<CFNumberType>(99), 1));
}

TEST(NumberTest, ReadingAnIntegerCutsOrClampsAndTellsWhetherItIsExact) {
  const struct {
    CFRef<CFNumberRef> number;
    int32_t stored;
    bool isExact;
  } cases[] = {
      {makeNumber(0x1FFFFFFFF), -1, false},
      {makeNumber(INT32_MIN), INT32_MIN, true},
      {makeReal(-3.9), -3, false},
      {makeReal(-2147483648.0), INT32_MIN, true},
      {makeReal(2147483648.0), INT32_MAX, false},
      {makeReal(-1e300), INT32_MIN, false},
      {makeReal(std::nan("")), 0, false},
  };
  for (const auto& c : cases) {
    int32_t stored = 1;
    EXPECT_EQ(CFNumberGetValue(c.number.get(), kCFNumberIntType, &stored), c.isExact);
    EXPECT_EQ(stored, c.stored) << shown(c.number.get());
  }
  int64_t wide = 0;
  EXPECT_FALSE(CFNumberGetValue(makeReal(0x1p63).get(), kCFNumberSInt64Type, &wide));
  EXPECT_EQ(wide, INT64_MAX);
}

TEST(NumberTest, ReadingARealTellsWhetherItIsExact) {
  double wide = 0;
  float narrow = 0;
  EXPECT_TRUE(CFNumberGetValue(makeNumber(1LL << 53).get(), kCFNumberDoubleType, &wide));
  EXPECT_FALSE(CFNumberGetValue(makeNumber((1LL << 53) + 1).get(), kCFNumberDoubleType, &wide));
  EXPECT_FALSE(CFNumberGetValue(makeNumber(INT64_MAX).get(), kCFNumberDoubleType, &wide));
  EXPECT_EQ(wide, 0x1p63);
  EXPECT_TRUE(CFNumberGetValue(makeReal(0.5).get(), kCFNumberFloatType, &narrow));
  EXPECT_FALSE(CFNumberGetValue(makeReal(0.1).get(), kCFNumberFloatType, &narrow));
  EXPECT_FALSE(CFNumberGetValue(makeReal(-1e300).get(), kCFNumberFloatType, &narrow));
  EXPECT_EQ(narrow, -std::numeric_limits<float>::infinity());
}

TEST(NumberTest, NumbersOfOneValueAreEqualInEachForm) {
  EXPECT_TRUE(CFEqual(number(kCFNumberIntType, 3).get(), makeReal(3).get()));
  EXPECT_EQ(CFHash(makeNumber(3).get()), CFHash(makeReal(3).get()));
  EXPECT_EQ(CFHash(makeNumber(0).get()), CFHash(makeReal(-0.0).get()));
  EXPECT_FALSE(CFEqual(makeNumber(INT64_MAX).get(), makeReal(0x1p63).get()));
  EXPECT_FALSE(CFEqual(makeNumber(3).get(), makeReal(3.5).get()));
  EXPECT_FALSE(CFEqual(makeNumber(1).get(), kCFBooleanTrue));
}

TEST(ArrayTest, RetainsItsValuesAndEqualsAnArrayOfEqualValues) {
  const CFRef number = makeNumber(1);
  {
    const CFRef list = makeArray({number.get(), CFSTR("a")});
    EXPECT_EQ(CFArrayGetValueAtIndex(list.get(), 0), number.get());
    EXPECT_EQ(CFGetRetainCount(number.get()), 2);
    const CFRef same = makeArray({makeNumber(1).get(), CFSTR("a")});
    EXPECT_TRUE(CFEqual(list.get(), same.get()));
    EXPECT_EQ(CFHash(list.get()), CFHash(same.get()));
    CFArrayAppendValue(same.get(), CFSTR("b"));
    EXPECT_FALSE(CFEqual(list.get(), same.get()));
    EXPECT_DEATH(CFArrayGetValueAtIndex(list.get(), 2), "CFArrayGetValueAtIndex: ");
    EXPECT_DEATH(CFArrayGetValueAtIndex(list.get(), -1), "CFArrayGetValueAtIndex: ");
  }
  EXPECT_EQ(CFGetRetainCount(number.get()), 1);
}

TEST(DictionaryTest, NullCallbacksCompareKeysByIdentityAndKeepNothing) {
  const CFRef bare(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
  const CFRef key = cfString("key");
  CFDictionarySetValue(bare.get(), key.get(), reinterpret_cast<const void*>(5));
  EXPECT_EQ(CFGetRetainCount(key.get()), 1);
  EXPECT_EQ(CFDictionaryGetValue(bare.get(), key.get()), reinterpret_cast<const void*>(5));
  EXPECT_EQ(CFDictionaryGetValue(bare.get(), CFSTR("key")), nullptr);
  CFDictionarySetValue(bare.get(), key.get(), kCFBooleanTrue);
  EXPECT_EQ(shown(bare.get()), "{key = true; }");
}

TEST(DictionaryTest, HoldsWhatAMapHoldsWhileItGrowsAndShrinks) {
  std::mt19937 random(7);
  const CFRef dictionary = makeDictionary();
  std::map<std::string, int> model;
  for (int step = 0; step < 4000; ++step) {
    // The dictionary grows past the size from which it keeps an index, and shrinks again.
    const bool isGrowing = step / 100 % 2 == 0;
    const std::string name = "k" + std::to_string(random() % 20);
    const CFRef key = cfString(name);
    if (random() % 4 < (isGrowing ? 1 : 3)) {
      CFDictionaryRemoveValue(dictionary.get(), key.get());
      model.erase(name);
    } else if (random() % 2 == 0) {
      CFDictionaryAddValue(dictionary.get(), key.get(), makeNumber(step).get());
      model.emplace(name, step);
    } else {
      CFDictionarySetValue(dictionary.get(), key.get(), makeNumber(step).get());
      model[name] = step;
    }
    const auto at = model.find(name);
    EXPECT_EQ(shown(CFDictionaryGetValue(dictionary.get(), key.get())),
              at == model.end() ? "(null)" : std::to_string(at->second));

    if (step % 25 != 0) continue;
    // Compare it with the same entries in another order.
    const CFRef copy(CFDictionaryCreateMutableCopy(nullptr, 0, dictionary.get()));
    const CFRef sorted = makeDictionary();
    for (const auto& [key, value] : model) {
      CFDictionarySetValue(sorted.get(), cfString(key).get(), makeNumber(value).get());
    }
    EXPECT_TRUE(CFEqual(copy.get(), sorted.get()));
    EXPECT_EQ(CFHash(copy.get()), CFHash(sorted.get()));
    CFDictionarySetValue(copy.get(), key.get(), CFSTR("changed"));
    EXPECT_FALSE(CFEqual(copy.get(), sorted.get()));
  }
}

/// Returns what a description says, without its addresses, which differ from run to run.
std::string withoutAddresses(std::string text) {
  for (size_t at = 0; (at = text.find("0x", at)) != text.npos;) {
    text.erase(at, text.find_first_not_of("0123456789abcdef", at + 2) - at);
  }
  return text;
}

TEST(DescriptionTest, CollectionsTakeALinePerEntryAndAShownTextEndsWithALineFeed) {
  const CFRef list = makeArray({makeData("\x01").get(), makeNumber(2).get()});
  const CFRef dictionary = makeDictionary({{CFSTR("name"), CFSTR("x")}, {CFSTR("l"), list.get()}});
  ::testing::internal::CaptureStderr();
  for (const CFTypeRef object : std::vector<CFTypeRef>{CFSTR("Gerät"), nullptr, dictionary.get()}) {
    CFShow(object);
  }
  EXPECT_EQ(withoutAddresses(::testing::internal::GetCapturedStderr()),
            "Gerät\n(null)\n<CFDictionary >{count = 2\n"
            "    name = x\n"
            "    l = <CFArray >{count = 2\n"
            "        <01>\n"
            "        2\n"
            "    }\n"
            "}\n");
}

}  // namespace
}  // namespace corvane::testing
