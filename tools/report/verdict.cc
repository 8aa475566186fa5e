#include <map>

#include "controlbits/control_bit_byte.h"
#include "controlbits/poison_byte.h"
#include "tools/report/report.h"

namespace corvane::tools {
namespace {

/// What control-bit bytes can say of a unit.
enum Statement { kFailedTest, kMaybePoisoned, kIncompleteTest, kPassedTest, kMaybeCleared };
constexpr struct {
  const char *level, *headline, *detail;
} kStatements[] = {{"bad", "Failed", "A test failed"},
                   {"bad", "Failed, or poisoned", "A test failed, or a poison byte is set,"},
                   {"open", "Incomplete", "A test is incomplete"},
                   {"good", "Passed", "Tests passed"},
                   {"good", "Passed", "Tests passed, or poison was cleared,"}};

/// Returns what the byte says of a test; nothing when it says that no test has run.
std::optional<Statement> statementOf(const ControlBit& bit) {
  const auto& [offset, byte] = bit;
  if (offset == kLogCollectionOffset) return {};
  switch (testStatusOf(byte)) {
    case kCorvaneControlBitsFailed:
      return unit::mayBePoison(offset, byte) ? kMaybePoisoned : kFailedTest;
    case kCorvaneControlBitsIncompleteTest:
      return kIncompleteTest;
    case kCorvaneCotnrolBitsPassed:
      // A poison byte that was cleared is the same byte as a test that never failed.
      return byte == poisonByte(0, false) && unit::useOf(offset).empty() ? kMaybeCleared
                                                                         : kPassedTest;
    default:
      return {};
  }
}

/// Returns the offsets of the bytes that make each statement.
std::map<Statement, std::string> offsetsIn(const std::vector<ControlBit>& bytes) {
  std::map<Statement, std::string> offsets;
  for (const ControlBit& bit : bytes) {
    const auto statement = statementOf(bit);
    if (!statement) continue;
    std::string& list = offsets[*statement];
    list += (list.empty() ? "" : ", ") + std::to_string(bit.offset);
    if (*statement == kFailedTest) {
      list += " (fail count " + std::to_string(failCountOf(bit.byte)) + ")";
    }
  }
  return offsets;
}

/// Adds a detail. The first one gives the verdict its level and headline.
void add(UnitVerdict& verdict, const char* level, const char* headline, const std::string& detail) {
  if (verdict.details.empty()) verdict.level = level, verdict.headline = headline;
  verdict.details.push_back(detail);
}

void addDamage(UnitVerdict& verdict, const std::string& what,
               const std::vector<Finding>& findings) {
  if (findings.empty()) return;
  add(verdict, "bad", "Damaged",
      "Findings in the " + what + ": " + std::to_string(findings.size()) + ".");
}

}  // namespace

ReportSubject::ReportSubject(std::string subjectName, UnitImage subjectImage)
    : name(std::move(subjectName)), image(std::move(subjectImage)) {
  if (const Bytes* data = image.file(kDiagnosticDataFile)) {
    diagnosticData = reportOnDiagnosticData(*data);
  }
  if (const Bytes* area = image.file(kConfigurationFile)) configuration = reportOnArea(*area);
}

UnitVerdict verdictOn(const ReportSubject& subject) {
  UnitVerdict verdict;
  std::map<Statement, std::string> offsets;
  if (subject.diagnosticData) offsets = offsetsIn(subject.diagnosticData->controlBits);
  const auto addBytes = [&](Statement statement) {
    const std::string& list = offsets[statement];
    if (list.empty()) return;
    const auto& [level, headline, detail] = kStatements[statement];
    const char* const noun = list.find(", ") == std::string::npos ? " at offset " : " at offsets ";
    add(verdict, level, headline, detail + (noun + list) + ".");
  };
  addBytes(kFailedTest);
  addBytes(kMaybePoisoned);
  if (subject.diagnosticData) {
    addDamage(verdict, "diagnostic data", subject.diagnosticData->findings);
  }
  if (subject.configuration) {
    addDamage(verdict, "configuration area", subject.configuration->findings);
  }
  addBytes(kIncompleteTest);
  for (const auto& [path, contents] : subject.image.files) {
    if (!path.ends_with(".committed")) continue;
    add(verdict, "open", "Uncommitted", path + " undoes changes at the next reboot.");
  }
  addBytes(kPassedTest);
  addBytes(kMaybeCleared);
  if (subject.diagnosticData && offsets[kPassedTest].empty() && offsets[kMaybeCleared].empty()) {
    add(verdict, "open", "Not tested", "No station has left a passed test.");
  } else if (subject.configuration && verdict.details.empty()) {
    add(verdict, "good", "Sound", "The configuration area has no findings.");
  }
  return verdict;
}

}  // namespace corvane::tools
