#include <sys/wait.h>

#include <cstdlib>

#include "testing/unit_test.h"

namespace {

using corvane::testing::readText;

class BurnInStationTest : public corvane::testing::UnitTest {
 protected:
  /// Runs the station under `faults`; its exit status, with what it complains of in `_errors`.
  int burnIn(const std::string& faults = "", const std::string& options = "") {
    const std::string errors = (_folder.path() / "errors").string();
    const std::string command = "CORVANE_FAULTS='" + faults + "' CORVANE_DEVICE='" +
                                _unit.folder().string() +
                                "' " BURN_IN_STATION " --seconds 1 --memory 1 --quiet --folder '" +
                                _folder.path().string() + "' " + options + " 2>'" + errors + "'";
    const int status = WEXITSTATUS(std::system(command.c_str()));
    _errors = readText(errors);
    return status;
  }
  bool complainsOf(const std::string& text) const {
    return _errors.find(text) != std::string::npos;
  }

  std::string _errors;
};

TEST_F(BurnInStationTest, AUnitThatTakesNothingIsNotPassed) {
  EXPECT_EQ(burnIn(), 0) << _errors;
  EXPECT_EQ(burnIn("IORegistryEntrySetCFProperties=0xe00002bc"), 3);
  EXPECT_TRUE(
      complainsOf("byte 20 holds 0xfc instead of 0xfd; the write was refused with "
                  "0xe00002bc"))
      << _errors;
}

TEST_F(BurnInStationTest, AStuckByteIsNamed) {
  EXPECT_EQ(burnIn("stuck:VelmoDiagnosticData:20=0xfc"), 3);
  EXPECT_TRUE(complainsOf("byte 20 holds 0xfc instead of 0xfd")) << _errors;
}

TEST_F(BurnInStationTest, APoisonedUnitWithoutRoomForARecordIsRefused) {
  std::vector<uint8_t> data = _unit.dataSet("VelmoDiagnosticData");
  data[21] = 0xFE;
  for (size_t slot = 0; slot < 20; ++slot) {
    std::fill_n(data.begin() + 128 + static_cast<ptrdiff_t>(slot) * 24, 24, uint8_t{0x40});
  }
  _unit.setDataSet("VelmoDiagnosticData", data);
  EXPECT_EQ(burnIn(), 3);
  EXPECT_TRUE(complainsOf("byte 21 holds 0xfe")) << _errors;
  EXPECT_TRUE(complainsOf("the chain of records is full: it holds 20")) << _errors;
}

TEST_F(BurnInStationTest, ABadCoreIsNamed) {
  const std::string results = (_folder.path() / "results").string();
  EXPECT_EQ(burnIn("", "--bad-core 0 --results '" + results + "'"), 1);
  EXPECT_NE(readText(results).find("arithmetic: core 0: "), std::string::npos);
}

}  // namespace
