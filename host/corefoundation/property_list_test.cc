#include <cstdint>
#include <random>
#include <sstream>

#include "testing/objects.h"

namespace corvane::testing {
namespace {

constexpr CFPropertyListFormat kFormats[] = {kCFPropertyListXMLFormat_v1_0,
                                             kCFPropertyListBinaryFormat_v1_0};

CFRef<CFPropertyListRef> read(std::string_view bytes, CFPropertyListFormat* format = nullptr) {
  return CFRef(CFPropertyListCreateWithData(nullptr, makeData(bytes).get(),
                                            kCFPropertyListMutableContainers, format, nullptr));
}

CFRef<CFPropertyListRef> readXml(const std::string& contents) {
  return read("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + contents +
              "</plist>\n");
}

/// Returns the list's bytes, or "(absent)" when it cannot be written.
std::string written(CFPropertyListRef list, CFPropertyListFormat format) {
  return bytesOf(CFRef(CFPropertyListCreateData(nullptr, list, format, 0, nullptr)).get());
}

TEST(PropertyListTest, EverythingAListHoldsSurvivesBothFormats) {
  const CFRef list = readXml(
      "<dict><key>text &amp; ä😀</key><string>&lt;ä😀&gt;</string><key>empty</key><string></string>"
      "<key>numbers</key><array><integer>0</integer><integer>-1</integer>"
      "<integer>-9223372036854775808</integer><integer>18446744073709551615</integer>"
      "<real>0.1</real><real>-1e300</real></array><key>yes</key><true/><key>no</key><false/>"
      "<key>data</key><data>AQID</data><key>none</key><data></data>"
      "<key>dates</key><array><date>2001-01-01T00:00:05Z</date><date>1970-01-01T00:00:00Z</date>"
      "<date>2100-02-28T23:59:59Z</date><date>1850-06-01T12:00:00Z</date></array>"
      "<key>nested</key><dict><key>in</key><array/></dict></dict>");
  ASSERT_TRUE(list);
  EXPECT_EQ(shown(list.get()),
            "{text & ä😀 = <ä😀>; empty = ; numbers = (0, -1, -9223372036854775808, "
            "18446744073709551615, 0.1, -1e+300); yes = true; no = false; data = <010203>; "
            "none = <>; dates = (2001-01-01 00:00:05 +0000, 1970-01-01 00:00:00 +0000, "
            "2100-02-28 23:59:59 +0000, 1850-06-01 12:00:00 +0000); nested = {in = (); }; }");
  for (const CFPropertyListFormat format : kFormats) {
    CFPropertyListFormat found{};
    const CFRef again = read(written(list.get(), format), &found);
    ASSERT_TRUE(again);
    EXPECT_TRUE(CFEqual(again.get(), list.get())) << shown(again.get());
    EXPECT_EQ(found, format);
  }
}

TEST(PropertyListTest, AnIncompleteOrInvalidListGivesNull) {
  for (const char* sound :
       {"<integer>7</integer>", "<integer> -0x1F</integer>", "<string/>",
        "<dict><!-- <key> --><key>a</key><string><![CDATA[<a>]]></string></dict>"}) {
    EXPECT_TRUE(readXml(sound)) << sound;
  }
  for (const char* damaged :
       {"", "text", "<bogus/>", "<string>\xFF</string>", "<dict><string>no key</string></dict>",
        "<dict><key>a</key></dict>", "<dict><key>a</key><key>b</key><true/></dict>", "<key>a</key>",
        "<true/><true/>", "<array>text<true/></array>", "<array><true/></dict>", "<integer/>",
        "<integer></integer>", "<integer>7a</integer>", "<integer>1.5</integer>",
        "<integer>7 </integer>", "<integer>18446744073709551616</integer>"}) {
    EXPECT_FALSE(readXml(damaged)) << damaged;
  }
}

TEST(PropertyListTest, ATruncatedListGivesNullAndADamagedOneDoesNotCrash) {
  const CFRef list = readXml(
      "<dict><key>a</key><array><integer>300</integer><string>äöü</string><real>1.5</real>"
      "<date>2001-01-01T00:00:05Z</date></array><key>b</key><dict><key>c</key>"
      "<data>AQIDBAUGBwg=</data></dict></dict>");
  const std::string xml = written(list.get(), kCFPropertyListXMLFormat_v1_0);
  const std::string whole = written(list.get(), kCFPropertyListBinaryFormat_v1_0);
  for (const std::string& text : {xml.substr(0, xml.rfind('>') + 1), whole}) {
    EXPECT_TRUE(CFEqual(read(text).get(), list.get()));
    for (size_t size = 0; size < text.size(); ++size) EXPECT_FALSE(read(text.substr(0, size)));
  }
  EXPECT_TRUE(CFEqual(read("\xEF\xBB\xBF" + xml).get(), list.get()));

  std::mt19937 random(3);
  for (unsigned round = 0; round < 20000; ++round) {
    std::string damaged = whole;
    for (unsigned change = 0; change < 1 + round % 3; ++change) {
      damaged[random() % damaged.size()] = static_cast<char>(random());
    }
    const CFRef survivor = read(damaged);
    if (survivor) {
      EXPECT_NE(shown(survivor.get()), "(absent)");
    }
  }
}

TEST(PropertyListTest, NestingIsBounded) {
  const auto nested = [](int depth) {
    std::ostringstream list;
    for (int level = 0; level < 2 * depth; ++level)
      list << (level < depth ? "<array>" : "</array>");
    return readXml(list.str());
  };
  EXPECT_TRUE(nested(500));
  EXPECT_FALSE(nested(600));
  EXPECT_FALSE(nested(200000));

  const CFRef endless(CFArrayCreateMutable(nullptr, 0, nullptr));
  CFArrayAppendValue(endless.get(), endless.get());
  EXPECT_EQ(written(endless.get(), kCFPropertyListXMLFormat_v1_0), "(absent)");
}

TEST(PropertyListTest, ABinaryListThatRefersToItsPartsManyTimesIsRefused) {
  for (const char depth : {char{3}, char{20}}) {
    // Each array refers ten times to the next one. A table of their offsets follows, a byte each.
    std::string list = "bplist00", offsets;
    for (char level = 1; level <= depth; ++level) {
      offsets += static_cast<char>(list.size());
      list += level < depth ? "\xAA" + std::string(10, level) : "\xA0";
    }
    const auto table = static_cast<char>(list.size());
    list += offsets + std::string(6, '\0') + "\x01\x01" + std::string(7, '\0') + depth;
    EXPECT_EQ(static_cast<bool>(read(list + std::string(15, '\0') + table)), depth == 3);
  }
}

TEST(PropertyListTest, AnObjectThatAListCannotHoldIsNotWritten) {
  const CFRef dictionary = makeDictionary({{makeNumber(1).get(), CFSTR("value")}});
  const CFRef malformed = makeString(u"\xD800"), withZero = makeString({u"a\0b", 3});
  for (const CFTypeRef object : {CFTypeRef{dictionary.get()}, CFTypeRef{malformed.get()},
                                 CFTypeRef{withZero.get()}, CFTypeRef{kCFAllocatorNull}}) {
    for (const CFPropertyListFormat format : kFormats) {
      EXPECT_EQ(written(object, format), "(absent)");
    }
  }
}

}  // namespace
}  // namespace corvane::testing
