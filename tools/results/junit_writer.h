#ifndef CORVANE_TOOLS_RESULTS_JUNIT_WRITER_H_
#define CORVANE_TOOLS_RESULTS_JUNIT_WRITER_H_

#include <string>
#include <string_view>

#include "platform/scoped_file.h"
#include "tools/results/run.h"

namespace corvane::tools {

/// Writes runs as a JUnit report: one suite for each run, one case for each phase, with its
/// measurements as properties. A run that neither passed nor failed, or that failed without a
/// failed phase, has one more case. The finished report replaces the file. Throws CommandError.
class JunitWriter {
 public:
  explicit JunitWriter(const std::string& path);

  void add(const Run& run, const Names& names);
  void finish();

 private:
  void write(std::string_view text);

  std::string _path;
  ScopedFile
      _spool;  ///< The report so far; it has no name, so nothing is left when a run is killed.
};

/// Throws CommandError when the file cannot be written.
void requireWritable(const std::string& path);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_JUNIT_WRITER_H_
