#include <sys/stat.h>

#include <cmath>
#include <utility>

#include "platform/files.h"
#include "platform/printable.h"
#include "platform/property.h"
#include "platform/text.h"
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

TEST(TextTest, BytesThatAreNotUtf8AreLatin1WhereThatIsAsked) {
  EXPECT_EQ(utf8Bytes(textFromBytes("Gerät").get()), "Gerät");
  EXPECT_EQ(utf8Bytes(textFromBytes("Ger\xE4t").get()), "Gerät");
  EXPECT_FALSE(textFromUtf8("Ger\xE4t"));
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

TEST(PropertyTest, ATextIsReadAsTheNumberAtItsStart) {
  const std::pair<const char*, float> cases[] = {
      {"80", 80.0f}, {" \t+8.25e1 %", 82.5f}, {"-.5", -0.5f},        {"1e", 1.0f},
      {"", 0.0f},    {"full", 0.0f},          {"0x10", 0.0f},        {"inf", 0.0f},
      {"1e9", 1e9f}, {"1e300", INFINITY},     {"-1e400", -INFINITY},
  };
  for (const auto& [text, number] : cases) {
    EXPECT_EQ(floatValue(cfString(text).get()), number) << text;
  }
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

}  // namespace
}  // namespace corvane
