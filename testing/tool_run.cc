#include "testing/tool_run.h"

#include <sys/wait.h>

#include <cstdlib>
#include <regex>

namespace corvane::testing {

std::string shellWord(const std::filesystem::path& path) {
  return "'" + std::regex_replace(path.string(), std::regex("'"), R"('\'')") + "'";
}

void expectFields(const nlohmann::json& document, const std::string& fields) {
  nlohmann::json expected = document;
  expected.update(nlohmann::json::parse(fields), true);
  EXPECT_EQ(document, expected);
}

bool ToolTest::lacks(const std::string& program) const {
  if (shell("command -v " + program).exitStatus == 0) return false;
  if (shell("[ \"$CI\" = true ]").exitStatus == 0) ADD_FAILURE() << program << " is not installed";
  return true;
}

Outcome ToolTest::shell(const std::string& commandLine) const {
  const std::filesystem::path output = path("output"), errors = path("errors");
  const std::string all =
      "{ " + commandLine + "\n} >" + shellWord(output) + " 2>" + shellWord(errors);
  const int status = std::system(all.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readText(output), readText(errors)};
}

std::string ToolTest::commandLine(const std::string& arguments, const std::string& faults) const {
  return "CORVANE_DEVICE=" + shellWord(unit()) + " CORVANE_FAULTS=" + shellWord(faults) + " " +
         shellWord(CORVANE_TOOL) + " " + arguments;
}

Outcome ToolTest::run(const std::string& arguments, const std::string& faults) const {
  return shell(commandLine(arguments, faults));
}

nlohmann::json ToolTest::jsonOf(const std::string& arguments) const {
  return nlohmann::json::parse(run(arguments + " --json").output);
}

void ToolTest::expectEach(const std::vector<ToolCase>& cases, const std::string& faults) const {
  for (const ToolCase& c : cases) {
    const Outcome outcome = run(c.arguments, faults);
    EXPECT_EQ(outcome.exitStatus, c.exitStatus) << c.arguments << "\n" << outcome.errors;
    EXPECT_EQ(outcome.output, c.output) << c.arguments;
    EXPECT_NE(outcome.errors.find(c.errors), std::string::npos) << outcome.errors;
    EXPECT_EQ(outcome.errors.empty(), c.errors.empty()) << c.arguments << "\n" << outcome.errors;
  }
}

}  // namespace corvane::testing
