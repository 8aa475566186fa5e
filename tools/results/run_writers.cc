#include "tools/results/run_writers.h"

#include <algorithm>
#include <cstdio>

#include "platform/printable.h"
#include "platform/time_text.h"
#include "tools/html/markup.h"
#include "tools/results/run_filter.h"

namespace corvane::tools {
namespace {

std::string exactNumber(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

std::string exactNumber(std::optional<double> value) { return value ? exactNumber(*value) : ""; }

std::string attribute(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + markupText(value) + "\"";
}

std::string secondsText(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", seconds);
  return text;
}

/// Returns the time without its fraction and zone, as JUnit has it.
std::string junitTime(const std::string& time) {
  const bool isWhole = time.size() >= 19 && time[10] == 'T' && time[16] == ':' && parseTime(time);
  return isWhole ? time.substr(0, 19) : "1970-01-01T00:00:00";
}

std::string property(const std::string& name, const std::string& value) {
  return "<property" + attribute("name", name) + attribute("value", value) + "/>";
}

std::string propertiesOf(const Run& run, uint32_t phase, const Names& names) {
  std::string properties;
  for (const Measurement& measurement : run.measurements) {
    if (measurement.phase != phase) continue;
    const std::string& unit = names.text(measurement.unitOfMeasure);
    std::string value = measurement.value ? exactNumber(*measurement.value) : "nan";
    if (!unit.empty()) value.append(" ").append(unit);
    properties += property(names.text(measurement.name), value);
  }
  return properties.empty() ? "" : "<properties>" + properties + "</properties>";
}

std::string testCase(const Run& run, const PhaseResult& phase, const std::string& properties,
                     const Names& names) {
  std::string xml = "<testcase" + attribute("name", names.text(phase.name)) +
                    attribute("classname", names.text(run.station)) +
                    attribute("time", secondsText(phase.seconds)) + ">" + properties;
  if (phase.verdict == RunVerdict::kFailed) {
    xml += "<failure" + attribute("message", phase.reason) + "/>";
  } else if (phase.verdict != RunVerdict::kPassed) {
    xml += "<error" + attribute("message", nameOf(phase.verdict)) + "/>";
  }
  return xml + "</testcase>\n";
}

/// Returns whether the run needs a case of its own: one that neither passed nor failed, and one
/// that failed without a failed phase, as a run can outside its phases.
bool hasOwnCase(const Run& run) {
  if (run.verdict != RunVerdict::kFailed) return run.verdict != RunVerdict::kPassed;
  return std::ranges::find(run.phases, RunVerdict::kFailed, &PhaseResult::verdict) ==
         run.phases.end();
}

}  // namespace

JunitWriter::JunitWriter(const std::string& path) : _file(path) {
  _file.write("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n");
}

void JunitWriter::add(const Run& run, const Names& names) {
  const bool isFailed = run.verdict == RunVerdict::kFailed;
  size_t failures = hasOwnCase(run) && isFailed;
  size_t errors = hasOwnCase(run) && !isFailed;
  for (const PhaseResult& phase : run.phases) {
    failures += phase.verdict == RunVerdict::kFailed;
    errors += phase.verdict != RunVerdict::kFailed && phase.verdict != RunVerdict::kPassed;
  }
  std::string xml =
      "<testsuite" + attribute("name", names.text(run.station)) +
      attribute("timestamp", junitTime(run.timeText)) + attribute("hostname", "station") +
      attribute("tests", std::to_string(run.phases.size() + hasOwnCase(run))) +
      attribute("failures", std::to_string(failures)) +
      attribute("errors", std::to_string(errors)) + attribute("time", secondsText(run.seconds)) +
      ">\n<properties>" + property("run", run.id) + property("unit", run.unit) +
      property("verdict", nameOf(run.verdict)) + "</properties>\n";
  for (size_t i = 0; i < run.phases.size(); ++i) {
    const PhaseResult& phase = run.phases[i];
    // The measurements of phases of one name stand with the first of them.
    bool isFirst = true;
    for (size_t before = 0; before < i; ++before) isFirst &= run.phases[before].name != phase.name;
    xml += testCase(run, phase, isFirst ? propertiesOf(run, phase.name, names) : "", names);
  }
  if (hasOwnCase(run)) {
    xml += "<testcase" + attribute("name", nameOf(run.verdict)) +
           attribute("classname", names.text(run.station)) + attribute("time", "0.000") +
           (isFailed ? "><failure" : "><error") + attribute("message", run.reason) +
           "/></testcase>\n";
  }
  _file.write(xml + "</testsuite>\n");
}

void JunitWriter::finish() {
  _file.write("</testsuites>\n");
  _file.finish();
}

namespace {

/// Returns a cell that is safe for a terminal, in quotes where a reader would take it apart.
std::string csvCell(const std::string& given) {
  std::string text = printable(given);
  if (text.find_first_of(",\"") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char character : text) quoted += character == '"' ? "\"\"" : std::string(1, character);
  return quoted + "\"";
}

}  // namespace

CsvWriter::CsvWriter(std::ostream& out) : _out(out) {
  _out << "time,run,station,unit,count,verdict,phase,name,value,unitOfMeasure,lower,upper,inside\n";
}

void CsvWriter::add(const Run& run, const Names& names) {
  const std::string front = csvCell(run.timeText) + "," + csvCell(run.id) + "," +
                            csvCell(names.text(run.station)) + "," + csvCell(run.unit) + "," +
                            (run.count == 0 ? "" : std::to_string(run.count)) + "," +
                            nameOf(run.verdict) + ",";
  if (run.measurements.empty()) _out << front << ",,,,,,\n";
  for (const Measurement& measurement : run.measurements) {
    _out << front << csvCell(names.text(measurement.phase)) << ","
         << csvCell(names.text(measurement.name)) << "," << exactNumber(measurement.value) << ","
         << csvCell(names.text(measurement.unitOfMeasure)) << "," << exactNumber(measurement.lower)
         << "," << exactNumber(measurement.upper) << ","
         << (measurement.isInside ? "true" : "false") << "\n";
  }
}

}  // namespace corvane::tools
