#include <IOKit/IOKitLib.h>

#include "host/iokit/data_area_driver.h"
#include "platform/io_object.h"
#include "platform/registry.h"
#include "testing/unit_test.h"

namespace corvane::host {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr char kSet[] = "VelmoDiagnosticData";

class DataSetsTest : public corvane::testing::UnitTest {};

/// Sends the data area's driver a request as programs do.
kern_return_t write(const std::string& set, int64_t offset, const Bytes& bytes, bool commit) {
  const IOObject service = firstService(kDataAreaClass);
  const CFRef<CFMutableDictionaryRef> request(CFDictionaryCreateMutable(
      nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  const CFRef<CFNumberRef> start(CFNumberCreate(nullptr, kCFNumberSInt64Type, &offset));
  const CFRef<CFDataRef> buffer(
      CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
  const CFRef<CFStringRef> name = corvane::testing::cfString(set);
  CFDictionarySetValue(request.get(), CFSTR("VelmoDiagnosticDataSet"), name.get());
  CFDictionarySetValue(request.get(), CFSTR("VelmoDiagnosticDataCommit"),
                       commit ? kCFBooleanTrue : kCFBooleanFalse);
  CFDictionarySetValue(request.get(), CFSTR("VelmoDiagnosticDataOffset"), start.get());
  CFDictionarySetValue(request.get(), CFSTR("VelmoDiagnosticDataBuffer"), buffer.get());
  return IORegistryEntrySetCFProperties(service.get(), request.get());
}

TEST_F(DataSetsTest, UncommittedChangesLastUntilTheReboot) {
  EXPECT_EQ(write(kSet, 9, {1, 2, 3}, false), kIOReturnSuccess);
  EXPECT_EQ(write(kSet, 10, {7}, true), kIOReturnSuccess);
  EXPECT_EQ(write(kSet, 20, {8}, false), kIOReturnSuccess);
  EXPECT_EQ(_unit.uncommittedDataSets(), std::vector<std::string>{kSet});
  Bytes expected = _unit.dataSet(kSet);
  EXPECT_EQ(Bytes(expected.begin() + 9, expected.begin() + 12), (Bytes{1, 7, 3}));
  EXPECT_EQ(expected[20], 8);

  VirtualDevice(_unit.folder()).reboot();
  expected = Bytes(expected.size(), 0xFF);
  expected[10] = 7;
  const Bytes now = _unit.dataSet(kSet);
  EXPECT_EQ(Bytes(now.begin(), now.begin() + 128), Bytes(expected.begin(), expected.begin() + 128));
  EXPECT_TRUE(_unit.uncommittedDataSets().empty());
}

TEST_F(DataSetsTest, ARefusedWriteChangesNothing) {
  const Bytes before = _unit.dataSet(kSet);
  for (const bool commit : {false, true}) {
    for (const int64_t offset : {int64_t{1024}, INT64_MAX, int64_t{-1}}) {
      EXPECT_EQ(write(kSet, offset, {1}, commit), kIOReturnBadArgument) << offset;
    }
    for (const std::string& set :
         {std::string("Missing"), std::string("../data/VelmoDiagnosticData"), std::string(300, 'x'),
          std::string()}) {
      EXPECT_EQ(write(set, 0, {1}, commit), kIOReturnNotFound) << set;
    }
  }
  EXPECT_EQ(_unit.dataSet(kSet), before);
  EXPECT_TRUE(_unit.uncommittedDataSets().empty());
}

}  // namespace
}  // namespace corvane::host
