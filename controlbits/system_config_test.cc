#include <climits>
#include <numeric>

#include "controlbits/control_bits.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using Bytes = std::vector<uint8_t>;
using Keys = std::vector<uint32_t>;
using Strings = std::vector<std::string>;

constexpr uint32_t kOpts = 0x4F505453;
constexpr char kSet[] = "VelmoDiagnosticDataSysCfg";
const std::string kReadFailed = "Failed to read sysCfg: Error 5";
const std::string kWriteFailed = "Failed to write sysCfg: Error -536870212";

Bytes counting(size_t length) {
  Bytes bytes(length);
  std::iota(bytes.begin(), bytes.end(), uint8_t{1});
  return bytes;
}

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

class SystemConfigTest : public corvane::testing::UnitTest {
 protected:
  SystemConfigTest() { EXPECT_EQ(ControlBits::getReady(), 0); }

  /// Returns what the accessor reports while `work` runs under `rules`.
  Strings reportsOf(const char* rules, const std::function<void()>& work) {
    Strings lines = traceOf(rules, work).systemLog;
    std::erase_if(lines, [](const std::string& line) { return !line.starts_with("Failed"); });
    return lines;
  }
};

TEST_F(SystemConfigTest, ValuesAreWrittenListedReadAndDeleted) {
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

TEST_F(SystemConfigTest, AValueThatDoesNotFitLeavesItsKeyDeletedInTheArea) {
  write(kOpts, counting(40));
  EXPECT_EQ(write(kOpts, counting(8149)), 0);
  EXPECT_EQ(keys(), Keys());
  write(7, {7});
  EXPECT_EQ(ControlBits::writeSystemConfig(nullptr, -1, 7), 0);
  EXPECT_EQ(keys(), Keys());
}

TEST_F(SystemConfigTest, ADamagedAreaOpensEmptyAndIsReplacedOnlyByAChange) {
  const Bytes empty = _unit.dataSet(kSet), damaged = counting(8192);
  _unit.setDataSet(kSet, damaged);
  EXPECT_EQ(keys(), Keys());
  EXPECT_EQ(read(kOpts), Bytes());
  EXPECT_EQ(_unit.dataSet(kSet), damaged);
  EXPECT_EQ(ControlBits::deleteSystemConfig(kOpts), 0);
  EXPECT_EQ(_unit.dataSet(kSet), empty);
}

TEST_F(SystemConfigTest, AFailureOfTheAreaIsReportedAndNotReturned) {
  struct Case {
    const char* rules;
    Strings reports;
    Keys keysAfter;
  };
  const Case cases[] = {
      {"IORegistryEntryCreateCFProperty@1", {kReadFailed}, {1, 2}},
      {"IORegistryEntrySetCFProperties@1", {kWriteFailed}, {1, 2}},
      {"IORegistryEntrySetCFProperties", {kWriteFailed, kWriteFailed}, {1}},
  };
  for (const Case& c : cases) {
    ControlBits::deleteSystemConfig(2);
    write(1, {1});
    EXPECT_EQ(keys(), Keys{1}) << "what a read that fails falls back on";
    EXPECT_EQ(reportsOf(c.rules, [] { EXPECT_EQ(write(2, {2}), 1); }), c.reports) << c.rules;
    EXPECT_EQ(keys(), c.keysAfter) << c.rules;
  }
}

}  // namespace
}  // namespace corvane
