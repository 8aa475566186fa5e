#ifndef CORVANE_TESTING_TOOL_RUN_H_
#define CORVANE_TESTING_TOOL_RUN_H_

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "log/log.h"
#include "testing/unit_test.h"

namespace corvane::testing {

/// What a program left when it ended.
struct Outcome {
  int exitStatus;
  std::string output;
  std::string errors;
};

/// A run of the tool and what it leaves. Its errors contain `errors`, and are empty when that is
/// empty.
struct ToolCase {
  std::string arguments;
  int exitStatus;
  std::string output;
  std::string errors = {};
};

/// Returns the path as one word of a shell's command line.
std::string shellWord(const std::filesystem::path& path);

/// Checks the document's fields that are in `fields`, an object.
void expectFields(const nlohmann::json& document, const std::string& fields);

/// Runs the tool as a user runs it from a shell, on a unit of the test's own that does not exist at
/// first.
class ToolTest : public ::testing::Test {
 protected:
  std::filesystem::path unit() const { return path("unit"); }
  std::filesystem::path log() const { return unit() / ("root" + std::string(kLogFile)); }
  /// Returns the path of a file of the test's own beside the unit.
  std::filesystem::path path(const std::string& name) const { return _folder.path() / name; }

  /// Returns whether the program is not installed, so that the test is to be skipped; with CI=true
  /// that fails the test.
  bool lacks(const std::string& program) const;
  /// Runs a shell's command line.
  Outcome shell(const std::string& commandLine) const;
  /// Returns the shell's command line that runs the tool under these fault rules.
  std::string commandLine(const std::string& arguments, const std::string& faults = "") const;
  Outcome run(const std::string& arguments, const std::string& faults = "") const;
  nlohmann::json jsonOf(const std::string& arguments) const;
  void expectEach(const std::vector<ToolCase>& cases, const std::string& faults = "") const;

 private:
  TemporaryFolder _folder;
};

}  // namespace corvane::testing

#endif  // CORVANE_TESTING_TOOL_RUN_H_
