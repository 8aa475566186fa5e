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

/// The cases of a run.
struct Suite {
  void add(const std::string& name, Verdict verdict, double seconds, std::string_view message,
           const std::string& properties = "") {
    const bool isFailed = verdict == Verdict::kFailed;
    const bool isError = !isFailed && verdict != Verdict::kPassed;
    ++tests;
    failures += isFailed;
    errors += isError;
    xml += "<testcase" + attribute("name", name) + attribute("classname", className) +
           attribute("time", formatted("%.3f", seconds)) + ">" + properties;
    if (isFailed || isError) {
      xml += (isFailed ? "<failure" : "<error") + attribute("message", message) + "/>";
    }
    xml += "</testcase>\n";
  }

  std::string className, xml = {};
  size_t tests = 0, failures = 0, errors = 0;
};

/// Returns a case for each phase; those that come again have their numbers after their names. A run
/// that neither passed nor failed, or failed outside its phases, has one more.
Suite suiteOf(const Run& run, const Names& names) {
  Suite suite{nameOfRun(run, names)};
  std::map<uint32_t, int> numbers;
  bool isTold = run.verdict == Verdict::kPassed;
  for (const PhaseResult& phase : run.phases) {
    const bool isFailed = phase.verdict == Verdict::kFailed;
    isTold |= isFailed && run.verdict == Verdict::kFailed;
    const int number = ++numbers[phase.name];
    const std::string end = number > 1 ? " (" + std::to_string(number) + ")" : "";
    // The measurements of phases of one name stand with the first of them.
    suite.add(names.text(phase.name) + end, phase.verdict, phase.seconds,
              isFailed ? phase.reason : nameOf(phase.verdict),
              number == 1 ? propertiesOf(run, phase.name, names) : "");
  }
  if (!isTold) suite.add(std::string(nameOf(run.verdict)), run.verdict, 0, run.reason);
  return suite;
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
  const Suite suite = suiteOf(run, names);
  // JUnit has neither fractions nor zones.
  const std::string time = isoTimeText(run.time / 1000).value_or("1970-01-01T00:00:00");
  const std::string& host = names.text(run.fields[0]);
  write("<testsuite" + attribute("name", suite.className) +
        attribute("timestamp", time.substr(0, 19)) +
        attribute("hostname", host.empty() ? "unknown" : host) +
        attribute("tests", std::to_string(suite.tests)) +
        attribute("failures", std::to_string(suite.failures)) +
        attribute("errors", std::to_string(suite.errors)) +
        attribute("time", formatted("%.3f", run.seconds)) + ">\n" + suite.xml + "</testsuite>\n");
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
