#include "dataarea/data_area.h"

#include <IOKit/IOKitLib.h>

#include "testing/unit_test.h"

namespace corvane {
namespace {

using Strings = std::vector<std::string>;

const bool gAreHandlesAtFirst = gMasterPort != 0 || gDataArea != 0;

class DataAreaTest : public corvane::testing::UnitTest {};

TEST_F(DataAreaTest, EachFailureHasItsResultAndItsReport) {
  struct Case {
    const char* rule;
    uint32_t (*call)();
    uint32_t result;
    const char* standardError;
    Strings systemLog;
  };
  const Case cases[] = {
      {"", getMasterPort, 0, "", {}},
      {"IOMasterPort", getMasterPort, 1, "Failed to get master device port.\n", {}},
      {"IOKitWaitQuiet=0xe00002d6", getDataArea, 0xe00002d6, "", {}},
      {"IOServiceGetMatchingServices=0xe00002c0", getDataArea, 0xe00002c0, "", {}},
      {"IOIteratorNext", getDataArea, 5, "", {"ControlBits: Get data area failure."}},
  };
  for (const Case& c : cases) {
    const Trace trace = traceOf(c.rule, [&] { EXPECT_EQ(c.call(), c.result) << c.rule; });
    EXPECT_EQ(trace.standardError, c.standardError) << c.rule;
    EXPECT_EQ(trace.systemLog, c.systemLog) << c.rule;
    EXPECT_TRUE(trace.log.empty()) << c.rule;
  }
}

TEST_F(DataAreaTest, WithoutTheServiceTheHandleIsZeroAndNothingCanBeRead) {
  EXPECT_FALSE(gAreHandlesAtFirst);
  host::UnitFacts facts = _unit.facts();
  facts.dataArea = false;
  _unit.setFacts(facts);
  gDataArea = 77;
  EXPECT_EQ(getDataArea(), 5u);
  EXPECT_EQ(gDataArea, 0u);
  const uint8_t* bytes = nullptr;
  uint32_t length = 99;
  EXPECT_EQ(getDataAreaBytePtr(&bytes, &length, CFSTR("VelmoDiagnosticData")), 0u);
  EXPECT_EQ(length, 99u);
}

TEST_F(DataAreaTest, ASecondLookUpLeavesTheFirstHandleHeld) {
  const size_t before = host::VirtualDevice::openHandles();
  ASSERT_EQ(getDataArea(), 0u);
  const io_object_t first = gDataArea;
  ASSERT_EQ(getDataArea(), 0u);
  EXPECT_NE(gDataArea, first);
  EXPECT_EQ(IOObjectGetUserRetainCount(first), 1u);
  EXPECT_EQ(host::VirtualDevice::openHandles(), before + 2) << "the iterators are released";
}

TEST_F(DataAreaTest, ASetsBytesComeWithTheirLengthAndOutliveTheCall) {
  ASSERT_EQ(getDataArea(), 0u);
  _unit.setDataSet("Odd", std::vector<uint8_t>{1, 2, 3});
  _unit.setDataSet("Empty", {});
  const uint8_t* bytes = nullptr;
  uint32_t length = 99;
  traceOf("CFGetTypeID", [&] {
    EXPECT_EQ(getDataAreaBytePtr(&bytes, &length, CFSTR("Odd")), 0u) << "only data is a set";
  });
  EXPECT_EQ(length, 99u);
  ASSERT_EQ(getDataAreaBytePtr(&bytes, &length, CFSTR("Empty")), 1u);
  EXPECT_EQ(length, 0u);
  ASSERT_EQ(getDataAreaBytePtr(&bytes, &length, CFSTR("Odd")), 1u);
  EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + length), (std::vector<uint8_t>{1, 2, 3}));
}

}  // namespace
}  // namespace corvane
