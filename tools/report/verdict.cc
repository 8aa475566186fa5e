#include <algorithm>

#include "controlbits/control_bit_byte.h"
#include "controlbits/poison_byte.h"
#include "tools/report/report.h"

namespace corvane::tools {
namespace {

/// What control-bit bytes say of a unit by their status, the gravest first. A poison byte, set or
/// cleared, is the same byte as a test that failed or passed at once.
constexpr struct {
  uint32_t status;
  bool mayBePoison;
  Level level;
  const char *headline, *detail;
} kByteStatements[] = {
    {kCorvaneControlBitsFailed, false, Level::kBad, "Failed", "A test failed"},
    {kCorvaneControlBitsFailed, true, Level::kBad, "Failed, or poisoned",
     "A test failed, or a poison byte is set,"},
    {kCorvaneControlBitsIncompleteTest, false, Level::kOpen, "Incomplete", "A test is incomplete"},
    {kCorvaneCotnrolBitsPassed, false, Level::kGood, "Passed", "Tests passed"},
    {kCorvaneCotnrolBitsPassed, true, Level::kGood, "Passed",
     "Tests passed, or poison was cleared,"}};

void addByteStatements(std::vector<Statement>& statements, const std::vector<ControlBit>& bytes) {
  for (const auto& [status, mayBePoison, level, headline, detail] : kByteStatements) {
    std::string offsets;
    size_t count = 0;
    for (const auto& [offset, byte] : bytes) {
      const bool isPoison = unit::useOf(offset).empty() &&
                            (byte == poisonByte(0, true) || byte == poisonByte(0, false));
      if (offset == kLogCollectionOffset || testStatusOf(byte) != status ||
          isPoison != mayBePoison) {
        continue;
      }
      offsets += (count++ > 0 ? ", " : "") + std::to_string(offset);
      if (status == kCorvaneControlBitsFailed && !isPoison) {
        offsets += " (fail count " + std::to_string(failCountOf(byte)) + ")";
      }
    }
    if (count == 0) continue;
    const char* const noun = count == 1 ? " at offset " : " at offsets ";
    statements.push_back({level, headline, detail + (noun + offsets) + "."});
  }
}

void addDamage(std::vector<Statement>& statements, const std::string& what,
               const std::vector<Finding>& findings) {
  if (findings.empty()) return;
  statements.push_back({Level::kBad, "Damaged",
                        "Findings in the " + what + ": " + std::to_string(findings.size()) + "."});
}

}  // namespace

std::vector<Statement> statementsOn(const UnitImage& image) {
  std::vector<Statement> statements;
  const Bytes* const data = image.file(kDiagnosticDataFile);
  const Bytes* const area = image.file(kConfigurationFile);
  if (data) {
    const DiagnosticReport report = reportOnDiagnosticData(*data);
    addByteStatements(statements, report.controlBits);
    addDamage(statements, "diagnostic data", report.findings);
  }
  if (area) addDamage(statements, "configuration area", reportOnArea(*area).findings);
  for (const auto& [path, contents] : image.files) {
    if (!path.ends_with(".committed")) continue;
    statements.push_back(
        {Level::kOpen, "Uncommitted", path + " undoes changes at the next reboot."});
  }
  std::ranges::stable_sort(statements, {}, &Statement::level);
  const bool isEmpty = statements.empty();
  if (data ? isEmpty || statements.back().level != Level::kGood : isEmpty && !area) {
    statements.push_back({Level::kOpen, "Not tested", "No station has left a passed test."});
  } else if (isEmpty) {
    statements.push_back({Level::kGood, "Sound", "The configuration area has no findings."});
  }
  return statements;
}

}  // namespace corvane::tools
