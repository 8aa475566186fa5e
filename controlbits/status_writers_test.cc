#include <climits>

#include "controlbits/control_bits.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using Strings = std::vector<std::string>;

const std::string kPerform = "Control Bits: writeControlBits perform the changes";

class StatusWritersTest : public corvane::testing::UnitTest {
 protected:
  StatusWritersTest() { EXPECT_EQ(ControlBits::getReady(), 0); }
};

TEST_F(StatusWritersTest, TheGenericWriterSetsStatusAndCountAndWritesOnlyChanges) {
  struct Case {
    uint8_t before;
    int32_t status, count;
    uint8_t after;
    bool isWritten;
  };
  const Case cases[] = {
      {0xFF, 4, 2, 0xF3, true},  {0xFF, 4, 9, 0xFF, false}, {0xFD, 1, 9, 0xFD, true},
      {0xFF, 3, -1, 0xFF, true}, {0xFC, 0, 9, 0xFC, false}, {0xFE, 0, 8, 0xFC, true},
      {0xF8, 5, 0, 0xFD, true},  {0xFD, 5, 0, 0xFD, true},  {0x1D, 1, 0, 0x1D, false},
      {0x00, 2, 7, 0x0A, true},  {0xFF, -1, 0, 0xFF, true}, {0xFF, INT_MIN, INT_MIN, 0xFC, true},
  };
  _unit.setDataSet("VelmoDiagnosticData", std::vector<uint8_t>(31));
  for (const Case& c : cases) {
    setByte(30, c.before);
    const auto write = [&] { ControlBits::writeControlBits(30, c.status, c.count); };
    EXPECT_EQ(traceOf("", write).log, c.isWritten ? Strings{kPerform} : Strings{})
        << c.status << " " << c.count;
    EXPECT_EQ(bytes()[30], c.after) << c.status << " " << c.count;
  }
}

TEST_F(StatusWritersTest, TheFixedWritersSayWhatTheyWriteToTheirByte) {
  struct Case {
    void (*write)(int32_t);
    size_t offset;
    uint8_t before;
    int32_t status;
    uint8_t after;
    const char* line;
  };
  const auto suite = &ControlBits::writeCorvaneStatus;
  const auto collection = &ControlBits::writeLogCollectionStatus;
  const char* badSuite =
      "FATAL ERROR bad Corvane state passed to "
      "writeCorvaneStatus:(CorvaneControlBitStatus)status";
  const char* badCollection =
      "FATAL ERROR bad Log Collection state passed to "
      "writeLogCollectionStatus:(LogCollectionControlBitStatus)status";
  const Case cases[] = {
      {suite, 18, 0xFF, kCorvaneCotnrolBitsPassed, 0xFC, "writeStatus kCorvaneCotnrolBitsPassed"},
      {suite, 18, 0xE3, kCorvaneControlBitsIncompleteTest, 0xE1,
       "writeStatus kCorvaneControlBitsIncompleteTest"},
      {suite, 18, 0x00, kCorvaneControlBitsFailed, 0x02, "writeStatus kCorvaneControlBitsFailed"},
      {suite, 18, 0xFF, kCorvaneControlBitsNotTested, 0xFF,
       "writeStatus kCorvaneControlBitsNotTested"},
      {suite, 18, 0xF8, 7, 0xFF, badSuite},
      {suite, 18, 0x00, -1, 0xFF, badSuite},
      {suite, 18, 0x00, 4, 0x04, badSuite},
      {collection, 9, 0xFF, kLogCollectionControlBitsComplete, 0xFC,
       "writeStatus kLogCollectionControlBitsComplete"},
      {collection, 9, 0x01, kLogCollectionControlBitsIncomplete, 0x01,
       "writeStatus kLogCollectionControlBitsIncomplete"},
      {collection, 9, 0xFC, 2, 0xFE, badCollection},
      {collection, 9, 0xFC, INT_MIN, 0xFC, badCollection},
  };
  for (const Case& c : cases) {
    setByte(c.offset, c.before);
    Strings log = {std::string("Control Bits: ") + c.line};
    if (c.status == INT_MIN || c.after != c.before) {
      log.push_back(c.write == suite
                        ? "Control Bits: writeCorvaneStatus perform the changes"
                        : "Control Bits: writeLogCollectionStatus perform the changes");
    }
    EXPECT_EQ(traceOf("", [&] { c.write(c.status); }).log, log) << c.status;
    EXPECT_EQ(bytes()[c.offset], c.after) << c.status;
  }
}

TEST_F(StatusWritersTest, AWriterWhoseReadFailsReportsItAndWorksOn0xFF) {
  setByte(30, 0x00);
  const char* unreadable = "IORegistryEntryCreateCFProperty@1";
  EXPECT_EQ(traceOf(unreadable, [] { ControlBits::writeControlBits(30, 2, 1); }).log,
            (Strings{"Control Bits: readBits failed during writeControlBits", kPerform}));
  EXPECT_EQ(bytes()[30], 0xFA);
  EXPECT_EQ(traceOf(unreadable, [] { ControlBits::writeCorvaneStatus(3); }).log,
            (Strings{"Control Bits: writeStatus kCorvaneControlBitsNotTested",
                     "Control Bits: readBits failed during writeStatus"}));
}

TEST_F(StatusWritersTest, AFailedWriteIsReportedWithItsResult) {
  const char* refused = "IORegistryEntrySetCFProperties=0xe00002c1";
  EXPECT_EQ(traceOf(refused, [] { ControlBits::writeControlBits(30, 0, 0); }).log.back(),
            "Control Bits: writeControlBits failed (result=-536870207)");
  EXPECT_EQ(traceOf(refused, [] { ControlBits::writeLogCollectionStatus(0); }).log.back(),
            "Control Bits: writeStatus failed (result=-536870207)");
  EXPECT_EQ(traceOf("", [] { ControlBits::writeControlBits(-1, 0, 0); }).log.back(),
            "Control Bits: writeControlBits failed (result=-536870206)");
}

}  // namespace
}  // namespace corvane
