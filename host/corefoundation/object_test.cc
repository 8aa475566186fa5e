#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <set>
#include <thread>
#include <vector>

#include "host/corefoundation/testing/objects.h"

namespace corvane::testing {
namespace {

template <typename T>
CFRef<CFNumberRef> number(CFNumberType type, T value) {
  return CFRef(CFNumberCreate(nullptr, type, &value));
}

CFRef<CFNumberRef> integer(int64_t value) { return number(kCFNumberSInt64Type, value); }
CFRef<CFNumberRef> real(double value) { return number(kCFNumberDoubleType, value); }

TEST(ObjectTest, ConstantsOutliveAnyNumberOfReleases) {
  for (const CFTypeRef constant : std::vector<CFTypeRef>{CFSTR("constant"), kCFBooleanTrue,
                                                         kCFBooleanFalse, kCFAllocatorMalloc}) {
    CFRelease(constant);
    CFRelease(constant);
    EXPECT_EQ(CFGetRetainCount(constant), std::numeric_limits<CFIndex>::max());
  }
}

TEST(ObjectTest, EveryTypeHasItsOwnId) {
  const std::set<CFTypeID> ids = {0,
                                  CFArrayGetTypeID(),
                                  CFBooleanGetTypeID(),
                                  CFDataGetTypeID(),
                                  CFDateGetTypeID(),
                                  CFDictionaryGetTypeID(),
                                  CFNumberGetTypeID(),
                                  CFStringGetTypeID(),
                                  CFGetTypeID(kCFAllocatorNull)};
  EXPECT_EQ(ids.size(), 9u);
  EXPECT_EQ(CFGetTypeID(kCFBooleanTrue), CFBooleanGetTypeID());
}

TEST(ObjectTest, ThreadsShareAnObject) {
  const CFRef number = makeNumber(1);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int round = 0; round < 10000; ++round) {
        CFRetain(number.get());
        CFRelease(number.get());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(CFGetRetainCount(number.get()), 1);
}

TEST(ObjectDeathTest, NullIsReportedAndEndsTheProgram) {
  EXPECT_DEATH(CFRelease(nullptr), "CFRelease: ");
  EXPECT_DEATH(CFRetain(nullptr), "CFRetain: ");
}

TEST(DataTest, BytesAreCopiedOrStayOrGoAsTheDeallocatorSays) {
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
  CFDataSetLength(data.get(), 3);
  std::memcpy(CFDataGetMutableBytePtr(data.get()), "abc", 3);
  CFDataSetLength(data.get(), 1);
  CFDataSetLength(data.get(), 4);
  CFDataGetMutableBytePtr(data.get())[3] = 'd';
  const CFRef same = makeData(std::string("a\0\0d", 4));
  EXPECT_EQ(bytesOf(data.get()), bytesOf(same.get()));
  EXPECT_TRUE(CFEqual(data.get(), same.get()));
  EXPECT_EQ(CFHash(data.get()), CFHash(same.get()));
}

TEST(NumberTest, WideNamesOfATypeAreStoredAsTheTypeTheyMean) {
  EXPECT_EQ(CFNumberGetType(number(kCFNumberIntType, 1).get()), kCFNumberSInt32Type);
  EXPECT_EQ(CFNumberGetType(number(kCFNumberCFIndexType, CFIndex{1}).get()), kCFNumberSInt64Type);
  EXPECT_EQ(CFNumberGetType(number(kCFNumberFloatType, 1.0f).get()), kCFNumberFloat32Type);
  EXPECT_FALSE(number(static_cast<CFNumberType>(99), 1));
}

TEST(NumberTest, IntegersAreCutOrClampedAndSayWhetherThatChangedTheValue) {
  const double infinity = std::numeric_limits<double>::infinity();
  struct Case {
    CFRef<CFNumberRef> number;
    int32_t stored;
    bool isExact;
  };
  const Case cases[] = {
      {integer(0x1FFFFFFFF), -1, false},
      {integer(INT32_MIN), INT32_MIN, true},
      {real(3.0), 3, true},
      {real(-3.9), -3, false},
      {real(-2147483648.0), INT32_MIN, true},
      {real(2147483648.0), INT32_MAX, false},
      {real(-1e300), INT32_MIN, false},
      {real(infinity), INT32_MAX, false},
      {real(std::nan("")), 0, false},
  };
  for (const Case& c : cases) {
    int32_t stored = 1;
    EXPECT_EQ(CFNumberGetValue(c.number.get(), kCFNumberIntType, &stored), c.isExact);
    EXPECT_EQ(stored, c.stored) << shown(c.number.get());
  }
  int64_t wide = 0;
  EXPECT_FALSE(CFNumberGetValue(real(0x1p63).get(), kCFNumberSInt64Type, &wide));
  EXPECT_EQ(wide, INT64_MAX);
}

TEST(NumberTest, RealsSayWhenTheyCannotHoldTheValue) {
  double wide = 0;
  float narrow = 0;
  EXPECT_TRUE(CFNumberGetValue(integer(int64_t{1} << 53).get(), kCFNumberDoubleType, &wide));
  EXPECT_FALSE(CFNumberGetValue(integer((int64_t{1} << 53) + 1).get(), kCFNumberDoubleType, &wide));
  EXPECT_FALSE(CFNumberGetValue(integer(INT64_MAX).get(), kCFNumberDoubleType, &wide));
  EXPECT_EQ(wide, 0x1p63);
  EXPECT_TRUE(CFNumberGetValue(real(0.5).get(), kCFNumberFloatType, &narrow));
  EXPECT_FALSE(CFNumberGetValue(real(0.1).get(), kCFNumberFloatType, &narrow));
  EXPECT_FALSE(CFNumberGetValue(real(-1e300).get(), kCFNumberFloatType, &narrow));
  EXPECT_EQ(narrow, -std::numeric_limits<float>::infinity());
}

TEST(NumberTest, NumbersOfOneValueAreEqualInWhateverForm) {
  EXPECT_TRUE(CFEqual(makeNumber(3).get(), real(3).get()));
  EXPECT_EQ(CFHash(makeNumber(3).get()), CFHash(real(3).get()));
  EXPECT_EQ(CFHash(integer(0).get()), CFHash(real(-0.0).get()));
  EXPECT_FALSE(CFEqual(integer(INT64_MAX).get(), real(0x1p63).get()));
  EXPECT_FALSE(CFEqual(integer(3).get(), real(3.5).get()));
  EXPECT_FALSE(CFEqual(integer(1).get(), kCFBooleanTrue));
}

}  // namespace
}  // namespace corvane::testing
