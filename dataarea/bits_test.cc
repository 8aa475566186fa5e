#include "dataarea/bits.h"

#include <IOKit/IOKitLib.h>

#include "dataarea/data_area.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using Bytes = std::vector<uint8_t>;
using Strings = std::vector<std::string>;

const CFStringRef kSet = CFSTR("VelmoDiagnosticData");

class BitsTest : public corvane::testing::UnitTest {
 protected:
  BitsTest() { EXPECT_EQ(getDataArea(), 0u); }
};

TEST_F(BitsTest, AReadMustLieWithinTheSet) {
  struct Case {
    uint32_t offset, length, result;
  };
  const Case cases[] = {{0, 1024, 0},          {1024, 0, 0},        {1023, 1, 0},
                        {1023, 2, 5},          {1025, 0, 5},        {0xFFFFFFFF, 1, 5},
                        {0xFFFFFFF0, 0x20, 5}, {100, 0xFFFFFFFF, 5}};
  for (const Case& c : cases) {
    Bytes destination(1024, 0xAA);
    EXPECT_EQ(readBits(c.offset, c.length, destination.data(), kSet), c.result) << c.offset;
    EXPECT_TRUE(c.result == 0 || destination == Bytes(1024, 0xAA));
  }
  EXPECT_EQ(readBits(0, 1, nullptr, CFSTR("Missing")), 5u);
  EXPECT_EQ(readBits(0, 0, nullptr, kSet), 0u);
  EXPECT_TRUE(logLines().empty());
}

TEST_F(BitsTest, AWriteIsInTheFileWhenItReturns) {
  const Bytes bytes = {0x41, 0x42, 0x43};
  EXPECT_EQ(writeBits(1021, 3, bytes.data(), 1, kSet), 0u);
  const std::string file =
      corvane::testing::readText(_unit.folder() / "data/VelmoDiagnosticData.bin");
  ASSERT_EQ(file.size(), 1024u);
  EXPECT_EQ(file.substr(1021), "ABC");
  Bytes readBack(3);
  EXPECT_EQ(readBits(1021, 3, readBack.data(), kSet), 0u);
  EXPECT_EQ(readBack, bytes);
  EXPECT_TRUE(logLines().empty());
}

TEST_F(BitsTest, AnUncommittedWriteIsGoneAfterAReboot) {
  const Bytes bytes = {1, 2};
  EXPECT_EQ(writeBits(10, 2, bytes.data(), 0, kSet), 0u);
  EXPECT_EQ(writeBits(11, 1, &bytes[0], -5, kSet), 0u) << "any flag but 0 commits";
  EXPECT_EQ(_unit.dataSet("VelmoDiagnosticData")[10], 1);
  _unit.reboot();
  EXPECT_EQ(_unit.dataSet("VelmoDiagnosticData")[10], 0xFF);
  EXPECT_EQ(_unit.dataSet("VelmoDiagnosticData")[11], 1);
}

TEST_F(BitsTest, EachFailedWriteHasItsResultAndItsLine) {
  struct Case {
    const char* rule;
    CFStringRef set;
    uint32_t offset, length;
    uint32_t result;
    Strings log;
  };
  const std::string verification = "writeBits verification failed [length=";
  const Case cases[] = {
      {"CFNumberCreate",
       kSet,
       5,
       1,
       5,
       {"Control Bits: writeBits offsetRef invalid (offsetRef=(null))"}},
      {"CFDataCreateWithBytesNoCopy",
       kSet,
       5,
       1,
       5,
       {"Control Bits: writeBits bufferRef invalid (bufferRef=(null))"}},
      {"CFDictionaryCreateMutable",
       kSet,
       5,
       1,
       5,
       {"Control Bits: writeBits dictRef invalid (dictRef=(null))"}},
      {"IORegistryEntrySetCFProperties=1",
       nullptr,
       5,
       1,
       5,
       {"Control Bits: writeBits set invalid (set=(null))"}},
      {"CFNumberCreate",
       nullptr,
       5,
       1,
       5,
       {"Control Bits: writeBits offsetRef invalid (offsetRef=(null))"}},
      {"malloc", kSet, 5, 1, 5, {"writeBits: verification buffer malloc failed"}},
      {"IORegistryEntryCreateCFProperty",
       kSet,
       5,
       1,
       5,
       {"writeControlBits verification read failed (status 5)"}},
      {"CFGetTypeID", kSet, 5, 1, 5, {"writeControlBits verification read failed (status 5)"}},
      {"CFDataGetLength", kSet, 5, 1, 5, {"writeControlBits verification read failed (status 5)"}},
      {"stuck:VelmoDiagnosticData:5=0x40",
       kSet,
       5,
       1,
       0,
       {verification + "1] (wrote 0x41, read 0x40)"}},
      {"stuck:VelmoDiagnosticData:6=0x0A", kSet, 5, 2, 0, {verification + "2]"}},
      {"IORegistryEntrySetCFProperties=0",
       kSet,
       9,
       1,
       0,
       {verification + "1] (wrote 0x41, read 0xff)"}},
      {"stuck:VelmoDiagnosticData:5=0x40", kSet, 4, 1, 0, {}},
      {"IORegistryEntryCreateCFProperty", kSet, 5, 0, 0, {}},
  };
  for (const Case& c : cases) {
    std::filesystem::remove_all(_unit.filePath("/private/var/logs"));
    const Bytes bytes = {0x41, 0x42};
    host::VirtualDevice::setFaults(c.rule);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(writeBits(c.offset, c.length, bytes.data(), 1, c.set), c.result) << c.rule;
    host::VirtualDevice::setFaults("");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "") << c.rule;
    EXPECT_EQ(logLines(), c.log) << c.rule;
  }
}

TEST_F(BitsTest, ARefusedWriteShowsItsRequestAndReturnsThePlatformsCode) {
  struct Case {
    const char* rule;
    CFStringRef set;
    uint32_t offset, length, result;
  };
  const Case cases[] = {{"IORegistryEntrySetCFProperties=0xe00002c1", kSet, 20, 1, 0xe00002c1},
                        {"IORegistryEntrySetCFProperties=-7", kSet, 20, 1, 0xfffffff9},
                        {"", kSet, 1024, 1, 0xe00002c2},
                        {"", CFSTR("Missing"), 0, 1, 0xe00002f0},
                        {"", CFSTR("Missing"), 0, 0, 0xe00002f0}};
  for (const Case& c : cases) {
    std::filesystem::remove_all(_unit.filePath("/private/var/logs"));
    const uint8_t byte = 0x41;
    host::VirtualDevice::setFaults(c.rule);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(writeBits(c.offset, c.length, &byte, 1, c.set), c.result);
    const std::string shown = ::testing::internal::GetCapturedStderr();
    for (const char* part : {"VelmoDiagnosticDataSet", "VelmoDiagnosticDataCommit",
                             "VelmoDiagnosticDataOffset", "VelmoDiagnosticDataBuffer"}) {
      EXPECT_NE(shown.find(part), std::string::npos) << shown;
    }
    ASSERT_EQ(logLines().size(), 1u);
    const std::string begin =
        "Control Bits: writeBits IORegistryEntrySetCFProperties failed (result=" +
        std::to_string(static_cast<int32_t>(c.result)) +
        " entry=" + std::to_string(static_cast<int32_t>(gDataArea)) + " properties={";
    EXPECT_EQ(logLines()[0].substr(0, begin.size()), begin);
  }
}

TEST_F(BitsTest, NothingIsLeakedOnAnyPath) {
  const size_t handles = host::VirtualDevice::openHandles();
  const CFRef<CFStringRef> set = corvane::testing::cfString("VelmoDiagnosticData");
  const uint8_t byte = 0x41;
  for (const char* rule : {"", "CFNumberCreate", "IORegistryEntrySetCFProperties", "malloc",
                           "IORegistryEntryCreateCFProperty"}) {
    host::VirtualDevice::setFaults(rule);
    ::testing::internal::CaptureStderr();
    writeBits(0, 1, &byte, 1, set.get());
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(CFGetRetainCount(set.get()), 1) << rule;
  }
  EXPECT_EQ(host::VirtualDevice::openHandles(), handles);
}

}  // namespace
}  // namespace corvane
