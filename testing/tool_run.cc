#include "testing/tool_run.h"

#include <sys/wait.h>

#include <cstdlib>

namespace corvane::testing {

std::string shellWord(const std::filesystem::path& path) {
  std::string word = "'";
  for (const char character : path.string()) {
    word += character == '\'' ? std::string("'\\''") : std::string(1, character);
  }
  return word + "'";
}

std::string ToolTest::commandLine(const std::string& arguments, const std::string& faults) const {
  return "CORVANE_DEVICE=" + shellWord(unit()) + " CORVANE_FAULTS=" + shellWord(faults) + " " +
         shellWord(CORVANE_TOOL) + " " + arguments;
}

Outcome ToolTest::run(const std::string& arguments, const std::string& faults) const {
  const std::filesystem::path output = path("output"), errors = path("errors");
  const int status = std::system(
      (commandLine(arguments, faults) + " >" + shellWord(output) + " 2>" + shellWord(errors))
          .c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readText(output), readText(errors)};
}

}  // namespace corvane::testing
