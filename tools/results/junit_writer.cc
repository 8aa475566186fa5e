#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <vector>

#include "platform/time_text.h"
#include "tools/command_error.h"
#include "tools/files.h"
#include "tools/html/html.h"
#include "tools/results/results_output.h"

namespace corvane::tools {
namespace {

std::string attribute(const char* name, std::string_view value) {
  return std::string(" ") + name + "=\"" + markupText(value) + "\"";
}

std::string propertiesOf(const Run& run, uint32_t phase, const Names& names) {
  std::string properties;
  for (const Measurement& measurement : run.measurements) {
    if (measurement.phase != phase || measurement.isRepeated) continue;
    properties += "<property" + attribute("name", names.text(measurement.name)) +
                  attribute("value", valueText(measurement, names)) + "/>";
  }
  return properties.empty() ? "" : "<properties>" + properties + "</properties>";
}

/// Returns a name that no other run has. Servers that show reports take cases of the same class and
/// name for the same case.
std::string nameOfRun(const Run& run, const Names& names) {
  return names.text(run.station) + "." + (run.unit.empty() ? "unidentified" : run.unit) + "." +
         run.id;
}

struct Case {
  std::string name;
  Verdict verdict;
  double seconds;
  std::string_view message;
  std::string properties = {};
};

/// Returns a case for each phase; those that come again have their numbers after their names. A run
/// that neither passed nor failed, or failed outside its phases, has one more.
std::vector<Case> casesOf(const Run& run, const Names& names) {
  std::vector<Case> cases;
  std::map<uint32_t, int> numbers;
  bool isTold = run.verdict == Verdict::kPassed;
  for (const PhaseResult& phase : run.phases) {
    const bool isFailed = phase.verdict == Verdict::kFailed;
    isTold |= isFailed && run.verdict == Verdict::kFailed;
    const int number = ++numbers[phase.name];
    cases.push_back({names.text(phase.name), phase.verdict, phase.seconds,
                     isFailed ? phase.reason : nameOf(phase.verdict)});
    // The measurements of phases of one name stand with the first of them.
    if (number == 1) cases.back().properties = propertiesOf(run, phase.name, names);
    if (number > 1) cases.back().name += " (" + std::to_string(number) + ")";
  }
  if (!isTold) cases.push_back({std::string(nameOf(run.verdict)), run.verdict, 0, run.reason});
  return cases;
}

}  // namespace

JunitWriter::JunitWriter(const std::string& path) : _path(path), _spool(std::tmpfile()) {
  write("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n");
}

void JunitWriter::write(std::string_view text) {
  if (!_spool || std::fwrite(text.data(), 1, text.size(), _spool.get()) != text.size()) {
    throw CommandError(kFailed, std::string("a temporary file: ") + std::strerror(errno));
  }
}

void JunitWriter::add(const Run& run, const Names& names) {
  const std::vector<Case> cases = casesOf(run, names);
  size_t failures = 0, errors = 0;
  std::string xml;
  for (const Case& each : cases) {
    xml += "<testcase" + attribute("name", each.name) +
           attribute("classname", nameOfRun(run, names)) +
           attribute("time", formatted("%.3f", each.seconds)) + ">" + each.properties;
    const bool isFailed = each.verdict == Verdict::kFailed;
    const bool isError = !isFailed && each.verdict != Verdict::kPassed;
    failures += isFailed;
    errors += isError;
    if (isFailed || isError) {
      xml += (isFailed ? "<failure" : "<error") + attribute("message", each.message) + "/>";
    }
    xml += "</testcase>\n";
  }
  // JUnit has neither fractions nor zones.
  const std::string time = isoTimeText(run.time / 1000).value_or("1970-01-01T00:00:00");
  const std::string& host = names.text(run.fields[0]);
  write("<testsuite" + attribute("name", nameOfRun(run, names)) +
        attribute("timestamp", time.substr(0, 19)) +
        attribute("hostname", host.empty() ? "unknown" : host) +
        attribute("tests", std::to_string(cases.size())) +
        attribute("failures", std::to_string(failures)) +
        attribute("errors", std::to_string(errors)) +
        attribute("time", formatted("%.3f", run.seconds)) + ">\n" + xml + "</testsuite>\n");
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
