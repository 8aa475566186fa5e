#include "tools/report/verdict.h"

#include "controlbits/control_bit_byte.h"
#include "controlbits/poison_byte.h"
#include "unit/byte_text.h"

namespace corvane::tools {
namespace {

/// Returns "offset 20" or "offsets 20, 24".
std::string offsetsText(const std::vector<std::string>& offsets) {
  std::string text = offsets.size() == 1 ? "offset " : "offsets ";
  for (size_t i = 0; i < offsets.size(); ++i) text += (i == 0 ? "" : ", ") + offsets[i];
  return text;
}

/// The offsets of control-bit bytes by what they say.
struct StatusOffsets {
  std::vector<std::string> maybePoisoned, failed, incomplete, passed, maybeCleared;

  explicit StatusOffsets(const DiagnosticReport& report) {
    for (const auto& [offset, byte] : report.controlBits) {
      const std::string place = std::to_string(offset);
      if (offset == kLogCollectionOffset) continue;
      switch (testStatusOf(byte)) {
        case kCorvaneControlBitsFailed:
          if (unit::mayBePoison(offset, byte)) {
            maybePoisoned.push_back(place);
          } else {
            failed.push_back(place + " (fail count " + std::to_string(failCountOf(byte)) + ")");
          }
          break;
        case kCorvaneControlBitsIncompleteTest:
          incomplete.push_back(place);
          break;
        case kCorvaneCotnrolBitsPassed:
          // A poison byte that was cleared is the same byte as a test that never failed.
          (byte == poisonByte(static_cast<uint8_t>(offset), false) && unit::useOf(offset).empty()
               ? maybeCleared
               : passed)
              .push_back(place);
          break;
        default:
          break;
      }
    }
  }
};

class Judge {
 public:
  UnitVerdict take() { return std::move(_verdict); }

  /// Adds a detail. The first headline is the gravest one and stays.
  void find(UnitVerdict::Level level, const std::string& headline, const std::string& detail) {
    if (_verdict.headline.empty()) {
      _verdict.level = level;
      _verdict.headline = headline;
    }
    _verdict.details.push_back(detail);
  }

  void findDamage(const std::optional<Dump>& dump, const std::string& what) {
    if (!dump || dump->findings.empty()) return;
    const size_t count = dump->findings.size();
    find(
        UnitVerdict::Level::kBad, "Damaged",
        what + " has " + std::to_string(count) + (count == 1 ? " finding." : " findings.") +
            (dump->area && !dump->area->isHeaderSound ? " A unit treats the area as an empty store."
                                                      : ""));
  }

 private:
  UnitVerdict _verdict;
};

}  // namespace

ReportSubject::ReportSubject(std::string subjectName, UnitImage subjectImage)
    : name(std::move(subjectName)), image(std::move(subjectImage)) {
  if (const auto* bytes = image.file(kDiagnosticDataFile)) {
    diagnosticData = inspectDump(*bytes, {.kind = DumpKind::kDiagnosticData, .timeBits = {}});
  }
  if (const auto* bytes = image.file(kConfigurationFile)) {
    configuration = inspectDump(*bytes, {.kind = DumpKind::kConfiguration, .timeBits = {}});
  }
}

UnitVerdict verdictOn(const ReportSubject& subject) {
  using enum UnitVerdict::Level;
  Judge judge;
  const StatusOffsets bytes(subject.diagnosticData ? *subject.diagnosticData->diagnosticData
                                                   : DiagnosticReport());
  if (!bytes.failed.empty()) {
    judge.find(kBad, "Failed", "A test failed at " + offsetsText(bytes.failed) + ".");
  }
  if (!bytes.maybePoisoned.empty()) {
    judge.find(
        kBad, "Failed, or poisoned",
        "A test failed, or a poison byte is set, at " + offsetsText(bytes.maybePoisoned) + ".");
  }
  judge.findDamage(subject.diagnosticData, "The diagnostic data");
  judge.findDamage(subject.configuration, "The configuration area");
  if (!bytes.incomplete.empty()) {
    judge.find(kOpen, "Incomplete",
               "A test is incomplete at " + offsetsText(bytes.incomplete) + ".");
  }
  for (const auto& [path, contents] : subject.image.files) {
    if (!path.ends_with(".committed")) continue;
    judge.find(kOpen, "Uncommitted", path + " undoes changes at the next reboot.");
  }
  if (!bytes.passed.empty()) {
    judge.find(kGood, "Passed", "Tests passed at " + offsetsText(bytes.passed) + ".");
  }
  if (!bytes.maybeCleared.empty()) {
    judge.find(kGood, "Passed",
               "Tests passed, or poison was cleared, at " + offsetsText(bytes.maybeCleared) + ".");
  }
  if (subject.diagnosticData) {
    judge.find(kOpen, "Not tested",
               bytes.passed.empty() && bytes.maybeCleared.empty()
                   ? "No station has left a passed test."
                   : "");
  } else if (subject.configuration && subject.configuration->findings.empty()) {
    judge.find(kGood, "Sound", "The configuration area has no findings.");
  }
  UnitVerdict verdict = judge.take();
  std::erase(verdict.details, "");
  return verdict;
}

}  // namespace corvane::tools
