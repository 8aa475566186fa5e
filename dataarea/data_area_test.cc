#include "dataarea/data_area.h"

#include <IOKit/IOKitLib.h>
#include <dlfcn.h>

#include <cstdlib>
#include <numeric>
#include <utility>

#include "dataarea/bits.h"
#include "dataarea/data_sets.h"
#include "dataarea/nor_access.h"
#include "testing/unit_test.h"

namespace {

/// Gets the type of each object whose last reference is released, while it is not null.
std::vector<CFTypeID>* gReleased = nullptr;
/// How long the last wait for a quiet registry may take.
mach_timespec_t gWaitTime{};

/// Returns the function that this program replaces for the libraries that it uses.
template <typename Function>
Function* replaced(Function&, const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" void CFRelease(CFTypeRef object) {
  static const auto release = replaced(CFRelease, "CFRelease");
  if (gReleased && CFGetRetainCount(object) == 1) gReleased->push_back(CFGetTypeID(object));
  release(object);
}
extern "C" kern_return_t IOKitWaitQuiet(mach_port_t port, mach_timespec_t* waitTime) {
  gWaitTime = *waitTime;
  return replaced(IOKitWaitQuiet, "IOKitWaitQuiet")(port, waitTime);
}
#pragma GCC visibility pop

namespace corvane {
namespace {

using Bytes = std::vector<uint8_t>;
using Strings = std::vector<std::string>;

const bool gAreHandlesAtFirst = gMasterPort != 0 || gDataArea != 0;

class DataAreaTest : public corvane::testing::UnitTest {};

TEST_F(DataAreaTest, EachFailureHasItsResultAndItsReport) {
  const struct {
    const char* rule;
    uint32_t (*call)();
    uint32_t result;
    const char* standardError;
    Strings systemLog;
  } cases[] = {
      {"", getMasterPort, 0, "", {}},
      {"IOMasterPort", getMasterPort, 1, "Failed to get master device port.\n", {}},
      {"IOKitWaitQuiet=0xe00002d6", getDataArea, 0xe00002d6, "", {}},
      {"IOServiceGetMatchingServices=0xe00002c0", getDataArea, 0xe00002c0, "", {}},
      {"IOIteratorNext", getDataArea, 5, "", {"ControlBits: Get data area failure."}},
  };
  for (const auto& c : cases) {
    const Trace trace = traceOf(c.rule, [&] { EXPECT_EQ(c.call(), c.result) << c.rule; });
    EXPECT_EQ(trace.standardError, c.standardError) << c.rule;
    EXPECT_EQ(trace.systemLog, c.systemLog) << c.rule;
    EXPECT_TRUE(trace.log.empty()) << c.rule;
  }
}

TEST_F(DataAreaTest, WithoutTheServiceTheHandleIsZeroAndNothingCanBeRead) {
  EXPECT_FALSE(gAreHandlesAtFirst);
  corvane::testing::changeFacts(_unit, [](auto& facts) { facts.dataArea = false; });
  gDataArea = 77;
  EXPECT_EQ(getDataArea(), 5u);
  EXPECT_EQ(gDataArea, 0u);
  const uint8_t* bytes = nullptr;
  uint32_t length = 99;
  EXPECT_EQ(getDataAreaBytePtr(&bytes, &length, CFSTR("VelmoDiagnosticData")), 0u);
  EXPECT_EQ(length, 99u);
}

TEST_F(DataAreaTest, ALookUpWaitsAtMost20SecondsAndASecondLeavesTheFirstHandleHeld) {
  const size_t before = host::VirtualDevice::openHandles();
  ASSERT_EQ(getDataArea(), 0u);
  const io_object_t first = gDataArea;
  ASSERT_EQ(getDataArea(), 0u);
  EXPECT_EQ(gWaitTime.tv_sec, 20u);
  EXPECT_EQ(gWaitTime.tv_nsec, 0);
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

const CFStringRef kSet = diagnosticDataSet();

class BitsTest : public corvane::testing::UnitTest {
 protected:
  BitsTest() { EXPECT_EQ(getDataArea(), 0u); }
};

TEST_F(BitsTest, AReadMustLieWithinTheSet) {
  const struct {
    uint32_t offset, length, result;
  } cases[] = {{0, 1024, 0}, {1024, 0, 0},          {1023, 2, 5},
               {1025, 0, 5}, {0xFFFFFFF0, 0x20, 5}, {100, 0xFFFFFFFF, 5}};
  for (const auto& c : cases) {
    Bytes destination(1024, 0xAA);
    EXPECT_EQ(readBits(c.offset, c.length, destination.data(), kSet), c.result) << c.offset;
    EXPECT_TRUE(c.result == 0 || destination == Bytes(1024, 0xAA));
  }
  EXPECT_EQ(readBits(0, 1, nullptr, CFSTR("Missing")), 5u);
  EXPECT_TRUE(logLines().empty());
}

TEST_F(BitsTest, ACommittedWriteOutlivesAReboot) {
  const Bytes written = {0x41, 0x42, 0x43};
  EXPECT_EQ(writeBits(10, 2, written.data(), 0, kSet), 0u);
  EXPECT_EQ(writeBits(11, 3, written.data(), -5, kSet), 0u) << "any flag but 0 commits";
  Bytes readBack(4);
  EXPECT_EQ(readBits(10, 4, readBack.data(), kSet), 0u);
  EXPECT_EQ(readBack, (Bytes{0x41, 0x41, 0x42, 0x43}));
  _unit.reboot();
  EXPECT_EQ(readBits(10, 4, readBack.data(), kSet), 0u);
  EXPECT_EQ(readBack, (Bytes{0xFF, 0x41, 0x42, 0x43}));
  EXPECT_TRUE(logLines().empty());
}

TEST_F(BitsTest, EachFailedWriteHasItsResultAndItsLine) {
  const char* unread = "writeControlBits verification read failed (status 5)";
  const struct {
    const char* rule;
    bool hasSet;
    uint32_t length, result;
    const char* line;
    bool isWritten;
  } cases[] = {
      {"CFNumberCreate", false, 1, 5,
       "Control Bits: writeBits offsetRef invalid (offsetRef=(null))", false},
      {"CFDataCreateWithBytesNoCopy", true, 1, 5,
       "Control Bits: writeBits bufferRef invalid (bufferRef=(null))", false},
      {"CFDictionaryCreateMutable", true, 1, 5,
       "Control Bits: writeBits dictRef invalid (dictRef=(null))", false},
      {"", false, 1, 5, "Control Bits: writeBits set invalid (set=(null))", false},
      {"malloc", true, 1, 5, "writeBits: verification buffer malloc failed", true},
      {"IORegistryEntryCreateCFProperty", true, 1, 5, unread, true},
      {"CFGetTypeID", true, 1, 5, unread, true},
      {"IORegistryEntryCreateCFProperty", true, 0, 0, "", false},
      {"stuck:VelmoDiagnosticData:5=0x40", true, 1, 0,
       "writeBits verification failed [length=1] (wrote 0x41, read 0x40)", true},
      {"stuck:VelmoDiagnosticData:6=0x0A", true, 2, 0, "writeBits verification failed [length=2]",
       true},
  };
  for (const auto& c : cases) {
    setByte(5, 0);
    const Bytes written = {0x41, 0x42};
    const Trace trace = traceOf(c.rule, [&] {
      EXPECT_EQ(writeBits(5, c.length, written.data(), 1, c.hasSet ? kSet : nullptr), c.result);
    });
    EXPECT_EQ(trace.standardError, "") << c.rule;
    EXPECT_EQ(trace.log, *c.line ? Strings{c.line} : Strings{}) << c.rule;
    EXPECT_EQ(bytes()[5], c.isWritten ? 0x41 : 0) << c.rule;
  }
}

TEST_F(BitsTest, ARequestsNumberDataAndDictionaryAreReleasedInThisOrderBeforeTheVerification) {
  const uint8_t byte = 0x41;
  ASSERT_EQ(writeBits(5, 1, &byte, 1, kSet), 0u);
  std::vector<CFTypeID> released;
  gReleased = &released;
  EXPECT_EQ(writeBits(5, 1, &byte, 1, kSet), 0u);
  gReleased = nullptr;
  // The verification's read releases the data of the read before it.
  const std::vector expected = {CFNumberGetTypeID(), CFDataGetTypeID(), CFDictionaryGetTypeID(),
                                CFDataGetTypeID()};
  ASSERT_GE(released.size(), expected.size());
  EXPECT_EQ(std::vector(released.end() - std::ssize(expected), released.end()), expected);
}

TEST_F(BitsTest, ARefusedWriteShowsItsRequestAndReturnsThePlatformsCode) {
  const struct {
    const char* rule;
    uint32_t offset, length, result;
  } cases[] = {{"IORegistryEntrySetCFProperties=-7", 20, 0, 0xfffffff9}, {"", 1024, 1, 0xe00002c2}};
  for (const auto& c : cases) {
    const uint8_t byte = 0x41;
    const Trace trace = traceOf(
        c.rule, [&] { EXPECT_EQ(writeBits(c.offset, c.length, &byte, 1, kSet), c.result); });
    ASSERT_EQ(trace.log.size(), 1u);
    const std::string begin =
        "Control Bits: writeBits IORegistryEntrySetCFProperties failed (result=" +
        std::to_string(static_cast<int32_t>(c.result)) +
        " entry=" + std::to_string(static_cast<int32_t>(gDataArea)) + " properties=";
    EXPECT_TRUE(trace.log[0].starts_with(begin)) << trace.log[0];
    for (const char* part : {"VelmoDiagnosticDataSet", "VelmoDiagnosticDataCommit",
                             "VelmoDiagnosticDataOffset", "VelmoDiagnosticDataBuffer"}) {
      EXPECT_NE(trace.standardError.find(part), std::string::npos) << trace.standardError;
    }
  }
}

constexpr char kArea[] = "VelmoDiagnosticDataSysCfg";
const std::string kReadFailed = "Failed to read sysCfg: Error 5";

Bytes counting(size_t length, uint8_t first) {
  Bytes bytes(length);
  std::iota(bytes.begin(), bytes.end(), first);
  return bytes;
}

/// Begins each test as a new process begins, without a staging buffer.
class NorAccessTest : public corvane::testing::UnitTest {
 protected:
  NorAccessTest() {
    std::free(std::exchange(_sysCfg, nullptr));
    EXPECT_EQ(getDataArea(), 0u);
  }

  static Bytes read(const nor_access_table& access = ferrox_nor_access, size_t size = 8192) {
    Bytes destination(size, 0xAA);
    access.read(&access, destination.data());
    return destination;
  }
};

TEST_F(NorAccessTest, TheAreaGoesInAndOutWholeAndIsCommitted) {
  EXPECT_EQ(ferrox_nor_access.size(&ferrox_nor_access), 8192u);
  EXPECT_EQ(ferrox_nor_access.spare, nullptr);
  EXPECT_EQ(_sysCfg, nullptr);

  const Bytes area = counting(8192, 3);
  ferrox_nor_access.write(&ferrox_nor_access, area.data());
  EXPECT_EQ(_sysCfg, nullptr) << "a write leaves the staging buffer alone";
  _unit.reboot();
  EXPECT_EQ(_unit.dataSet(kArea), area);
  EXPECT_EQ(read(), area);
  ASSERT_NE(_sysCfg, nullptr);
  EXPECT_EQ(Bytes(_sysCfg, _sysCfg + 8192), area);
  EXPECT_TRUE(_unit.systemLog().empty());
}

TEST_F(NorAccessTest, AFailedReadIsLoggedAndReturnsWhatWasReadLast) {
  const Bytes area = counting(8192, 9);
  _unit.setDataSet(kArea, counting(8191, 1));
  EXPECT_EQ(read(), Bytes(8192, 0)) << "nothing was read yet";
  _unit.setDataSet(kArea, area);
  EXPECT_EQ(read(), area);
  host::VirtualDevice::setFaults("IORegistryEntryCreateCFProperty");
  EXPECT_EQ(read(), area);
  EXPECT_EQ(_unit.systemLog(), (Strings{kReadFailed, kReadFailed}));
  EXPECT_TRUE(logLines().empty());
}

TEST_F(NorAccessTest, WithoutAStagingBufferTheAreaReadsAsZerosAndTheNextReadTriesAgain) {
  host::VirtualDevice::setFaults("calloc@1");
  EXPECT_EQ(read(), Bytes(8192, 0));
  EXPECT_EQ(_sysCfg, nullptr);
  EXPECT_EQ(_unit.systemLog(), Strings{kReadFailed});
  EXPECT_EQ(read(), _unit.dataSet(kArea));
}

TEST_F(NorAccessTest, ATablesSizeDecidesHowMuchAReadReturns) {
  for (const size_t size : {size_t{100}, size_t{8200}}) {
    static size_t sizeNow;
    sizeNow = size;
    nor_access_table access = ferrox_nor_access;
    access.size = [](const nor_access_table*) { return sizeNow; };
    Bytes expected = _unit.dataSet(kArea);
    expected.resize(size, 0);
    EXPECT_EQ(read(access, size), expected);
  }
}

}  // namespace
}  // namespace corvane
