#include "dataarea/nor_access.h"

#include <cstdlib>
#include <numeric>
#include <utility>

#include "dataarea/data_area.h"
#include "testing/unit_test.h"

namespace corvane {
namespace {

using Bytes = std::vector<uint8_t>;
using Strings = std::vector<std::string>;

constexpr char kSet[] = "VelmoDiagnosticDataSysCfg";
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
  EXPECT_EQ(_unit.dataSet(kSet), area);
  EXPECT_EQ(read(), area);
  ASSERT_NE(_sysCfg, nullptr);
  EXPECT_EQ(Bytes(_sysCfg, _sysCfg + 8192), area);
  EXPECT_TRUE(_unit.systemLog().empty());
}

TEST_F(NorAccessTest, AFailedReadIsLoggedAndReturnsWhatWasReadLast) {
  const Bytes area = counting(8192, 9);
  _unit.setDataSet(kSet, counting(8191, 1));
  EXPECT_EQ(read(), Bytes(8192, 0)) << "nothing was read yet";
  _unit.setDataSet(kSet, area);
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
  EXPECT_EQ(read(), _unit.dataSet(kSet));
}

TEST_F(NorAccessTest, ATablesSizeDecidesHowMuchAReadReturns) {
  for (const size_t size : {size_t{100}, size_t{8200}}) {
    static size_t sizeNow;
    sizeNow = size;
    nor_access_table access = ferrox_nor_access;
    access.size = [](const nor_access_table*) { return sizeNow; };
    Bytes expected = _unit.dataSet(kSet);
    expected.resize(size, 0);
    EXPECT_EQ(read(access, size), expected);
  }
}

}  // namespace
}  // namespace corvane
