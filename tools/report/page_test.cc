#include <gtest/gtest.h>

#include "tools/report/html_text.h"
#include "tools/report/report_page.h"

namespace corvane::tools {
namespace {

/// A dump of control-bit bytes without records, with `byte` at offset 20.
UnitImage dumpWith(uint8_t byte) {
  UnitImage image;
  image.kind = ImageKind::kData;
  Bytes data(1024, 0xFF);
  data[20] = byte;
  image.files[kDiagnosticDataFile] = std::move(data);
  return image;
}

TEST(ReportTest, TheVerdictNamesTheGravestThingFirst) {
  const struct {
    uint8_t byte, other;
    const char *headline, *detail;
  } cases[] = {
      {0xFF, 0xFF, "Not tested", "No station has left a passed test."},
      {0xFC, 0xFF, "Passed", "Tests passed at offset 20."},
      {0xFC, 0xFD, "Incomplete", "A test is incomplete at offset 21."},
      {0xF2, 0xFD, "Failed", "A test failed at offset 20 (fail count 2)."},
      {0xF2, 0xFE, "Poisoned", "A poison byte is set at offset 21."},
  };
  for (const auto& [byte, other, headline, detail] : cases) {
    UnitImage image = dumpWith(byte);
    image.files[kDiagnosticDataFile][21] = other;
    const Verdict verdict = verdictOn(ReportSubject("dump", std::move(image)));
    EXPECT_EQ(verdict.headline, headline);
    EXPECT_EQ(verdict.details.front(), detail);
  }
  UnitImage area;
  area.files[kConfigurationFile] = Bytes(8192, 0);
  EXPECT_EQ(verdictOn(ReportSubject("area", area)).headline, "Damaged");
}

TEST(ReportTest, TextOfAUnitIsNeverMarkup) {
  EXPECT_EQ(htmlText("<a b=\"c\" d='e'>&\x1b\xFF"),
            "&lt;a b=&quot;c&quot; d=&#39;e&#39;&gt;&amp;\\x1b\\xff");
  // Every byte that can be text, wherever a unit keeps texts.
  std::string hostile = "</title></style><script>";
  for (int byte = 1; byte < 256; ++byte) hostile += static_cast<char>(byte);
  const Bytes bytes(hostile.begin(), hostile.end());
  UnitImage image;
  image.files[kDiagnosticDataFile] = Bytes(1024, 0xFF);
  std::copy_n(bytes.begin() + 15, 9, image.files[kDiagnosticDataFile].begin() + 138);
  image.files[kTestLogFile] = bytes;
  const std::string plain = reportPage({ReportSubject("unit", UnitImage(image))}, "");
  const std::string page = reportPage({ReportSubject(hostile, image)}, "");
  const auto count = [](const std::string& text, const std::string& part) {
    size_t found = 0;
    for (size_t at = 0; (at = text.find(part, at)) != text.npos; ++at) ++found;
    return found;
  };
  for (const char* markup : {"<script", "</title", "</style"}) EXPECT_EQ(count(page, markup), 1u);
  EXPECT_EQ(count(page, "<"), count(plain, "<"));
}

}  // namespace
}  // namespace corvane::tools
