#include <gtest/gtest.h>

#include "tools/html/html.h"
#include "tools/report/report.h"

namespace corvane::tools {
namespace {

TEST(ReportTest, TheVerdictNamesTheGravestFindingFirst) {
  const struct {
    uint8_t byte, other;
    const char *headline, *detail;
  } cases[] = {
      {0xFF, 0xFF, "Not tested", "No station has left a passed test."},
      {0xFC, 0xFF, "Passed", "Tests passed, or poison was cleared, at offset 20."},
      {0xF8, 0xFF, "Passed", "Tests passed at offset 20."},
      {0xFC, 0xFD, "Incomplete", "A test is incomplete at offset 21."},
      {0xF2, 0xFD, "Failed", "A test failed at offset 20 (fail count 2)."},
      {0xF2, 0xFE, "Failed", "A test failed at offset 20 (fail count 2)."},
      {0xFC, 0xFE, "Failed, or poisoned", "A test failed, or a poison byte is set, at offset 21."},
  };
  for (const auto& [byte, other, headline, detail] : cases) {
    UnitImage image;
    Bytes& data = image.files[kDiagnosticDataFile];
    data.assign(1024, 0xFF);
    data[20] = byte;
    data[21] = other;
    const Statement gravest = statementsOn(image).front();
    EXPECT_EQ(gravest.headline, headline);
    EXPECT_EQ(gravest.detail, detail);
  }
  UnitImage area;
  area.files[kConfigurationFile] = Bytes(8192, 0);
  EXPECT_EQ(statementsOn(area).front().headline, "Damaged");
}

TEST(ReportTest, TextOfAUnitIsNeverMarkup) {
  EXPECT_EQ(markupText("<a b=\"c\" d='e'>&\x1b\xFF"),
            "&lt;a b=&quot;c&quot; d=&#39;e&#39;&gt;&amp;\\x1b\\xff");
}

}  // namespace
}  // namespace corvane::tools
