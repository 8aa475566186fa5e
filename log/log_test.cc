#include "log/log.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <regex>
#include <set>
#include <thread>

#include "log/log_collection.h"
#include "log/time_helpers.h"
#include "testing/unit_test.h"

extern "C" __attribute__((weak)) void __asan_init();  ///< Null without AddressSanitizer.

namespace corvane {
namespace {

using corvane::testing::cfString;
using corvane::testing::readText;
using corvane::testing::splitLines;
using corvane::testing::text;
using corvane::testing::writeText;

class LogTest : public corvane::testing::UnitTest {
 protected:
  std::filesystem::path logFile() const {
    return _unit.filePath("/private/var/logs/CorvaneTov/log.txt");
  }
};

TEST_F(LogTest, ALineIsTimeIndentationTestNameAndMessage) {
  const struct {
    CFStringRef message, testName;
    int32_t indentation;
    const char* line;
  } cases[] = {
      {CFSTR("begin"), CFSTR("Sensor"), 0, "Sensor: begin"},
      {CFSTR("deep"), nullptr, 3, "            deep"},
      {CFSTR("lowest"), nullptr, INT32_MIN, "lowest"},
      {CFSTR("empty name"), CFSTR(""), 0, ": empty name"},
      {nullptr, CFSTR("Sensor"), 1, "    Sensor: "},
      {nullptr, nullptr, 0, ""},
      {CFSTR("100 % %@ %d"), CFSTR("%s"), 0, "%s: 100 % %@ %d"},
  };
  std::vector<std::string> lines;
  for (const auto& c : cases) {
    Log::write(c.message, c.testName, c.indentation);
    lines.push_back(c.line);
  }
  Log::write(CFSTR("dropped"), nullptr, (1 << 20) + 1);
  Log::write(CFSTR("kept"), nullptr, 1 << 20);
  lines.push_back(std::string(4 << 20, ' ') + "kept");
  EXPECT_EQ(logLines(), lines);
  EXPECT_EQ(_unit.systemLog(),
            (std::vector<std::string>{"begin", "deep", "lowest", "empty name", "(null)", "(null)",
                                      "100 % %@ %d", "dropped", "kept"}));
}

TEST_F(LogTest, TheStampIsTheLocalTime) {
  ::setenv("TZ", "XXX-5:30", 1);
  ::tzset();
  const time_t before = ::time(nullptr);
  EXPECT_LE(before, ::mktime(getTime()));
  EXPECT_EQ(getTime()->tm_gmtoff, 5 * 3600 + 30 * 60);
  Log::write(CFSTR("now"), nullptr, 0);
  struct tm stamp {};
  const std::string line = readText(logFile());
  ASSERT_NE(::strptime(line.c_str(), "[%Y-%m-%d %H:%M:%S] now", &stamp), nullptr) << line;
  EXPECT_LE(before, ::mktime(&stamp));
  EXPECT_LE(::mktime(&stamp), ::time(nullptr));
}

TEST_F(LogTest, AFinishedLineIsAppendedByteForByte) {
  Log::write(CFSTR("plain"));
  Log::write(cfString("Größe 🔋").get());
  Log::write(cfString(std::string("nul\0inside", 10)).get());
  Log::write(CFSTR(""));
  Log::write(nullptr);
  Log::writeDebug(CFSTR("message"), CFSTR("test"), 1);
  EXPECT_EQ(readText(logFile()), std::string("plain\nGröße 🔋\nnul\0inside\n\n", 31));
  EXPECT_TRUE(_unit.systemLog().empty());
  const std::filesystem::directory_iterator files(logFile().parent_path());
  EXPECT_EQ(std::distance(files, {}), 1);
}

TEST_F(LogTest, StationMessagesQuoteTheirFields) {
  const struct {
    CFStringRef message, sid, msgType;
    const char* fields;
  } cases[] = {
      {CFSTR("result=\"pass\",code=\"0\""), CFSTR("UNIT-42"), CFSTR("status"),
       "sid=\"UNIT-42\",msg-type=\"status\",result=\"pass\",code=\"0\""},
      {nullptr, CFSTR("UNIT-42"), CFSTR("status"), "sid=\"UNIT-42\",msg-type=\"status\""},
      {CFSTR(""), CFSTR("A\"7"), CFSTR("st\"op"), "sid=\"A'7\",msg-type=\"stop\""},
      {CFSTR("x"), CFSTR("\"\"\""), CFSTR("\"\""), "sid=\"'''\",msg-type=\"\",x"},
      {nullptr, nullptr, nullptr, "sid=\"(null)\",msg-type=\"(null)\""},
  };
  const std::regex stamp(R"(^context="",ts="\d{4}/\d\d/\d\d \d\d:\d\d:\d\d",)");
  for (const auto& c : cases) {
    Log::writePalvireMessage(c.message, c.sid, c.msgType);
    const auto line = text(Log::formatPalvireMessage(c.message, c.sid, c.msgType).get());
    for (const std::string& message : {line, splitLines(readText(logFile())).back()}) {
      EXPECT_EQ(std::regex_replace(message, stamp, ""), c.fields);
    }
  }
  EXPECT_TRUE(_unit.systemLog().empty());
}

TEST_F(LogTest, LinesOfManyThreadsAndProcessesAreNeverTorn) {
  constexpr int kProcesses = 3, kThreads = 3, kLines = 40;
  const auto writeLines = [](int process) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([=] {
        const std::string name = std::to_string(process) + "." + std::to_string(thread) + ".";
        for (int i = 0; i < kLines; ++i) {
          // Some lines are far longer than a stdio buffer.
          const std::string head = name + std::to_string(i) + " ";
          Log::write(cfString(head + std::string(i % 10 == 0 ? 20000 : 20, 'x')).get());
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  };
  for (int process = 0; process < kProcesses; ++process) {
    if (::fork() == 0) {
      writeLines(process);
      ::_exit(0);
    }
  }
  while (::wait(nullptr) > 0) {
  }
  std::set<std::string> seen;
  for (const std::string& line : splitLines(readText(logFile()))) {
    const std::string head = line.substr(0, line.find(' ') + 1);
    EXPECT_EQ(line, head + std::string(head[head.size() - 2] == '0' ? 20000 : 20, 'x'));
    seen.insert(head);
  }
  EXPECT_EQ(seen.size(), size_t{kProcesses * kThreads * kLines});
}

TEST_F(LogTest, AChildThatLogsComesBackAlthoughThreadsOfItsParentLog) {
  // A lock of its allocator that another thread held at the fork is never released in the child.
  if (__asan_init != nullptr) GTEST_SKIP() << "AddressSanitizer's own allocator hangs in a child";
  std::atomic<bool> isDone = false;
  const auto logOn = [&] {
    while (!isDone) Log::write(CFSTR("parent"), CFSTR("Fork"), 0);
  };
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(logOn);
  for (int i = 0; i < 24 && !HasFailure(); ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(10);
      Log::write(CFSTR("child"), CFSTR("Fork"), 0);
      ::_exit(0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << i;
  }
  isDone = true;
}

TEST_F(LogTest, AFailedPlatformCallLosesItsOwnLineAtMost) {
  const std::string line = R"(\[[-: 0-9]{19,}\] line)", next = R"(\[[-: 0-9]{19,}\] next)";
  const std::pair<const char*, std::string> cases[] = {
      {"CFStringCreateWithFormat@1", next + "\n"},
      {"mkdir", ""},
      {"fopen@1", next + "\n"},
      {"fwrite@1", "\n" + next + "\n"},
      {"fputc@1", line + next + "\n"},
      {"fflush@1", line + "\n" + next + "\n"},
      {"fclose@1", line + "\n" + next + "\n"},
      {"time=0x7fffffffffffffff@1", line + "\n" + next + "\n"},
      {"localtime", line + "\n" + next + "\n"},
  };
  for (const auto& [rule, log] : cases) {
    std::filesystem::remove_all(logFile().parent_path());
    host::VirtualDevice::setFaults(rule);
    Log::write(CFSTR("line"), nullptr, 0);
    Log::write(CFSTR("next"), nullptr, 0);
    host::VirtualDevice::setFaults("");
    EXPECT_TRUE(std::regex_match(readText(logFile()), std::regex(log))) << rule;
    EXPECT_EQ(_unit.systemLog().back(), "next") << rule;
  }
}

TEST_F(LogTest, ALinesTimeIsItsOwnAndTheSharedRecordIsOverwritten) {
  const time_t epoch = 0;
  const int year = ::localtime(&epoch)->tm_year;
  struct tm* const shared = getTime();
  shared->tm_year = year;
  Log::write(CFSTR("line"), nullptr, 0);
  EXPECT_GT(shared->tm_year, year);

  std::atomic<bool> isDone = false;
  std::thread hostile([&] {
    while (!isDone) (void)::localtime(&epoch);
  });
  for (int i = 0; i < 3000; ++i) {
    const std::string line = text(Log::formatPalvireMessage(nullptr, CFSTR("x"), CFSTR("y")).get());
    ASSERT_EQ(line.find("ts=\"19"), std::string::npos) << line;
  }
  isDone = true;
  hostile.join();
}

TEST(TimeHelpersTest, DifferencesBorrowFromTheFieldAboveOnly) {
  const struct {
    int32_t start[3], end[3];
    const char* difference;
  } cases[] = {
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
  ::strptime("2026-03-05 07:08:09", "%F %T", &time);
  EXPECT_EQ(text(CFRef<CFStringRef>(stringForTime(&time)).get()), "2026-03-05 07:08:09");

  time.tm_year = -1905;
  time.tm_mon = 99;
  time.tm_sec = -7;
  EXPECT_EQ(text(CFRef<CFStringRef>(stringForTime(&time)).get()), "-005-100-05 07:08:-7");
  time.tm_year = INT32_MAX;
  EXPECT_EQ(text(CFRef<CFStringRef>(stringForTime(&time)).get()), "-2147481749-100-05 07:08:-7");
}

class LogCollectionTest : public corvane::testing::UnitTest {
 protected:
  void writeSettings(const std::string& value, const std::string& key = "newLogCollection") {
    writeText(_unit.filePath("/private/var/logs/CorvaneTov/Expected/logCollection.plist"),
              "<plist><dict><key>other</key><date>2026-01-02T03:04:05Z</date><key>" + key +
                  "</key>" + value + "</dict></plist>");
  }
};

TEST_F(LogCollectionTest, TheSettingsFileSelectsTheStyle) {
  EXPECT_FALSE(newLogCollection()) << "no file";
  writeSettings("<true/>", "NewLogCollection");
  EXPECT_FALSE(newLogCollection()) << "no such key";
  const std::pair<const char*, bool> cases[] = {
      {"<true/>", true},
      {"<false/>", false},
      {"<integer>-3</integer>", true},
      {"<integer>0</integer>", false},
      {"<string>YES</string>", true},
      {"<string> -007</string>", true},
      {"<string>no</string>", false},
      {"damaged", false},
  };
  for (const auto& [value, isNew] : cases) {
    writeSettings(value);
    EXPECT_EQ(newLogCollection(), isNew) << value;
  }
}

TEST_F(LogCollectionTest, OnlyTheSelectedStylesMarkerCounts) {
  for (const std::string marker : {".logsCollected", ".CorvaneLogsCollected"}) {
    const std::filesystem::path file = _unit.filePath("/private/var/logs/BurnIn/" + marker);
    writeText(file, "");
    for (const char* isNew : {"<false/>", "<true/>"}) {
      writeSettings(isNew);
      EXPECT_EQ(logsCollected(), (marker == ".logsCollected") == (isNew[1] == 'f')) << marker;
    }
    std::filesystem::remove(file);
  }
}

}  // namespace
}  // namespace corvane
