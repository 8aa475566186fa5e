#include "controlbits/control_bits.h"

#include <numeric>

#include "dataarea/data_area.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using Bytes = std::vector<uint8_t>;

class ControlBitsTest : public corvane::testing::UnitTest {};

TEST_F(ControlBitsTest, GetReadyStopsAtTheFirstFailedStep) {
  struct Case {
    const char* rule;
    int32_t result;
    const char* standardError;
  };
  const Case cases[] = {
      {"", 0, ""},
      {"IOMasterPort,IOKitWaitQuiet", 1,
       "Failed to get master device port.\nFailed to get master port.\n"},
      {"IOKitWaitQuiet,IORegistryEntryCreateCFProperty", 2, "Failed to get data area.\n"},
      {"IOServiceGetMatchingServices", 2, "Failed to get data area.\n"},
      {"IOIteratorNext", 2, "Failed to get data area.\n"},
      {"IORegistryEntryCreateCFProperty", 3, "Failed to read bits.\n"},
      {"CFGetTypeID", 3, "Failed to read bits.\n"},
  };
  for (const Case& c : cases) {
    host::VirtualDevice::setFaults(c.rule);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(ControlBits::getReady(), c.result) << c.rule;
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), c.standardError) << c.rule;
  }
  EXPECT_TRUE(logLines().empty());
}

TEST_F(ControlBitsTest, AUnitWithTooShortASetIsNotReady) {
  _unit.setDataSet("VelmoDiagnosticData", Bytes(18, 0xFF));
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(ControlBits::getReady(), 3);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Failed to read bits.\n");
}

TEST_F(ControlBitsTest, RawReadersFillTheBufferFromTheStartOfTheirSet) {
  ASSERT_EQ(ControlBits::getReady(), 0);
  Bytes contents(8192);
  std::iota(contents.begin(), contents.end(), uint8_t{0});
  _unit.setDataSet("VelmoDiagnosticDataSysCfg", contents);
  Bytes buffer(8192);
  EXPECT_EQ(ControlBits::readSysCfgBytes(buffer.data(), 8192), 0);
  EXPECT_EQ(buffer, contents);
  EXPECT_EQ(ControlBits::readSysCfgBytes(buffer.data(), 8193), 5);
  EXPECT_EQ(ControlBits::readControlBitsBytes(buffer.data(), 1024), 0);
  EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 1024), _unit.dataSet("VelmoDiagnosticData"));
  EXPECT_EQ(ControlBits::readControlBitsBytes(buffer.data(), 1025), 5);
  ControlBits::readArea();
  EXPECT_TRUE(logLines().empty());
}

TEST(ControlBitByteTest, StatusAndFailCountAreEditedInPlaceAndUnmasked) {
  struct Case {
    uint32_t (*change)(uint8_t*, uint32_t);
    uint8_t before;
    uint32_t value;
    uint32_t changed;
    uint8_t after;
  };
  const Case cases[] = {
      {changeTestStatus, 0xFF, 3, 0, 0xFF}, {changeTestStatus, 0xFF, 0, 1, 0xFC},
      {changeTestStatus, 0xE0, 5, 1, 0xE5}, {changeTestStatus, 0x05, 5, 1, 0x05},
      {changeFailCount, 0xFF, 7, 0, 0xFF},  {changeFailCount, 0xFF, 0, 1, 0xE3},
      {changeFailCount, 0x02, 9, 1, 0x26},  {changeFailCount, 0x02, 0x107, 1, 0x1E},
  };
  for (const Case& c : cases) {
    uint8_t byte = c.before;
    EXPECT_EQ(c.change(&byte, c.value), c.changed) << int{c.before} << " " << c.value;
    EXPECT_EQ(byte, c.after) << int{c.before} << " " << c.value;
  }
}

TEST(ControlBitByteTest, FailCountCodesAreTheStationsTable) {
  const std::vector<uint32_t> codes(std::begin(gFailCountMap), std::end(gFailCountMap));
  EXPECT_EQ(codes, (std::vector<uint32_t>{7, 6, 4, 0, 3, 1, 5, 2}));
}

}  // namespace
}  // namespace corvane
