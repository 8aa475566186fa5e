#include "log/log_collection.h"

#include "testing/unit_test.h"

namespace corvane {
namespace {

using corvane::testing::UnitTest;
using corvane::testing::writeText;

class LogCollectionTest : public UnitTest {
 protected:
  void writeSettings(const std::string& contents) {
    writeText(_unit.filePath("/private/var/logs/CorvaneTov/Expected/logCollection.plist"),
              contents);
  }
  void writeMarker(const std::string& name) {
    writeText(_unit.filePath("/private/var/logs/BurnIn/" + name), "");
  }
};

std::string plist(const std::string& body) {
  return "<?xml version=\"1.0\"?><plist version=\"1.0\">" + body + "</plist>";
}

std::string setting(const std::string& value) {
  return plist(
      "<dict><key>other</key><date>2026-01-02T03:04:05Z</date>"
      "<key>newLogCollection</key>" +
      value + "</dict>");
}

TEST_F(LogCollectionTest, TheSettingsFileSelectsTheStyle) {
  EXPECT_FALSE(newLogCollection()) << "no file";
  const std::pair<std::string, bool> cases[] = {
      {setting("<true/>"), true},
      {setting("<false/>"), false},
      {setting("<integer>-3</integer>"), true},
      {setting("<integer>0</integer>"), false},
      {setting("<string>YES</string>"), true},
      {setting("<string> -007</string>"), true},
      {setting("<string>no</string>"), false},
      {plist("<dict/>"), false},
      {plist("<array><true/></array>"), false},
      {"bplist00 damaged", false},
  };
  for (const auto& [contents, isNew] : cases) {
    writeSettings(contents);
    EXPECT_EQ(newLogCollection(), isNew) << contents;
  }
}

TEST_F(LogCollectionTest, OnlyTheSelectedStylesMarkerCounts) {
  writeMarker(".CorvaneLogsCollected");
  EXPECT_FALSE(logsCollected()) << "old style, new marker";
  writeSettings(setting("<true/>"));
  EXPECT_TRUE(logsCollected());

  std::filesystem::remove(_unit.filePath("/private/var/logs/BurnIn/.CorvaneLogsCollected"));
  writeMarker(".logsCollected");
  EXPECT_FALSE(logsCollected()) << "new style, old marker";
  writeSettings(setting("<false/>"));
  EXPECT_TRUE(logsCollected());
}

}  // namespace
}  // namespace corvane
