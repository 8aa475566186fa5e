#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>

#include <cmath>
#include <utility>

#include "platform/files.h"
#include "platform/number.h"
#include "platform/printable.h"
#include "platform/property.h"
#include "platform/text.h"
#include "platform/time_text.h"
#include "testing/objects.h"

namespace corvane {
namespace {

using testing::cfString;

TEST(TextTest, EachLoneSurrogateIsAQuestionMarkAndTheRestStays) {
  const std::pair<std::u16string, std::string> cases[] = {
      {u"Gerät 😀 €", "Gerät 😀 €"},
      {u"(pa\xD83D) rest", "(pa?) rest"},
      {u"\xDC00\xDC00😀\xD83D", "??😀?"},
  };
  for (const auto& [units, bytes] : cases) {
    EXPECT_EQ(utf8Bytes(testing::makeString(units).get()), bytes);
  }
  EXPECT_EQ(utf8Bytes(nullptr), "");
}

TEST(PrintableTest, ControlCharactersAreShownAsDigits) {
  using namespace std::string_literals;
  const std::pair<std::string, std::string> cases[] = {
      {"plain \\ text\twith tab", "plain \\ text\twith tab"},
      {"\x1b[31m\n\0\x1f\x7f"s, "\\x1b[31m\\x0a\\x00\\x1f\\x7f"},
      {"\u0080\u009b\u009f\u00a0", "\\xc2\\x80\\xc2\\x9b\\xc2\\x9f\u00a0"},
      {"a\u202eb\u2066\u2028\u200d", "a\\xe2\\x80\\xaeb\\xe2\\x81\\xa6\\xe2\\x80\\xa8\u200d"},
      {"caf\u00e9 \u20ac \U0001F600 \U0010FFFF", "caf\u00e9 \u20ac \U0001F600 \U0010FFFF"},
      {"\x9b\xff\xc0\x9b\xe2x\xc3\xa9", "\\x9b\\xff\\xc0\\x9b\\xe2x\u00e9"},
      {"\xed\xa0\x80\xe2\x82", "\\xed\\xa0\\x80\\xe2\\x82"},
  };
  for (const auto& [text, shown] : cases) EXPECT_EQ(printable(text), shown);
}

TEST(PropertyTest, ATextIsReadAsTheNumberAtItsStartAndOtherKindsAsTheirNumber) {
  const std::pair<const char*, float> cases[] = {
      {"80", 80.0f}, {" \t+8.25e1 %", 82.5f}, {"-.5", -0.5f},        {"1e", 1.0f},
      {"", 0.0f},    {"full", 0.0f},          {"0x10", 0.0f},        {"inf", 0.0f},
      {"1e9", 1e9f}, {"1e300", INFINITY},     {"-1e400", -INFINITY},
  };
  for (const auto& [text, number] : cases) {
    EXPECT_EQ(floatValue(cfString(text).get()), number) << text;
  }
  EXPECT_EQ(floatValue(testing::makeReal(0.29).get()), 0.29f);
  EXPECT_EQ(floatValue(kCFBooleanTrue), 1.0f);
  EXPECT_TRUE(isTrue(testing::makeReal(0.5).get()));
  const auto list = testing::makeArray({});
  EXPECT_TRUE(floatValue(list.get()) == 0 && !isTrue(list.get())) << "neither number nor text";
}

TEST(FilesTest, AFileWithoutAWholeDictionaryCountsAsMissing) {
  const testing::TemporaryFolder folder;
  const std::string sound = folder.path() / "sound", file = folder.path() / "list.plist";
  testing::writeText(sound, "<plist><dict><key>a</key><string>b</string></dict></plist>");
  EXPECT_TRUE(copyDictionaryFromFile(sound));

  testing::writeText(file, "<plist><array/></plist>");
  const std::string pipe = folder.path() / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const std::string large = folder.path() / "large";
  testing::writeText(large, "<plist><dict></dict></plist>" + std::string(size_t{16} << 20, '\n'));
  // A read of the last one from its start fails with EIO.
  for (const std::string& path : {file, pipe, large, folder.path().string(), file + "/below",
                                  std::string("/dev/zero"), std::string("/proc/self/mem")}) {
    EXPECT_FALSE(copyDictionaryFromFile(path)) << path;
  }
}

TEST(NumberTest, WholeNumbersAreDecimalOrHexadecimalAndInRange) {
  const std::pair<const char*, int16_t> cases[] = {{"010", 10}, {"0x1F", 31}, {"-0x8000", -32768}};
  for (const auto& [text, number] : cases) EXPECT_EQ(parseNumber<int16_t>(text), number) << text;
  for (const char* text :
       {"32768", "-32769", "0x10000000000000000", "", "-", "0x", "--1", "+1", " 1", "1x"}) {
    EXPECT_EQ(parseNumber<int16_t>(text), std::nullopt) << text;
  }
  EXPECT_EQ(parseNumber<int16_t>("-1000", -999), std::nullopt);
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
