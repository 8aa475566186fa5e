#include <climits>

#include "controlbits/control_bits.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using Strings = std::vector<std::string>;

class StatusWritersTest : public corvane::testing::UnitTest {
 protected:
  StatusWritersTest() { EXPECT_EQ(ControlBits::getReady(), 0); }

  void setByte(size_t offset, uint8_t byte) {
    auto contents = _unit.dataSet("VelmoDiagnosticData");
    contents[offset] = byte;
    _unit.setDataSet("VelmoDiagnosticData", contents);
  }
  uint8_t byteAt(size_t offset) const { return _unit.dataSet("VelmoDiagnosticData")[offset]; }

  /// What `write` adds to the log.
  template <typename Write>
  Strings logOf(Write write) {
    std::filesystem::remove_all(_unit.filePath("/private/var/logs"));
    write();
    return logLines();
  }
};

const std::string kPerform = "Control Bits: writeControlBits perform the changes";

TEST_F(StatusWritersTest, TheGenericWriterSetsStatusAndCountAndWritesOnlyChanges) {
  struct Case {
    uint8_t before;
    int32_t status, count;
    uint8_t after;
    bool isWritten;
  };
  const Case cases[] = {
      {0xFF, 4, 2, 0xF3, true},
      {0xFF, 4, 9, 0xFF, false},
      {0xFD, 1, 9, 0xFD, true},
      {0xFF, 3, -1, 0xFF, true},
      {0xFC, 0, 9, 0xFC, false},
      {0xFE, 0, 8, 0xFC, true},
      {0xFF, 4, 3, 0xE3, true},
      {0xF8, 5, 0, 0xFD, true},
      {0xFD, 5, 0, 0xFD, true},
      {0x1D, 1, 0, 0x1D, false},
      {0x00, 2, 7, 0x0A, true},
      {0xFF, -1, 0, 0xFF, true},
      {0xFF, INT_MIN, INT_MIN, 0xFC, true},
      {0xFE, 2, 1, 0xFA, true},
  };
  for (const Case& c : cases) {
    setByte(30, c.before);
    const Strings log = logOf([&] { ControlBits::writeControlBits(30, c.status, c.count); });
    EXPECT_EQ(byteAt(30), c.after) << c.status << " " << c.count;
    EXPECT_EQ(log, c.isWritten ? Strings{kPerform} : Strings{}) << c.status << " " << c.count;
  }
}

TEST_F(StatusWritersTest, TheFixedWritersSayWhatTheyWriteToTheirByte) {
  struct Case {
    void (*write)(int32_t);
    size_t offset;
    uint8_t before;
    int32_t status;
    uint8_t after;
    Strings log;
  };
  const auto suite = &ControlBits::writeCorvaneStatus;
  const auto collection = &ControlBits::writeLogCollectionStatus;
  const std::string suitePerform = "writeCorvaneStatus perform the changes";
  const std::string collectionPerform = "writeLogCollectionStatus perform the changes";
  const std::string badSuite =
      "FATAL ERROR bad Corvane state passed to "
      "writeCorvaneStatus:(CorvaneControlBitStatus)status";
  const std::string badCollection =
      "FATAL ERROR bad Log Collection state passed to "
      "writeLogCollectionStatus:(LogCollectionControlBitStatus)status";
  const Case cases[] = {
      {suite, 18, 0xFF, 0, 0xFC, {"writeStatus kCorvaneCotnrolBitsPassed", suitePerform}},
      {suite, 18, 0xE3, 1, 0xE1, {"writeStatus kCorvaneControlBitsIncompleteTest", suitePerform}},
      {suite, 18, 0x00, 2, 0x02, {"writeStatus kCorvaneControlBitsFailed", suitePerform}},
      {suite, 18, 0xFF, 3, 0xFF, {"writeStatus kCorvaneControlBitsNotTested"}},
      {suite, 18, 0xF8, 7, 0xFF, {badSuite, suitePerform}},
      {suite, 18, 0x00, -1, 0xFF, {badSuite, suitePerform}},
      {suite, 18, 0x00, 4, 0x04, {badSuite, suitePerform}},
      {collection,
       9,
       0xFF,
       0,
       0xFC,
       {"writeStatus kLogCollectionControlBitsComplete", collectionPerform}},
      {collection,
       9,
       0xFF,
       1,
       0xFD,
       {"writeStatus kLogCollectionControlBitsIncomplete", collectionPerform}},
      {collection, 9, 0x01, 1, 0x01, {"writeStatus kLogCollectionControlBitsIncomplete"}},
      {collection, 9, 0xFC, 2, 0xFE, {badCollection, collectionPerform}},
      {collection, 9, 0xFC, INT_MIN, 0xFC, {badCollection, collectionPerform}},
  };
  for (const Case& c : cases) {
    setByte(c.offset, c.before);
    Strings expected;
    for (const std::string& line : c.log) expected.push_back("Control Bits: " + line);
    EXPECT_EQ(logOf([&] { c.write(c.status); }), expected) << c.status;
    EXPECT_EQ(byteAt(c.offset), c.after) << c.status;
  }
}

TEST_F(StatusWritersTest, AWriterWhoseReadFailsReportsItAndWorksOn0xFF) {
  setByte(30, 0x00);
  host::VirtualDevice::setFaults("IORegistryEntryCreateCFProperty@1");
  EXPECT_EQ(logOf([] { ControlBits::writeControlBits(30, 2, 1); }),
            (Strings{"Control Bits: readBits failed during writeControlBits", kPerform}));
  EXPECT_EQ(byteAt(30), 0xFA);

  host::VirtualDevice::setFaults("IORegistryEntryCreateCFProperty@1");
  EXPECT_EQ(logOf([] { ControlBits::writeCorvaneStatus(3); }),
            (Strings{"Control Bits: writeStatus kCorvaneControlBitsNotTested",
                     "Control Bits: readBits failed during writeStatus"}));

  const Strings outside = logOf([] { ControlBits::writeControlBits(-1, 0, 0); });
  ASSERT_EQ(outside.size(), 4u);
  EXPECT_EQ(outside[0], "Control Bits: readBits failed during writeControlBits");
  EXPECT_EQ(outside[3], "Control Bits: writeControlBits failed (result=-536870206)");
}

TEST_F(StatusWritersTest, AFailedWriteIsReportedWithItsResult) {
  host::VirtualDevice::setFaults("IORegistryEntrySetCFProperties=0xe00002c1,IOMasterPort");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(logOf([] { ControlBits::writeControlBits(30, 0, 0); }).back(),
            "Control Bits: writeControlBits failed (result=-536870207)");
  EXPECT_EQ(logOf([] { ControlBits::writeCorvaneStatus(0); }).back(),
            "Control Bits: writeStatus failed (result=-536870207)");
  EXPECT_EQ(logOf([] { ControlBits::writeLogCollectionStatus(0); }).back(),
            "Control Bits: writeStatus failed (result=-536870207)");
  EXPECT_NE(::testing::internal::GetCapturedStderr(), "");

  host::VirtualDevice::setFaults("CFNumberCreate");
  EXPECT_EQ(logOf([] { ControlBits::writeCorvaneStatus(0); }).back(),
            "Control Bits: writeStatus failed (result=5)");
}

TEST_F(StatusWritersTest, AStuckByteIsLoggedAndIsNoFailure) {
  host::VirtualDevice::setFaults("stuck:VelmoDiagnosticData:30=0xF0");
  EXPECT_EQ(
      logOf([] { ControlBits::writeControlBits(30, 1, 9); }),
      (Strings{kPerform, "writeBits verification failed [length=1] (wrote 0xf1, read 0xf0)"}));
}

}  // namespace
}  // namespace corvane
