#include "testing/unit_test.h"

namespace corvane::host {
namespace {

using Bytes = std::vector<uint8_t>;
using corvane::testing::requestWrite;

constexpr char kSet[] = "VelmoDiagnosticData";

class DataSetsTest : public corvane::testing::UnitTest {};

TEST_F(DataSetsTest, UncommittedChangesLastUntilTheReboot) {
  EXPECT_EQ(requestWrite(kSet, 9, {1, 2, 3}, false), kIOReturnSuccess);
  EXPECT_EQ(requestWrite(kSet, 10, {7}, true), kIOReturnSuccess);
  EXPECT_EQ(requestWrite(kSet, 20, {8}, false), kIOReturnSuccess);
  EXPECT_EQ(_unit.uncommittedDataSets(), std::vector<std::string>{kSet});
  Bytes expected = bytes();
  EXPECT_EQ(Bytes(expected.begin() + 9, expected.begin() + 12), (Bytes{1, 7, 3}));
  EXPECT_EQ(expected[20], 8);

  VirtualDevice(_unit.folder()).reboot();
  expected = Bytes(128, 0xFF);
  expected[10] = 7;
  const Bytes now = bytes();
  EXPECT_EQ(Bytes(now.begin(), now.begin() + 128), expected);
  EXPECT_TRUE(_unit.uncommittedDataSets().empty());
}

TEST_F(DataSetsTest, ARefusedWriteChangesNothing) {
  const Bytes before = bytes();
  for (const bool commit : {false, true}) {
    for (const int64_t offset : {int64_t{1024}, INT64_MAX, int64_t{-1}}) {
      EXPECT_EQ(requestWrite(kSet, offset, {1}, commit), kIOReturnBadArgument) << offset;
    }
    for (const std::string& set :
         {std::string("Missing"), std::string("../data/VelmoDiagnosticData"), std::string(300, 'x'),
          std::string()}) {
      EXPECT_EQ(requestWrite(set, 0, {1}, commit), kIOReturnNotFound) << set;
    }
  }
  EXPECT_EQ(bytes(), before);
  EXPECT_TRUE(_unit.uncommittedDataSets().empty());
}

}  // namespace
}  // namespace corvane::host
