#include <csignal>
#include <cstring>
#include <ctime>
#include <random>

#include "controlbits/control_bits.h"
#include "controlbits/record_chain.h"
#include "controlbits/testing/record_script.h"
#include "testing/objects.h"

namespace corvane {
namespace {

using testing::Bytes;
using testing::cfString;
using testing::MemoryRecords;
using testing::runRecordScript;
using Strings = std::vector<std::string>;

/// On a unit whose platform's time value has 64 bits.
class DiagnosticRecordsTest : public corvane::testing::UnitTest {
 protected:
  DiagnosticRecordsTest() { EXPECT_EQ(ControlBits::getReady(), 0); }

  static bool write(const std::string& message, uint8_t station = 7, int32_t result = 0) {
    return ControlBits::writeDiagnosticsRecord(station, result, cfString(message).get());
  }

  /// Returns each record as "station/version/result/message", with "(null)" for a missing entry.
  static Strings list() {
    Strings lines;
    const CFRef<CFMutableArrayRef> records = ControlBits::readDiagnosticRecord();
    if (!records) return {"(no list)"};
    for (CFIndex i = 0; i < CFArrayGetCount(records.get()); ++i) {
      const auto record = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(records.get(), i));
      std::string& line = lines.emplace_back();
      for (const char* key : {"station", "version", "result", "message"}) {
        line += testing::shown(CFDictionaryGetValue(record, cfString(key).get())) + "/";
      }
      line.pop_back();
    }
    return lines;
  }
};

TEST_F(DiagnosticRecordsTest, AFreshUnitTakesTwentyRecords) {
  Strings log, listed;
  const Trace trace = traceOf("", [&] {
    for (int i = 0; i < 20; ++i) {
      const std::string message = "record " + std::to_string(i), station = std::to_string(200 + i);
      EXPECT_TRUE(write(message, static_cast<uint8_t>(200 + i), i));
      // The number counts the slots that were looked at.
      log.push_back("Control Bits: Wrote (" + message + ") to diagnostic record #" +
                    std::to_string(std::max(i, 1)) + " for station: " + station + " result: 0");
      listed.push_back(station + "/0/" + std::to_string(i % 4) + "/" + message);
    }
  });
  EXPECT_EQ(trace.log, log);
  EXPECT_FALSE(write("no more, and too long for a record")) << "nothing is copied";
  EXPECT_EQ(list(), listed);
}

TEST_F(DiagnosticRecordsTest, ARecordHoldsTheTimeAndIsListedAsADictionary) {
  const time_t before = std::time(nullptr);
  ASSERT_TRUE(ControlBits::writeDiagnosticsRecord(255, 3, nullptr));
  time_t time = 0;
  std::memcpy(&time, &bytes()[128], sizeof time);
  EXPECT_GE(time, before);
  EXPECT_LE(time, std::time(nullptr));

  const auto timeText = [] {
    const CFRef<CFMutableArrayRef> records = ControlBits::readDiagnosticRecord();
    const auto record = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(records.get(), 0));
    EXPECT_EQ(CFDictionaryGetCount(record), 5);
    EXPECT_EQ(
        CFNumberGetType(static_cast<CFNumberRef>(CFDictionaryGetValue(record, CFSTR("station")))),
        kCFNumberSInt32Type);
    CFArrayAppendValue(records.get(), CFSTR("the list is the caller's"));
    return testing::text(static_cast<CFStringRef>(CFDictionaryGetValue(record, CFSTR("time"))));
  };
  EXPECT_EQ(timeText(), std::ctime(&time));
  EXPECT_EQ(bytes()[139], 0xFF) << "no message is its zero byte only";
  setByte(137, 0xBF);
  EXPECT_EQ(list(), Strings{"255/15/3/"});
  setByte(138, 0xE9);
  setByte(139, 0);
  EXPECT_EQ(list(), Strings{"255/15/3/\u00e9"}) << "a message that is not UTF-8";
  setByte(135, 0x7F);
  EXPECT_EQ(timeText(), "") << "a time that the clock cannot show";
}

TEST_F(DiagnosticRecordsTest, AFailedAppendTellsTheLog) {
  const std::string begin = "Control Bits: ";
  const std::string written = begin + "Wrote (b) to diagnostic record #1 for station: 8 result: 0";
  const std::string unwritten =
      begin + "Failed to write (b) to diagnostic record #1 for station: 8 result: 5";
  const std::string unmarked = begin + "Writing Diagnostic Record failed";
  const std::string noNumber = begin + "writeBits offsetRef invalid (offsetRef=(null))";
  const Strings noSlot = {
      begin + "Reading Diagnostic Record failed",
      begin + "Failed to write (b) to diagnostic record for station: 8 result: 6",
      "    No room left in the diagnostic record"};
  const struct {
    const char* rule;
    bool isTrue;
    Strings log;
    Strings listed;
  } cases[] = {
      {"IORegistryEntryCreateCFProperty@1", false, noSlot, {"7/0/1/a"}},
      {"CFNumberCreate@1", true, {noNumber, unmarked, written}, {"7/0/1/a"}},
      {"CFNumberCreate@2", true, {noNumber, unwritten}, {"7/0/1/a"}},
      {"time=-1@1", true, {written}, {"7/0/1/a", "8/0/2/b"}},
  };
  const Bytes fresh = bytes();
  for (const auto& c : cases) {
    _unit.setDataSet("VelmoDiagnosticData", fresh);
    ASSERT_TRUE(write("a", 7, 1));
    EXPECT_EQ(traceOf(c.rule, [&] { EXPECT_EQ(write("b", 8, 6), c.isTrue) << c.rule; }).log, c.log);
    EXPECT_EQ(list(), c.listed) << c.rule;
  }
}

TEST_F(DiagnosticRecordsTest, AFailedListLacksWhatCouldNotBeMade) {
  ASSERT_TRUE(write("a", 7, 1) && write("b", 8, 2));
  const std::pair<const char*, Strings> cases[] = {
      {"IORegistryEntryCreateCFProperty@2", {"7/0/1/a"}},
      {"CFArrayCreateMutable", {"(no list)"}},
      {"CFDictionaryCreateMutable@1", {"8/0/2/b"}},
      {"CFNumberCreate@2", {"7/(null)/1/a", "8/0/2/b"}},
  };
  for (const auto& [rule, listed] : cases) {
    traceOf(rule, [&, rule = rule, &listed = listed] { EXPECT_EQ(list(), listed) << rule; });
  }
}

template <typename Time>
void expectCheckedCopy(size_t room) {
  MemoryRecords area{Bytes(1024, 0)};  // Holds one record of time 0.
  const auto append = [&](const std::string& message) {
    return appendRecord<Time>(area, {7, 0, cfString(message).get()});
  };
  std::string text;
  for (size_t i = 0; i < room; ++i) text += "\u00e9";
  EXPECT_EQ(kRecordMessageRoom<Time>, room);
  EXPECT_TRUE(append(text));
  EXPECT_EQ(testing::text(messageOf(readChain<Time>(area.bytes).records[1]).get()),
            text.substr(0, room + 1))
      << "a text that fills the whole field";
  EXPECT_EXIT(append(text + "m"), ::testing::KilledBySignal(SIGABRT), "buffer overflow detected");
}

TEST(RecordChainTest, AMessageThatIsTooLongEndsTheProcessInTheCheckedCopy) {
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  expectCheckedCopy<int64_t>(13);
  expectCheckedCopy<int32_t>(9);
}

TEST(RecordScriptTest, AnyAreaGrowsAsTheModelSays) {
  std::mt19937 random(20);
  for (int run = 0; run < 500; ++run) {
    // Slots that are free, erased, cleared or anything, often enough continued to make long chains.
    Bytes contents(run % 5 == 0 ? random() % 700 : 700, 0xFF);
    const size_t slotSize = run % 2 == 0 ? 24 : 16;
    const uint32_t habit = random() % 4;
    for (size_t at = 128; at + slotSize <= contents.size(); at += slotSize) {
      const uint32_t kind = random() % 8 == 0 ? random() % 4 : habit;
      for (size_t i = 0; i < slotSize; ++i) {
        if (kind == 0) contents[at + i] = i >= 4 && i < slotSize - 16 ? 0 : 0xFF;
        if (kind == 1) contents[at + i] = static_cast<uint8_t>(random());
        if (kind == 2) contents[at + i] = 0;
      }
      if (kind != 3 && random() % 2 == 0) contents[at + slotSize - 15] |= 0x40;
    }
    Bytes script(random() % 200);
    for (uint8_t& byte : script) byte = static_cast<uint8_t>(random());
    EXPECT_EQ(runRecordScript<int64_t>(contents, script), nullptr) << run;
    EXPECT_EQ(runRecordScript<int32_t>(contents, script), nullptr) << run;
    if (HasFailure()) break;
  }
}

}  // namespace
}  // namespace corvane
