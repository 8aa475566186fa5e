#include "log/time_helpers.h"

#include <cstdlib>

#include "testing/unit_test.h"

namespace corvane {
namespace {

using corvane::testing::text;

TEST(TimeHelpersTest, DifferencesBorrowFromTheFieldAboveOnly) {
  struct Case {
    int32_t start[3], end[3];
    const char* difference;
  };
  const Case cases[] = {
      {{10, 0, 0}, {11, 30, 15}, "01:30:15"},
      {{23, 50, 0}, {0, 10, 0}, "00:20:00"},
      {{10, 0, 0}, {10, 0, 0}, "00:00:00"},
      {{10, 30, 50}, {11, 30, 10}, "01:-1:20"},
      {{10, 50, 0}, {10, 10, 0}, "-1:20:00"},
      {{9, 30, 30}, {8, 30, 20}, "23:-1:50"},
      {{0, 0, 0}, {100, 0, 1000}, "100:00:1000"},
      {{INT32_MIN, 0, INT32_MAX}, {INT32_MAX, 0, INT32_MIN}, "-1:-1:61"},
  };
  for (const auto& [start, end, difference] : cases) {
    const CFRef<CFStringRef> result(
        getTimeDifference(start[0], start[1], start[2], end[0], end[1], end[2]));
    EXPECT_EQ(text(result.get()), difference);
  }
}

TEST(TimeHelpersTest, TimesArePaddedAndNotValidated) {
  struct tm time {};
  time.tm_year = 126;
  time.tm_mon = 2;
  time.tm_mday = 5;
  time.tm_hour = 7;
  time.tm_min = 8;
  time.tm_sec = 9;
  EXPECT_EQ(text(CFRef<CFStringRef>(stringForTime(&time)).get()), "2026-03-05 07:08:09");

  time.tm_year = -1905;
  time.tm_mon = 99;
  time.tm_sec = -7;
  EXPECT_EQ(text(CFRef<CFStringRef>(stringForTime(&time)).get()), "-005-100-05 07:08:-7");
  time.tm_year = INT32_MAX;
  EXPECT_EQ(text(CFRef<CFStringRef>(stringForTime(&time)).get()), "-2147481749-100-05 07:08:-7");
}

TEST(TimeHelpersTest, TheTimeIsLocalAndInTheSharedRecord) {
  ::setenv("TZ", "XXX-5:30", 1);
  ::tzset();
  const time_t before = ::time(nullptr);
  struct tm* now = getTime();
  ASSERT_NE(now, nullptr);
  EXPECT_EQ(now->tm_gmtoff, 5 * 3600 + 30 * 60);
  EXPECT_LE(before, ::mktime(now));
  EXPECT_EQ(getTime(), now);
  const time_t epoch = 0;
  EXPECT_EQ(::localtime(&epoch), now) << "the record is the C library's own";
}

}  // namespace
}  // namespace corvane
