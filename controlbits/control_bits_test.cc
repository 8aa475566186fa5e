#include "controlbits/control_bits.h"

#include <numeric>

#include "dataarea/data_area.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using Bytes = std::vector<uint8_t>;

class ControlBitsTest : public corvane::testing::UnitTest {};

TEST_F(ControlBitsTest, GetReadyStopsAtTheFirstFailedStep) {
  const std::string noPort = "Failed to get master device port.\nFailed to get master port.\n";
  struct Case {
    const char* rule;
    size_t setSize;
    int32_t result;
    std::string standardError;
  };
  const Case cases[] = {
      {"", 19, 0, ""},
      {"IOMasterPort,IOKitWaitQuiet", 19, 1, noPort},
      {"IOKitWaitQuiet,IORegistryEntryCreateCFProperty", 19, 2, "Failed to get data area.\n"},
      {"IORegistryEntryCreateCFProperty", 19, 3, "Failed to read bits.\n"},
      {"", 18, 3, "Failed to read bits.\n"},
  };
  for (const Case& c : cases) {
    _unit.setDataSet("VelmoDiagnosticData", Bytes(c.setSize, 0xFF));
    const Trace trace = traceOf(c.rule, [&] { EXPECT_EQ(ControlBits::getReady(), c.result); });
    EXPECT_EQ(trace.standardError, c.standardError) << c.rule;
    EXPECT_TRUE(trace.log.empty());
  }
}

TEST_F(ControlBitsTest, RawReadersFillTheBufferFromTheStartOfTheirSet) {
  ASSERT_EQ(ControlBits::getReady(), 0);
  Bytes contents(8192), buffer(8192);
  std::iota(contents.begin(), contents.end(), uint8_t{0});
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
  struct Case {
    uint32_t (*change)(uint8_t*, uint32_t);
    uint8_t before;
    uint32_t value, changed;
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
  const uint8_t codes[] = {7, 6, 4, 0, 3, 1, 5, 2};
  for (int32_t count = 0; count < 8; ++count) {
    EXPECT_EQ(gFailCountMap[count], codes[count]);
    EXPECT_EQ(failCountOf(static_cast<uint8_t>(codes[count] << 2 | 0xE3)), count);
  }
}

}  // namespace
}  // namespace corvane
