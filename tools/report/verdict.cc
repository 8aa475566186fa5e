#include "tools/report/verdict.h"

#include "controlbits/control_bit_byte.h"
#include "controlbits/poison_byte.h"
#include "unit/byte_text.h"

namespace corvane::tools {
namespace {

using Level = UnitVerdict::Level;

/// What control-bit bytes can say of a unit, the gravest first.
enum Statement { kFailedTest, kMaybePoisoned, kIncompleteTest, kPassedTest, kMaybeCleared };
constexpr struct {
  Level level;
  const char *headline, *detail;
} kStatements[] = {{Level::kBad, "Failed", "A test failed"},
                   {Level::kBad, "Failed, or poisoned", "A test failed, or a poison byte is set,"},
                   {Level::kOpen, "Incomplete", "A test is incomplete"},
                   {Level::kGood, "Passed", "Tests passed"},
                   {Level::kGood, "Passed", "Tests passed, or poison was cleared,"}};

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

/// Collects what was found, the gravest first.
class Judge {
 public:
  explicit Judge(const ReportSubject& subject) {
    if (!subject.diagnosticData) return;
    for (const ControlBit& bit : subject.diagnosticData->diagnosticData->controlBits) {
      const auto statement = statementOf(bit);
      if (!statement) continue;
      std::string& list = _offsets[*statement];
      list += (list.empty() ? "" : ", ") + std::to_string(bit.offset);
      if (*statement == kFailedTest) {
        list += " (fail count " + std::to_string(failCountOf(bit.byte)) + ")";
      }
    }
  }

  bool has(Statement statement) const { return !_offsets[statement].empty(); }

  /// The first headline stays.
  void find(Level level, const std::string& headline, const std::string& detail) {
    if (_verdict.headline.empty()) _verdict.level = level, _verdict.headline = headline;
    if (!detail.empty()) _verdict.details.push_back(detail);
  }

  void find(Statement statement) {
    if (!has(statement)) return;
    const auto& [level, headline, detail] = kStatements[statement];
    const std::string& list = _offsets[statement];
    const char* const noun = list.find(", ") == std::string::npos ? " at offset " : " at offsets ";
    find(level, headline, detail + (noun + list) + ".");
  }

  void findDamage(const std::optional<Dump>& dump, const std::string& what) {
    if (!dump || dump->findings().empty()) return;
    const size_t count = dump->findings().size();
    find(
        Level::kBad, "Damaged",
        what + " has " + std::to_string(count) + (count == 1 ? " finding." : " findings.") +
            (dump->area && !dump->area->isHeaderSound ? " A unit treats the area as an empty store."
                                                      : ""));
  }

  UnitVerdict take() { return std::move(_verdict); }

 private:
  UnitVerdict _verdict;
  /// Of the bytes that make each statement.
  std::string _offsets[std::size(kStatements)];
};

std::optional<Dump> inspected(const UnitImage& image, const char* path, DumpKind kind) {
  const Bytes* bytes = image.file(path);
  return bytes ? std::optional(inspectDump(*bytes, kind)) : std::nullopt;
}

}  // namespace

ReportSubject::ReportSubject(std::string subjectName, UnitImage subjectImage)
    : name(std::move(subjectName)),
      image(std::move(subjectImage)),
      diagnosticData(inspected(image, kDiagnosticDataFile, DumpKind::kDiagnosticData)),
      configuration(inspected(image, kConfigurationFile, DumpKind::kConfiguration)) {}

UnitVerdict verdictOn(const ReportSubject& subject) {
  Judge judge(subject);
  judge.find(kFailedTest);
  judge.find(kMaybePoisoned);
  judge.findDamage(subject.diagnosticData, "The diagnostic data");
  judge.findDamage(subject.configuration, "The configuration area");
  judge.find(kIncompleteTest);
  for (const auto& [path, contents] : subject.image.files) {
    if (!path.ends_with(".committed")) continue;
    judge.find(Level::kOpen, "Uncommitted", path + " undoes changes at the next reboot.");
  }
  judge.find(kPassedTest);
  judge.find(kMaybeCleared);
  const bool hasPassed = judge.has(kPassedTest) || judge.has(kMaybeCleared);
  if (subject.diagnosticData) {
    judge.find(Level::kOpen, "Not tested", hasPassed ? "" : "No station has left a passed test.");
  } else if (subject.configuration && subject.configuration->findings().empty()) {
    judge.find(Level::kGood, "Sound", "The configuration area has no findings.");
  }
  return judge.take();
}

}  // namespace corvane::tools
