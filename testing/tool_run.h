#ifndef CORVANE_TESTING_TOOL_RUN_H_
#define CORVANE_TESTING_TOOL_RUN_H_

#include <string>

#include "testing/unit_test.h"

namespace corvane::testing {

/// What a program left when it ended.
struct Outcome {
  int exitStatus;
  std::string output;
  std::string errors;
};

/// The path as one word of a shell's command line.
std::string shellWord(const std::filesystem::path& path);

/// The tool, run as a user runs it from a shell, on a unit of the test's own that does not exist at
/// first.
class ToolTest : public ::testing::Test {
 protected:
  std::filesystem::path unit() const { return path("unit"); }
  /// A file of the test's own beside the unit.
  std::filesystem::path path(const std::string& name) const { return _folder.path() / name; }

  /// The shell's command line that runs the tool under these fault rules.
  std::string commandLine(const std::string& arguments, const std::string& faults = "") const;
  Outcome run(const std::string& arguments, const std::string& faults = "") const;

 private:
  TemporaryFolder _folder;
};

}  // namespace corvane::testing

#endif  // CORVANE_TESTING_TOOL_RUN_H_
