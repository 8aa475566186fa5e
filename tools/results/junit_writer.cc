#include "tools/results/junit_writer.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <vector>

#include "tools/command_error.h"
#include "tools/files.h"
#include "tools/html/markup.h"
#include "tools/results/summary_text.h"

namespace corvane::tools {
namespace {

std::string attribute(const char* name, std::string_view value) {
  return std::string(" ") + name + "=\"" + markupText(value) + "\"";
}

std::string secondsText(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", seconds);
  return text;
}

/// Returns the time without its fraction and zone, as JUnit has it.
std::string junitTime(const std::string& time) {
  const bool isWhole = time.size() >= 19 && time[10] == 'T' && time[16] == ':';
  return isWhole ? time.substr(0, 19) : "1970-01-01T00:00:00";
}

std::string property(const std::string& name, std::string_view value) {
  return "<property" + attribute("name", name) + attribute("value", value) + "/>";
}

std::string propertiesOf(const Run& run, uint32_t phase, const Names& names) {
  std::string properties;
  for (const Measurement& measurement : run.measurements) {
    if (measurement.phase != phase || measurement.isRepeated) continue;
    properties += property(names.text(measurement.name), valueText(measurement, names));
  }
  return properties.empty() ? "" : "<properties>" + properties + "</properties>";
}

/// Returns what tells the run from all others. Servers that show reports take cases of the same
/// class and name for the same case.
std::string nameOfRun(const Run& run, const Names& names) {
  return names.text(run.station) + "." + (run.unit.empty() ? "unidentified" : run.unit) + "." +
         run.id;
}

/// Returns the case of a phase. A phase that comes again has its number after its name.
std::string testCase(const Run& run, const PhaseResult& phase, int number,
                     const std::string& properties, const Names& names) {
  std::string name = names.text(phase.name);
  if (number > 1) name += " (" + std::to_string(number) + ")";
  std::string xml = "<testcase" + attribute("name", name) +
                    attribute("classname", nameOfRun(run, names)) +
                    attribute("time", secondsText(phase.seconds)) + ">" + properties;
  if (phase.verdict == Verdict::kFailed) {
    xml += "<failure" + attribute("message", phase.reason) + "/>";
  } else if (phase.verdict != Verdict::kPassed) {
    xml += "<error" + attribute("message", nameOf(phase.verdict)) + "/>";
  }
  return xml + "</testcase>\n";
}

/// Returns whether the run needs a case of its own: one that neither passed nor failed, and one
/// that failed without a failed phase, as a run can outside its phases.
bool hasOwnCase(const Run& run) {
  if (run.verdict != Verdict::kFailed) return run.verdict != Verdict::kPassed;
  return std::ranges::find(run.phases, Verdict::kFailed, &PhaseResult::verdict) == run.phases.end();
}

}  // namespace

void requireWritable(const std::string& path) {
  std::error_code error;
  // A pipe or a device is opened once only.
  if (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error))
    return;
  const FileReplacement probe(path);
}

JunitWriter::JunitWriter(const std::string& path) : _path(path), _spool(std::tmpfile()) {
  requireWritable(path);
  write("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n");
}

void JunitWriter::write(std::string_view text) {
  if (!_spool || std::fwrite(text.data(), 1, text.size(), _spool.get()) != text.size()) {
    throw CommandError(kFailed, std::string("a temporary file: ") + std::strerror(errno));
  }
}

void JunitWriter::add(const Run& run, const Names& names) {
  const bool isFailed = run.verdict == Verdict::kFailed;
  size_t failures = hasOwnCase(run) && isFailed;
  size_t errors = hasOwnCase(run) && !isFailed;
  for (const PhaseResult& phase : run.phases) {
    failures += phase.verdict == Verdict::kFailed;
    errors += phase.verdict != Verdict::kFailed && phase.verdict != Verdict::kPassed;
  }
  const std::string& host = names.text(run.field(RunField::kHost));
  std::string xml =
      "<testsuite" + attribute("name", nameOfRun(run, names)) +
      attribute("timestamp", junitTime(run.timeText)) +
      attribute("hostname", host.empty() ? "unknown" : host) +
      attribute("tests", std::to_string(run.phases.size() + hasOwnCase(run))) +
      attribute("failures", std::to_string(failures)) +
      attribute("errors", std::to_string(errors)) + attribute("time", secondsText(run.seconds)) +
      ">\n<properties>" + property("run", run.id) + property("station", names.text(run.station)) +
      property("unit", run.unit) + property("verdict", nameOf(run.verdict)) + "</properties>\n";
  std::map<uint32_t, int> numbers;
  for (const PhaseResult& phase : run.phases) {
    // The measurements of phases of one name stand with the first of them.
    const int number = ++numbers[phase.name];
    xml += testCase(run, phase, number, number == 1 ? propertiesOf(run, phase.name, names) : "",
                    names);
  }
  if (hasOwnCase(run)) {
    xml += "<testcase" + attribute("name", nameOf(run.verdict)) +
           attribute("classname", nameOfRun(run, names)) + attribute("time", "0.000") +
           (isFailed ? "><failure" : "><error") + attribute("message", run.reason) +
           "/></testcase>\n";
  }
  write(xml + "</testsuite>\n");
}

void JunitWriter::finish() {
  write("</testsuites>\n");
  FileReplacement file(_path);
  std::rewind(_spool.get());
  std::vector<char> chunk(size_t{64} << 10);
  while (const size_t count = std::fread(chunk.data(), 1, chunk.size(), _spool.get())) {
    file.write(std::string_view(chunk.data(), count));
  }
  if (std::ferror(_spool.get())) {
    throw CommandError(kFailed, std::string("a temporary file: ") + std::strerror(errno));
  }
  file.finish();
}

}  // namespace corvane::tools
