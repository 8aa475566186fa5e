#include "controlbits/control_bits.h"

#include <climits>
#include <numeric>

#include "controlbits/poison_byte.h"
#include "dataarea/data_area.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using Bytes = std::vector<uint8_t>;
using Strings = std::vector<std::string>;

class ControlBitsTest : public corvane::testing::UnitTest {
 protected:
  ControlBitsTest() { EXPECT_EQ(ControlBits::getReady(), 0); }
};

Bytes counting(size_t length) {
  Bytes bytes(length);
  std::iota(bytes.begin(), bytes.end(), uint8_t{1});
  return bytes;
}

TEST_F(ControlBitsTest, GetReadyStopsAtTheFirstFailedStep) {
  const std::string noPort = "Failed to get master device port.\nFailed to get master port.\n";
  const struct {
    const char* rule;
    size_t setSize;
    int32_t result;
    std::string standardError;
  } cases[] = {
      {"", 19, 0, ""},
      {"IOMasterPort,IOKitWaitQuiet", 19, 1, noPort},
      {"IOKitWaitQuiet,IORegistryEntryCreateCFProperty", 19, 2, "Failed to get data area.\n"},
      {"IORegistryEntryCreateCFProperty", 19, 3, "Failed to read bits.\n"},
      {"", 18, 3, "Failed to read bits.\n"},
  };
  for (const auto& c : cases) {
    _unit.setDataSet("VelmoDiagnosticData", Bytes(c.setSize, 0xFF));
    const Trace trace = traceOf(c.rule, [&] { EXPECT_EQ(ControlBits::getReady(), c.result); });
    EXPECT_EQ(trace.standardError, c.standardError) << c.rule;
    EXPECT_TRUE(trace.log.empty());
  }
}

TEST_F(ControlBitsTest, RawReadersFillTheBufferFromTheStartOfTheirSet) {
  const Bytes contents = counting(8192);
  Bytes buffer(8192);
  _unit.setDataSet("VelmoDiagnosticDataSysCfg", contents);
  EXPECT_EQ(ControlBits::readSysCfgBytes(buffer.data(), 8192), 0);
  EXPECT_EQ(buffer, contents);
  EXPECT_EQ(ControlBits::readSysCfgBytes(buffer.data(), 8193), 5);
  EXPECT_EQ(ControlBits::readControlBitsBytes(buffer.data(), 1024), 0);
  EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 1024), bytes());
  EXPECT_EQ(ControlBits::readControlBitsBytes(buffer.data(), 1025), 5);
  EXPECT_TRUE(traceOf("", [] { ControlBits::readArea(); }).log.empty());
}

TEST(ControlBitByteTest, StatusAndFailCountAreEditedInPlaceAndUnmasked) {
  const struct {
    uint32_t (*change)(uint8_t*, uint32_t);
    uint8_t before;
    uint32_t value, changed;
    uint8_t after;
  } cases[] = {
      {changeTestStatus, 0xFF, 3, 0, 0xFF}, {changeTestStatus, 0xFF, 0, 1, 0xFC},
      {changeTestStatus, 0xE0, 5, 1, 0xE5}, {changeTestStatus, 0x05, 5, 1, 0x05},
      {changeFailCount, 0xFF, 7, 0, 0xFF},  {changeFailCount, 0xFF, 0, 1, 0xE3},
      {changeFailCount, 0x02, 9, 1, 0x26},  {changeFailCount, 0x02, 0x107, 1, 0x1E},
  };
  for (const auto& c : cases) {
    uint8_t byte = c.before;
    EXPECT_EQ(c.change(&byte, c.value), c.changed) << int{c.before} << " " << c.value;
    EXPECT_EQ(byte, c.after) << int{c.before} << " " << c.value;
  }
}

TEST(ControlBitByteTest, FailCountCodesAreTheStationsTable) {
  const uint8_t codes[] = {7, 6, 4, 0, 3, 1, 5, 2};
  for (int32_t count = 0; count < 8; ++count) {
    EXPECT_EQ(gFailCountMap[count], codes[count]);
    EXPECT_EQ(failCountOf(static_cast<uint8_t>(codes[count] << 2 | 0xE3)), count);
  }
}

const std::string kPerform = "Control Bits: writeControlBits perform the changes";

TEST_F(ControlBitsTest, TheGenericWriterSetsStatusAndCountAndWritesOnlyChanges) {
  const struct {
    uint8_t before;
    int32_t status, count;
    uint8_t after;
    bool isWritten;
  } cases[] = {
      {0xFF, 4, 2, 0xF3, true},  {0xFF, 4, 9, 0xFF, false}, {0xFD, 1, 9, 0xFD, true},
      {0xFF, 3, -1, 0xFF, true}, {0xFC, 0, 9, 0xFC, false}, {0xFE, 0, 8, 0xFC, true},
      {0xF8, 5, 0, 0xFD, true},  {0xFD, 5, 0, 0xFD, true},  {0x1D, 1, 0, 0x1D, false},
      {0x00, 2, 7, 0x0A, true},  {0xFF, -1, 0, 0xFF, true}, {0xFF, INT_MIN, INT_MIN, 0xFC, true},
  };
  _unit.setDataSet("VelmoDiagnosticData", std::vector<uint8_t>(31));
  for (const auto& c : cases) {
    setByte(30, c.before);
    const auto write = [&] { ControlBits::writeControlBits(30, c.status, c.count); };
    EXPECT_EQ(traceOf("", write).log, c.isWritten ? Strings{kPerform} : Strings{})
        << c.status << " " << c.count;
    EXPECT_EQ(bytes()[30], c.after) << c.status << " " << c.count;
  }
}

TEST_F(ControlBitsTest, TheFixedWritersSayWhatTheyWriteToTheirByte) {
  const auto suite = &ControlBits::writeCorvaneStatus;
  const auto collection = &ControlBits::writeLogCollectionStatus;
  const struct {
    void (*write)(int32_t);
    uint8_t before;
    int32_t status;
    uint8_t after;
    std::string name = "";  // None: the status is unknown.
  } cases[] = {
      {suite, 0xFF, kCorvaneCotnrolBitsPassed, 0xFC, "kCorvaneCotnrolBitsPassed"},
      {suite, 0xE3, kCorvaneControlBitsIncompleteTest, 0xE1, "kCorvaneControlBitsIncompleteTest"},
      {suite, 0x00, kCorvaneControlBitsFailed, 0x02, "kCorvaneControlBitsFailed"},
      {suite, 0xFF, kCorvaneControlBitsNotTested, 0xFF, "kCorvaneControlBitsNotTested"},
      {suite, 0xF8, 7, 0xFF},
      {suite, 0x00, -1, 0xFF},
      {suite, 0x00, 4, 0x04},
      {collection, 0xFF, kLogCollectionControlBitsComplete, 0xFC,
       "kLogCollectionControlBitsComplete"},
      {collection, 0x01, kLogCollectionControlBitsIncomplete, 0x01,
       "kLogCollectionControlBitsIncomplete"},
      {collection, 0xFC, 2, 0xFE},
      {collection, 0xFC, INT_MIN, 0xFC},
  };
  for (const auto& c : cases) {
    const bool isSuite = c.write == suite;
    const size_t offset = isSuite ? 18 : 9;
    const std::string writer = isSuite ? "writeCorvaneStatus" : "writeLogCollectionStatus";
    const char* bad = isSuite ? "Corvane state passed to "
                                "writeCorvaneStatus:(CorvaneControlBitStatus)status"
                              : "Log Collection state passed to "
                                "writeLogCollectionStatus:(LogCollectionControlBitStatus)status";
    setByte(offset, c.before);
    const std::string line =
        c.name.empty() ? "FATAL ERROR bad " + std::string(bad) : "writeStatus " + c.name;
    Strings log = {"Control Bits: " + line};
    if (c.status == INT_MIN || c.after != c.before) {
      log.push_back("Control Bits: " + writer + " perform the changes");
    }
    EXPECT_EQ(traceOf("", [&] { c.write(c.status); }).log, log) << c.status;
    EXPECT_EQ(bytes()[offset], c.after) << c.status;
  }
}

TEST_F(ControlBitsTest, AFailedReadIsReportedAndAStatusIsThenPutInto0xFF) {
  setByte(30, 0x00);
  const char* unreadable = "IORegistryEntryCreateCFProperty@1";
  EXPECT_EQ(traceOf(unreadable, [] { ControlBits::writeControlBits(30, 2, 1); }).log,
            (Strings{"Control Bits: readBits failed during writeControlBits", kPerform}));
  EXPECT_EQ(bytes()[30], 0xFA);
  EXPECT_EQ(traceOf(unreadable, [] { ControlBits::writeCorvaneStatus(3); }).log,
            (Strings{"Control Bits: writeStatus kCorvaneControlBitsNotTested",
                     "Control Bits: readBits failed during writeStatus"}));
  EXPECT_EQ(traceOf(unreadable, [] { ControlBits::writePoisonByte(5, true); }).log,
            Strings{"Control Bits: Read Poison Byte failed"});
}

TEST_F(ControlBitsTest, AFailedWriteIsReportedWithItsResult) {
  const char* refused = "IORegistryEntrySetCFProperties=0xe00002c1";
  EXPECT_EQ(traceOf(refused, [] { ControlBits::writeControlBits(30, 0, 0); }).log.back(),
            "Control Bits: writeControlBits failed (result=-536870207)");
  EXPECT_EQ(traceOf(refused, [] { ControlBits::writeLogCollectionStatus(0); }).log.back(),
            "Control Bits: writeStatus failed (result=-536870207)");
  EXPECT_EQ(traceOf("", [] { ControlBits::writeControlBits(-1, 0, 0); }).log.back(),
            "Control Bits: writeControlBits failed (result=-536870206)");
  EXPECT_EQ(traceOf(refused, [] { ControlBits::writePoisonByte(5, true); }).log.back(),
            "Control Bits: Writing Poison Byte failed");
}

TEST_F(ControlBitsTest, AFailureAmongTheControlBitBytesIsNeverOverwritten) {
  const struct {
    uint8_t offset, before;
    bool isSet;
    uint8_t after;
    bool isRefused = false;
  } cases[] = {
      {5, 0xFF, true, 0xFE},         {5, 0xFF, false, 0xFC},      {0, 0xE5, true, 0xFE},
      {127, 0xFC, false, 0xFC},      {5, 0xFE, true, 0xFE, true}, {5, 0xFE, false, 0xFE, true},
      {127, 0x02, true, 0x02, true}, {128, 0x02, false, 0xFF},    {255, 0xFF, true, 0xFE},
  };
  for (const auto& c : cases) {
    setByte(c.offset, c.before);
    auto expected = bytes();
    expected[c.offset] = c.after;
    const Trace trace = traceOf("", [&] { ControlBits::writePoisonByte(c.offset, c.isSet); });
    EXPECT_EQ(bytes(), expected) << int{c.offset};
    EXPECT_EQ(isPoisoned(c.offset, c.after), c.isSet || c.isRefused) << int{c.offset};
    const std::string line = std::string(c.isSet ? "Setting" : "Clearing") +
                             " Poison Byte using offset = " + std::to_string(c.offset);
    const std::string refusal = "Poison byte already set. Not overwriting previous result.";
    EXPECT_EQ(trace.log, c.isRefused ? Strings{} : Strings{"Control Bits: " + line});
    EXPECT_EQ(trace.systemLog, Strings{c.isRefused ? refusal : line});
  }
}

using Keys = std::vector<uint32_t>;

constexpr uint32_t kOpts = 0x4F505453;
constexpr char kArea[] = "VelmoDiagnosticDataSysCfg";
const std::string kWriteFailed = "Failed to write sysCfg: Error -536870212";

int32_t write(uint32_t key, const Bytes& value) {
  return ControlBits::writeSystemConfig(value.data(), static_cast<int32_t>(value.size()), key);
}

/// Returns the value of `key`; empty when it is not present, which must leave the buffer untouched.
Bytes read(uint32_t key) {
  Bytes value(8192, 0xAA);
  const int32_t length = ControlBits::readSystemConfig(value.data(), key);
  EXPECT_TRUE(length > 0 || value == Bytes(8192, 0xAA));
  EXPECT_EQ(ControlBits::readSystemConfig(nullptr, key), length);
  value.resize(static_cast<size_t>(length));
  return value;
}

Keys keys() {
  Keys keys(500);
  keys.resize(static_cast<size_t>(ControlBits::readSystemConfigKeys(keys.data(), 500)));
  return keys;
}

TEST_F(ControlBitsTest, ValuesAreWrittenListedReadAndDeleted) {
  EXPECT_EQ(ControlBits::readSystemConfigKeys(nullptr, 0), 0);
  EXPECT_EQ(write(kOpts, {1, 2, 3}), 3);
  EXPECT_EQ(write(7, counting(300)), 300);
  EXPECT_EQ(write(8, {}), 0) << "also when it succeeds";
  Bytes shortValue = counting(3);
  shortValue.resize(16, 0xFF);
  EXPECT_EQ(read(kOpts), shortValue);
  EXPECT_EQ(read(7), counting(300));
  EXPECT_EQ(write(kOpts, counting(17)), 17);
  EXPECT_EQ(keys(), (Keys{7, 8, kOpts})) << "a replaced key comes last";

  EXPECT_EQ(ControlBits::deleteSystemConfig(kOpts), 1);
  EXPECT_EQ(ControlBits::deleteSystemConfig(kOpts), 0);
  EXPECT_EQ(read(kOpts), Bytes());
  _unit.reboot();
  for (const int32_t size : {2, 3, -1, INT_MIN}) {
    Keys listed(3, 9);
    EXPECT_EQ(ControlBits::readSystemConfigKeys(listed.data(), size), 2) << size;
    EXPECT_EQ(listed, (Keys{7, 8, 9})) << size;
  }
  Keys untouched(2, 9);
  EXPECT_EQ(ControlBits::readSystemConfigKeys(untouched.data(), 1), -1);
  EXPECT_EQ(untouched, Keys(2, 9));
}

TEST_F(ControlBitsTest, AValueThatDoesNotFitLeavesItsKeyDeletedInTheArea) {
  write(kOpts, counting(40));
  EXPECT_EQ(write(kOpts, counting(8149)), 0);
  EXPECT_EQ(keys(), Keys());
  write(7, {7});
  EXPECT_EQ(ControlBits::writeSystemConfig(nullptr, -1, 7), 0);
  EXPECT_EQ(keys(), Keys());
}

TEST_F(ControlBitsTest, ADamagedAreaOpensEmptyAndIsReplacedOnlyByAChange) {
  const Bytes empty = _unit.dataSet(kArea), damaged = counting(8192);
  _unit.setDataSet(kArea, damaged);
  EXPECT_EQ(keys(), Keys());
  EXPECT_EQ(read(kOpts), Bytes());
  EXPECT_EQ(_unit.dataSet(kArea), damaged);
  EXPECT_EQ(ControlBits::deleteSystemConfig(kOpts), 0);
  EXPECT_EQ(_unit.dataSet(kArea), empty);
}

TEST_F(ControlBitsTest, AFailureOfTheAreaIsReportedAndNotReturned) {
  const struct {
    const char* rules;
    Strings reports;
    Keys keysAfter;
  } cases[] = {
      {"IORegistryEntryCreateCFProperty@1", {"Failed to read sysCfg: Error 5"}, {1, 2}},
      {"IORegistryEntrySetCFProperties@1", {kWriteFailed}, {1, 2}},
      {"IORegistryEntrySetCFProperties", {kWriteFailed, kWriteFailed}, {1}},
  };
  for (const auto& c : cases) {
    ControlBits::deleteSystemConfig(2);
    write(1, {1});
    EXPECT_EQ(keys(), Keys{1}) << "what a read that fails falls back on";
    Strings reports = traceOf(c.rules, [] { EXPECT_EQ(write(2, {2}), 1); }).systemLog;
    std::erase_if(reports, [](const std::string& line) { return !line.starts_with("Failed"); });
    EXPECT_EQ(reports, c.reports) << c.rules;
    EXPECT_EQ(keys(), c.keysAfter) << c.rules;
  }
}

}  // namespace
}  // namespace corvane
