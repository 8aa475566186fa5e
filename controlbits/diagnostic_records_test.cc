#include <csignal>
#include <ctime>

#include "controlbits/control_bits.h"
#include "dataarea/data_area.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using testing::cfString;
using Bytes = std::vector<uint8_t>;
using Strings = std::vector<std::string>;

/// On a unit whose platform's time value has 64 bits.
class DiagnosticRecordsTest : public corvane::testing::UnitTest {
 protected:
  DiagnosticRecordsTest() { EXPECT_EQ(ControlBits::getReady(), 0); }

  static bool write(const std::string& message, uint8_t station = 7, int32_t result = 0) {
    return ControlBits::writeDiagnosticsRecord(station, result, cfString(message).get());
  }

  /// Each record as "station/version/result/message"; "-" for an entry that is not there.
  static Strings list() {
    Strings shown;
    const CFRef<CFMutableArrayRef> records = ControlBits::readDiagnosticRecord();
    if (!records) return {"(no list)"};
    for (CFIndex i = 0; i < CFArrayGetCount(records.get()); ++i) {
      const auto record = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(records.get(), i));
      std::string& line = shown.emplace_back();
      for (const char* key : {"station", "version", "result"}) {
        const auto number =
            static_cast<CFNumberRef>(CFDictionaryGetValue(record, cfString(key).get()));
        int32_t value = -1;
        if (number) CFNumberGetValue(number, kCFNumberSInt32Type, &value);
        line += (number ? std::to_string(value) : "-") + "/";
      }
      const auto message = static_cast<CFStringRef>(CFDictionaryGetValue(record, CFSTR("message")));
      line += message ? testing::text(message) : "-";
    }
    return shown;
  }

  Bytes bytes() const { return _unit.dataSet("VelmoDiagnosticData"); }
};

TEST_F(DiagnosticRecordsTest, AFreshUnitTakesTwentyRecords) {
  EXPECT_EQ(list(), Strings{});
  Strings log, listed;
  for (int i = 0; i < 20; ++i) {
    const std::string message = "record " + std::to_string(i);
    EXPECT_TRUE(write(message, static_cast<uint8_t>(200 + i), i));
    // The number counts the slots that were looked at.
    log.push_back("Control Bits: Wrote (" + message + ") to diagnostic record #" +
                  std::to_string(std::max(i, 1)) + " for station: " + std::to_string(200 + i) +
                  " result: 0");
    listed.push_back(std::to_string(200 + i) + "/0/" + std::to_string(i % 4) + "/" + message);
  }
  EXPECT_EQ(list(), listed);
  EXPECT_FALSE(write("no more"));
  EXPECT_FALSE(write("no more, and too long for a record")) << "nothing is copied";
  EXPECT_EQ(list(), listed);
  const Strings lines = logLines();
  ASSERT_EQ(lines.size(), 24u);
  EXPECT_EQ(Strings(lines.begin(), lines.begin() + 20), log);
  const Bytes area = bytes();
  EXPECT_EQ(Bytes(area.begin() + 608, area.end()), Bytes(1024 - 608, 0xFF));
}

TEST_F(DiagnosticRecordsTest, ARecordIsListedAsADictionaryOfTextsAndNumbers) {
  const time_t before = std::time(nullptr);
  ASSERT_TRUE(write("hello", 255, 3));
  const Bytes area = bytes();
  const int64_t time =
      int64_t{area[128]} | area[129] << 8 | area[130] << 16 | int64_t{area[131]} << 24;
  EXPECT_GE(time, before);
  EXPECT_LE(time, std::time(nullptr));
  EXPECT_EQ(Bytes(area.begin() + 132, area.begin() + 136), Bytes(4, 0));

  const CFRef<CFMutableArrayRef> records = ControlBits::readDiagnosticRecord();
  ASSERT_EQ(CFArrayGetCount(records.get()), 1);
  const auto record = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(records.get(), 0));
  EXPECT_EQ(CFDictionaryGetCount(record), 5);
  const auto text = static_cast<CFStringRef>(CFDictionaryGetValue(record, CFSTR("time")));
  const time_t written = time;
  EXPECT_EQ(testing::text(text), std::ctime(&written));
  EXPECT_EQ(CFStringGetLength(text), 25);
  for (const CFStringRef key : {CFSTR("station"), CFSTR("version"), CFSTR("result")}) {
    const auto number = static_cast<CFNumberRef>(CFDictionaryGetValue(record, key));
    ASSERT_EQ(CFGetTypeID(number), CFNumberGetTypeID());
    EXPECT_EQ(CFNumberGetType(number), kCFNumberSInt32Type);
  }
  EXPECT_EQ(list(), Strings{"255/0/3/hello"});
  CFArrayAppendValue(records.get(), CFSTR("the list is the caller's"));
}

TEST_F(DiagnosticRecordsTest, AnAbsentMessageIsAnEmptyOne) {
  EXPECT_TRUE(ControlBits::writeDiagnosticsRecord(1, 2, nullptr));
  EXPECT_EQ(list(), Strings{"1/0/2/"});
  EXPECT_EQ(logLines(),
            Strings{"Control Bits: Wrote ((null)) to diagnostic record #1 for station: 1 "
                    "result: 0"});
}

TEST_F(DiagnosticRecordsTest, AFailedAppendTellsTheLog) {
  struct Case {
    const char* rule;
    bool isTrue;
    Strings log;
    Strings listed;
  };
  const std::string begin = "Control Bits: ";
  const std::string written = begin + "Wrote (b) to diagnostic record #1 for station: 8 result: 0";
  const std::string unwritten =
      begin + "Failed to write (b) to diagnostic record #1 for station: 8 result: 5";
  const std::string unmarked = begin + "Writing Diagnostic Record failed";
  const std::string noNumber = begin + "writeBits offsetRef invalid (offsetRef=(null))";
  const Case cases[] = {
      {"IORegistryEntryCreateCFProperty@1",
       false,
       {begin + "Reading Diagnostic Record failed",
        begin + "Failed to write (b) to diagnostic record for station: 8 result: 6",
        "    No room left in the diagnostic record"},
       {"7/0/1/a"}},
      {"CFNumberCreate@1", true, {noNumber, unmarked, written}, {"7/0/1/a"}},
      {"CFNumberCreate@2", true, {noNumber, unwritten}, {"7/0/1/a"}},
      {"CFNumberCreate", true, {noNumber, unmarked, noNumber, unwritten}, {"7/0/1/a"}},
      {"time=-1@1", true, {written}, {"7/0/1/a", "8/0/2/b"}},
  };
  const Bytes fresh = bytes();
  for (const Case& c : cases) {
    _unit.setDataSet("VelmoDiagnosticData", fresh);
    ASSERT_TRUE(write("a", 7, 1));
    std::filesystem::remove_all(_unit.filePath("/private/var/logs"));
    host::VirtualDevice::setFaults(c.rule);
    EXPECT_EQ(write("b", 8, 6), c.isTrue) << c.rule;
    host::VirtualDevice::setFaults("");
    EXPECT_EQ(logLines(), c.log) << c.rule;
    EXPECT_EQ(list(), c.listed) << c.rule;
  }
}

TEST_F(DiagnosticRecordsTest, AFailedListLacksWhatCouldNotBeMade) {
  ASSERT_TRUE(write("a", 7, 1));
  ASSERT_TRUE(write("b", 8, 2));
  struct Case {
    const char* rule;
    Strings listed;
  };
  const Case cases[] = {
      {"IORegistryEntryCreateCFProperty@2", {"7/0/1/a"}},
      {"IORegistryEntryCreateCFProperty", {}},
      {"CFArrayCreateMutable", {"(no list)"}},
      {"CFDictionaryCreateMutable@1", {"8/0/2/b"}},
      {"CFNumberCreate@2", {"7/-/1/a", "8/0/2/b"}},
      {"CFStringCreateWithCString", {"7/0/1/a", "8/0/2/b"}},
  };
  for (const Case& c : cases) {
    host::VirtualDevice::setFaults(c.rule);
    const Strings listed = list();
    host::VirtualDevice::setFaults("");
    EXPECT_EQ(listed, c.listed) << c.rule;
  }
  EXPECT_EQ(logLines().back(), "Control Bits: Reading Diagnostic Record failed");
}

TEST_F(DiagnosticRecordsTest, ATimeThatTheClockCannotShowIsAnEmptyText) {
  ASSERT_TRUE(write("a"));
  Bytes area = bytes();
  area[135] = 0x7F;
  _unit.setDataSet("VelmoDiagnosticData", area);
  const CFRef<CFMutableArrayRef> records = ControlBits::readDiagnosticRecord();
  const auto record = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(records.get(), 0));
  EXPECT_EQ(testing::text(static_cast<CFStringRef>(CFDictionaryGetValue(record, CFSTR("time")))),
            "");
}

TEST_F(DiagnosticRecordsTest, NoFailedCallBreaksAnythingElse) {
  const size_t handles = host::VirtualDevice::openHandles();
  for (const char* call :
       {"CFArrayCreateMutable", "CFDataCreateWithBytesNoCopy", "CFDataGetLength",
        "CFDictionaryCreateMutable", "CFGetTypeID", "CFNumberCreate", "CFStringCreateMutableCopy",
        "CFStringCreateWithBytes", "CFStringCreateWithCString",
        "CFStringCreateWithFormatAndArguments", "IORegistryEntryCreateCFProperty",
        "IORegistryEntrySetCFProperties", "ctime", "fopen", "localtime", "malloc", "time"}) {
    for (int nth = 1; nth <= 8; ++nth) {
      const Bytes before = bytes();
      const CFRef<CFStringRef> message = cfString("x");
      host::VirtualDevice::setFaults(std::string(call) + "@" + std::to_string(nth));
      ::testing::internal::CaptureStderr();
      ControlBits::writeDiagnosticsRecord(1, 2, message.get());
      ControlBits::readDiagnosticRecord();
      ControlBits::writePoisonByte(20, true);
      ::testing::internal::GetCapturedStderr();
      host::VirtualDevice::setFaults("");
      EXPECT_EQ(CFGetRetainCount(message.get()), 1) << call;
      Bytes after = bytes();
      EXPECT_TRUE(after[20] == 0xFE || after[20] == before[20]) << call;
      after[20] = before[20];
      std::copy(before.begin() + 128, before.begin() + 608, after.begin() + 128);
      EXPECT_EQ(after, before) << call << " " << nth;
    }
  }
  EXPECT_EQ(host::VirtualDevice::openHandles(), handles);
}

TEST_F(DiagnosticRecordsTest, AMessageTooLongForARecordEndsTheProcess) {
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_TRUE(write("thirteen char"));
  EXPECT_EXIT(write("fourteen chars"), ::testing::KilledBySignal(SIGABRT),
              "buffer overflow detected");
}

}  // namespace
}  // namespace corvane
