#include "controlbits/control_bits.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using Strings = std::vector<std::string>;

class PoisonByteTest : public corvane::testing::UnitTest {
 protected:
  PoisonByteTest() { EXPECT_EQ(ControlBits::getReady(), 0); }

  void setByte(size_t offset, uint8_t byte) {
    auto contents = _unit.dataSet("VelmoDiagnosticData");
    contents[offset] = byte;
    _unit.setDataSet("VelmoDiagnosticData", contents);
  }
};

TEST_F(PoisonByteTest, AFailureAmongTheControlBitBytesIsNeverOverwritten) {
  struct Case {
    uint8_t offset, before;
    bool isSet;
    uint8_t after;
    bool isRefused = false;
  };
  const Case cases[] = {
      {5, 0xFF, true, 0xFE},        {5, 0xFF, false, 0xFC},         {5, 0x00, true, 0xFE},
      {127, 0xFC, false, 0xFC},     {0, 0xE5, true, 0xFE},          {5, 0xFE, true, 0xFE, true},
      {5, 0xFE, false, 0xFE, true}, {127, 0x02, false, 0x02, true}, {128, 0xFE, true, 0xFE},
      {128, 0x02, false, 0xFF},     {200, 0xFE, false, 0xFF},       {255, 0xFF, true, 0xFE},
  };
  for (const Case& c : cases) {
    std::filesystem::remove_all(_unit.filePath("/private/var/logs"));
    std::filesystem::remove(_unit.filePath("/private/var/log/system.log"));
    setByte(c.offset, c.before);
    auto expected = _unit.dataSet("VelmoDiagnosticData");
    expected[c.offset] = c.after;
    ControlBits::writePoisonByte(c.offset, c.isSet);
    EXPECT_EQ(_unit.dataSet("VelmoDiagnosticData"), expected) << int{c.offset};
    const std::string line = std::string(c.isSet ? "Setting" : "Clearing") +
                             " Poison Byte using offset = " + std::to_string(c.offset);
    const std::string refusal = "Poison byte already set. Not overwriting previous result.";
    EXPECT_EQ(logLines(), c.isRefused ? Strings{} : Strings{"Control Bits: " + line});
    EXPECT_EQ(_unit.systemLog(), Strings{c.isRefused ? refusal : line});
  }
}

TEST_F(PoisonByteTest, EachFailureHasItsLine) {
  struct Case {
    const char* rule;
    Strings log;
  };
  const std::string setting = "Control Bits: Setting Poison Byte using offset = 5";
  const std::string failed = "Control Bits: Writing Poison Byte failed";
  const Case cases[] = {
      {"IORegistryEntryCreateCFProperty", {"Control Bits: Read Poison Byte failed"}},
      {"CFGetTypeID", {"Control Bits: Read Poison Byte failed"}},
      {"CFNumberCreate",
       {setting, "Control Bits: writeBits offsetRef invalid (offsetRef=(null))", failed}},
      {"IORegistryEntryCreateCFProperty@2",
       {setting, "writeControlBits verification read failed (status 5)", failed}},
      {"stuck:VelmoDiagnosticData:5=0xFF",
       {setting, "writeBits verification failed [length=1] (wrote 0xfe, read 0xff)"}},
      {"CFStringCreateWithFormatAndArguments@1", {"Control Bits: "}},
  };
  for (const Case& c : cases) {
    std::filesystem::remove_all(_unit.filePath("/private/var/logs"));
    setByte(5, 0xFF);
    host::VirtualDevice::setFaults(c.rule);
    ControlBits::writePoisonByte(5, true);
    host::VirtualDevice::setFaults("");
    EXPECT_EQ(logLines(), c.log) << c.rule;
  }

  _unit.setDataSet("VelmoDiagnosticData", std::vector<uint8_t>(200, 0xFF));
  ControlBits::writePoisonByte(200, true);
  EXPECT_EQ(logLines().back(), "Control Bits: Read Poison Byte failed");
}

}  // namespace
}  // namespace corvane
