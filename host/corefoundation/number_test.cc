#include <gtest/gtest.h>

#include <cmath>
#include <limits>
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

TEST(NumberTest, WideNamesOfATypeAreStoredAsTheTypeTheyMean) {
  EXPECT_EQ(CFNumberGetType(number(kCFNumberIntType, 1).get()), kCFNumberSInt32Type);
  EXPECT_EQ(CFNumberGetType(number(kCFNumberCFIndexType, CFIndex{1}).get()), kCFNumberSInt64Type);
  EXPECT_EQ(CFNumberGetType(number(kCFNumberFloatType, 1.0f).get()), kCFNumberFloat32Type);
  EXPECT_FALSE(number(static_cast<CFNumberType>(99), 1));
}

TEST(NumberTest, NarrowingKeepsTheLowBytesAndSaysWhetherThatChangedTheValue) {
  int32_t narrow = 0;
  EXPECT_FALSE(CFNumberGetValue(integer(0x1FFFFFFFF).get(), kCFNumberSInt32Type, &narrow));
  EXPECT_EQ(narrow, -1);
  EXPECT_TRUE(CFNumberGetValue(integer(INT32_MIN).get(), kCFNumberSInt32Type, &narrow));
  EXPECT_EQ(narrow, INT32_MIN);
}

TEST(NumberTest, RealsAreCutAndClampedToIntegers) {
  struct Case {
    double value;
    int32_t stored;
    bool exact;
  };
  const double infinity = std::numeric_limits<double>::infinity();
  for (const auto& [value, stored, exact] : std::vector<Case>{
           {3.0, 3, true},
           {-3.9, -3, false},
           {-2147483648.0, INT32_MIN, true},
           {2147483648.0, INT32_MAX, false},
           {-1e300, INT32_MIN, false},
           {infinity, INT32_MAX, false},
           {std::nan(""), 0, false},
       }) {
    int32_t integer = 1;
    EXPECT_EQ(CFNumberGetValue(real(value).get(), kCFNumberIntType, &integer), exact) << value;
    EXPECT_EQ(integer, stored) << value;
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
