#include <algorithm>
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

/// The value of `key`; empty when it is not present, which must leave the buffer untouched.
Bytes read(uint32_t key) {
  Bytes value(8192, 0xAA);
  const int32_t length = ControlBits::readSystemConfig(value.data(), key);
  EXPECT_TRUE(length > 0 || value == Bytes(8192, 0xAA));
  value.resize(static_cast<size_t>(length));
  return value;
}

Keys keys() {
  Keys keys(500);
  const int32_t count = ControlBits::readSystemConfigKeys(keys.data(), 500);
  keys.resize(static_cast<size_t>(std::max(count, 0)));
  return keys;
}

class SystemConfigTest : public corvane::testing::UnitTest {
 protected:
  SystemConfigTest() { EXPECT_EQ(ControlBits::getReady(), 0); }

  /// What the accessor reports while `work` runs under `rules`.
  template <typename Work>
  Strings reportsOf(const char* rules, Work work) {
    std::filesystem::remove(_unit.filePath("/private/var/log/system.log"));
    host::VirtualDevice::setFaults(rules);
    ::testing::internal::CaptureStderr();
    work();
    ::testing::internal::GetCapturedStderr();
    host::VirtualDevice::setFaults("");
    Strings lines = _unit.systemLog();
    std::erase_if(lines, [](const std::string& line) { return !line.starts_with("Failed"); });
    return lines;
  }
};

TEST_F(SystemConfigTest, ValuesAreWrittenListedReadAndDeleted) {
  const Bytes diagnosticData = _unit.dataSet("VelmoDiagnosticData");
  EXPECT_EQ(write(kOpts, {1, 2, 3}), 3);
  EXPECT_EQ(write(0x11223344, counting(300)), 300);
  EXPECT_EQ(write(0x55667788, {}), 0) << "also when it succeeds";
  EXPECT_EQ(keys(), (Keys{kOpts, 0x11223344, 0x55667788}));

  Bytes shortValue(16, 0xFF);
  std::iota(shortValue.begin(), shortValue.begin() + 3, uint8_t{1});
  EXPECT_EQ(read(kOpts), shortValue);
  EXPECT_EQ(read(0x11223344), counting(300));
  EXPECT_EQ(write(kOpts, counting(17)), 17);
  EXPECT_EQ(keys(), (Keys{0x11223344, 0x55667788, kOpts})) << "a replaced key comes last";

  EXPECT_EQ(ControlBits::deleteSystemConfig(kOpts), 1);
  EXPECT_EQ(ControlBits::deleteSystemConfig(kOpts), 0);
  EXPECT_EQ(read(kOpts), Bytes());

  _unit.reboot();
  EXPECT_EQ(keys(), (Keys{0x11223344, 0x55667788}));
  EXPECT_EQ(_unit.dataSet("VelmoDiagnosticData"), diagnosticData);
  EXPECT_TRUE(logLines().empty());
  EXPECT_TRUE(_unit.systemLog().empty());
}

TEST_F(SystemConfigTest, ListingNeedsRoomForEveryKeyAndANegativeSizeIsVeryLarge) {
  EXPECT_EQ(ControlBits::readSystemConfigKeys(nullptr, 0), 0);
  write(1, {1});
  write(2, {2});
  for (const int32_t size : {2, 3, -1, INT_MIN}) {
    Keys keys(3, 9);
    EXPECT_EQ(ControlBits::readSystemConfigKeys(keys.data(), size), 2) << size;
    EXPECT_EQ(keys, (Keys{1, 2, 9})) << size;
  }
  Keys untouched(2, 9);
  EXPECT_EQ(ControlBits::readSystemConfigKeys(untouched.data(), 1), -1);
  EXPECT_EQ(untouched, Keys(2, 9));
}

TEST_F(SystemConfigTest, AValueThatDoesNotFitLeavesItsKeyDeletedInTheArea) {
  write(kOpts, counting(40));
  write(7, {7});
  EXPECT_EQ(write(kOpts, counting(8148)), 0);
  EXPECT_EQ(keys(), Keys{7});
  EXPECT_EQ(ControlBits::writeSystemConfig(nullptr, -1, 7), 0);
  EXPECT_EQ(keys(), Keys());
  EXPECT_EQ(write(kOpts, counting(8148)), 8148);
  EXPECT_EQ(read(kOpts), counting(8148));
}

TEST_F(SystemConfigTest, ADamagedAreaOpensEmptyAndIsReplacedOnlyByAChange) {
  Bytes damaged = counting(8192);
  _unit.setDataSet(kSet, damaged);
  EXPECT_EQ(keys(), Keys());
  EXPECT_EQ(read(kOpts), Bytes());
  EXPECT_EQ(_unit.dataSet(kSet), damaged);

  EXPECT_EQ(ControlBits::deleteSystemConfig(kOpts), 0);
  Bytes empty(8192, 0xFF);
  const Bytes header = {0x67, 0x66, 0x43, 0x53, 24, 0, 0, 0, 0, 0x20, 0, 0,
                        1,    0,    2,    0,    0,  0, 0, 0, 0, 0,    0, 0};
  std::copy(header.begin(), header.end(), empty.begin());
  EXPECT_EQ(_unit.dataSet(kSet), empty);

  _unit.setDataSet(kSet, damaged);
  write(kOpts, counting(16));
  EXPECT_EQ(keys(), Keys{kOpts});
}

TEST_F(SystemConfigTest, EachOperationWritesTheAreaAsOftenAsItShould) {
  write(1, {1});
  const auto writesOf = [this](auto work) {
    return reportsOf("IORegistryEntrySetCFProperties", work).size();
  };
  EXPECT_EQ(writesOf([] { keys(); }), 0u);
  EXPECT_EQ(writesOf([] { read(1); }), 0u);
  EXPECT_EQ(writesOf([] { write(2, {2}); }), 2u);
  EXPECT_EQ(writesOf([] { write(2, counting(8149)); }), 1u);
  EXPECT_EQ(writesOf([] { ControlBits::deleteSystemConfig(1); }), 1u);
  EXPECT_EQ(writesOf([] { ControlBits::deleteSystemConfig(9); }), 1u);
  EXPECT_EQ(keys(), Keys{1});
}

TEST_F(SystemConfigTest, AFailureOfTheAreaIsReportedOnceAndNotReturned) {
  struct Case {
    const char* rules;
    Strings reports;
    Keys keysAfter;
  };
  const Case cases[] = {
      {"IORegistryEntryCreateCFProperty@1", {kReadFailed}, {1, 2}},
      {"CFGetTypeID@1", {kReadFailed}, {1, 2}},
      {"CFDataGetLength@1", {kReadFailed}, {1, 2}},
      {"IORegistryEntrySetCFProperties@1", {kWriteFailed}, {1, 2}},
      {"IORegistryEntrySetCFProperties@2", {kWriteFailed}, {1, 2}},
      {"IORegistryEntrySetCFProperties", {kWriteFailed, kWriteFailed}, {1}},
      {"CFNumberCreate@2", {"Failed to write sysCfg: Error 5"}, {1, 2}},
      {"CFDictionaryCreateMutable@1", {"Failed to write sysCfg: Error 5"}, {1, 2}},
      {"malloc@1", {"Failed to write sysCfg: Error 5"}, {1, 2}},
      {"stuck:VelmoDiagnosticDataSysCfg:8000=0", {}, {1, 2}},
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
