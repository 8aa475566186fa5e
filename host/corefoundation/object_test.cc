#include <array>
#include <cmath>
#include <map>
#include <random>
#include <thread>

#include "testing/objects.h"

namespace corvane::testing {
namespace {

TEST(ObjectTest, ThreadsShareAnObject) {
  const CFRef number = makeNumber(1);
  const auto use = [&] {
    for (int round = 0; round < 100000; ++round) CFRelease(CFRetain(number.get()));
  };
  { const std::jthread one(use), another(use), third(use); }
  EXPECT_EQ(CFGetRetainCount(number.get()), 1);
}

TEST(DataTest, BytesAreCopiedOrLent) {
  std::string bytes(8192, 'x');
  const CFRef copy = makeData(bytes);
  bytes[0] = 'y';
  EXPECT_EQ(bytesOf(copy.get()), std::string(8192, 'x'));
  CFDataGetBytes(makeData("abc").get(), CFRangeMake(1, 2), reinterpret_cast<UInt8*>(&bytes[0]));
  EXPECT_EQ(bytes.substr(0, 3), "bcx");

  std::array<UInt8, 2> kept = {1, 2};
  const CFRef lent(CFDataCreateWithBytesNoCopy(nullptr, kept.data(), 2, kCFAllocatorNull));
  EXPECT_EQ(CFDataGetBytePtr(lent.get()), kept.data());
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
  }
  EXPECT_EQ(CFGetRetainCount(number.get()), 1);
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
  }
}

}  // namespace
}  // namespace corvane::testing
