#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <utility>

#include "platform/number.h"
#include "platform/time_text.h"

namespace corvane {
namespace {

TEST(NumberTest, WholeNumbersAreDecimalOrHexadecimalAndInRange) {
  const std::pair<const char*, std::optional<int16_t>> cases[] = {{"010", 10},
                                                                  {"0x1F", 31},
                                                                  {"-0x8000", -32768},
                                                                  {"32768", {}},
                                                                  {"-32769", {}},
                                                                  {"-1000", {}},
                                                                  {"0x10000000000000000", {}},
                                                                  {"", {}},
                                                                  {"-", {}},
                                                                  {"0x", {}},
                                                                  {"--1", {}},
                                                                  {"+1", {}},
                                                                  {" 1", {}},
                                                                  {"1x", {}}};
  for (const auto& [text, number] : cases) {
    EXPECT_EQ(parseNumber<int16_t>(text, text == std::string("-1000") ? -999 : INT16_MIN), number)
        << text;
  }
  EXPECT_EQ(parseNumber<uint64_t>("18446744073709551615"), UINT64_MAX);
  EXPECT_EQ(parseNumber<uint8_t>("-1"), std::nullopt);
}

TEST(NumberTest, DecimalNumbersReadBackFromTheirShortestText) {
  for (const char* text : {"3.3", "-0.1", "1e-07", "0.30000000000000004", "26000000", "1.5e+300"}) {
    EXPECT_EQ(decimalText(parseDecimal(text).value()), text);
  }
  for (const char* text : {"", "0x10", "nan", "inf", "1e999", "1,5", "1.5 ", "+1", "1e"}) {
    EXPECT_EQ(parseDecimal(text), std::nullopt) << text;
  }
}

TEST(TimeTextTest, ATextNamesTheTimeFromItsBeginToItsEnd) {
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  constexpr int64_t kDay = 86'400'000, kHour = 3'600'000;
  const std::tuple<const char*, int64_t, int64_t> cases[] = {
      {"1970-01-01T00:00:00Z", 0, 1000},
      {"1969-12-31 23:59:59.5Z", -500, 1},
      {"2026-11-16T00:05:09.042+01:00", 1794783909042, 1},
      {"2026-11-15T18:05:09,042-0500", 1794783909042, 1},
      {"2026-11-16T00:05:09.042", 1794783909042, 1},
      {"2026-07-01", 1782856800000, kDay},
      {"2026-07-01T00:00", 1782856800000, 60'000},
      {"2026-03-29", 1774738800000, kDay - kHour},
      {"2026-03-29 03:00:00", 1774738800000 + 2 * kHour, 1000},
      {"2026-10-25", 1792879200000, kDay + kHour},
      {"2026-10-25 02:30:00", 1792879200000 + 5 * kHour / 2, 1000},  // The first of the two.
  };
  for (const auto& [text, begin, length] : cases) {
    const auto span = parseTime(text);
    ASSERT_TRUE(span) << text;
    EXPECT_EQ(span->begin, begin) << text;
    EXPECT_EQ(span->end - span->begin, length) << text;
  }
  for (const char* text :
       {"", "16.11.2026", "2026-02-30", "2026-11-16T24:00", "2026-11-16T08", "2026-11-16T00:05:09x",
        "2026-11-16T00:05:09.Z", "2026-11-16T00:05+24:00", "2026-03-29T02:30:00"}) {
    EXPECT_EQ(parseTime(text), std::nullopt) << text;
  }
  EXPECT_EQ(isoMillisecondsText(-1), "1970-01-01T00:59:59.999+01:00");
  EXPECT_EQ(localTimeText(1782856800), "2026-07-01 00:00:00 +0200");
  EXPECT_EQ(utcTimeText(INT64_MAX), std::nullopt);
}

}  // namespace
}  // namespace corvane
