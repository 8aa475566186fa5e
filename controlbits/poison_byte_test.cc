#include "controlbits/poison_byte.h"

#include "controlbits/control_bits.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using Strings = std::vector<std::string>;

class PoisonByteTest : public corvane::testing::UnitTest {
 protected:
  PoisonByteTest() { EXPECT_EQ(ControlBits::getReady(), 0); }
};

TEST_F(PoisonByteTest, AFailureAmongTheControlBitBytesIsNeverOverwritten) {
  struct Case {
    uint8_t offset, before;
    bool isSet;
    uint8_t after;
    bool isRefused = false;
  };
  const Case cases[] = {
      {5, 0xFF, true, 0xFE},         {5, 0xFF, false, 0xFC},      {0, 0xE5, true, 0xFE},
      {127, 0xFC, false, 0xFC},      {5, 0xFE, true, 0xFE, true}, {5, 0xFE, false, 0xFE, true},
      {127, 0x02, true, 0x02, true}, {128, 0x02, false, 0xFF},    {255, 0xFF, true, 0xFE},
  };
  for (const Case& c : cases) {
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

TEST_F(PoisonByteTest, EachFailureHasItsLine) {
  const std::string setting = "Control Bits: Setting Poison Byte using offset = 5";
  const std::string failed = "Control Bits: Writing Poison Byte failed";
  const std::string unmade = "Control Bits: writeBits offsetRef invalid (offsetRef=(null))";
  const std::pair<const char*, Strings> cases[] = {
      {"IORegistryEntryCreateCFProperty", {"Control Bits: Read Poison Byte failed"}},
      {"CFNumberCreate", {setting, unmade, failed}},
  };
  for (const auto& [rule, log] : cases) {
    _unit.setDataSet("VelmoDiagnosticData", std::vector<uint8_t>(6, 0xFF));
    EXPECT_EQ(traceOf(rule, [] { ControlBits::writePoisonByte(5, true); }).log, log) << rule;
  }
}

}  // namespace
}  // namespace corvane
