#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "tools/command_error.h"
#include "tools/ps/process_plot.h"
#include "tools/ps/process_recording.h"
#include "tools/ps/testing/xml_check.h"

using namespace corvane::tools;

/// Reads the input as a recording. Checks that it is refused with a message, or that its chart is
/// well-formed XML.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::istringstream input(std::string(reinterpret_cast<const char*>(data), size));
  try {
    const std::string chart = plotSvg(readRecording(input, "input"), 8);
    if (const char* const error = corvane::testing::xmlError(chart)) {
      std::fprintf(stderr, "%s\n%s\n", error, chart.c_str());
      std::abort();
    }
  } catch (const CommandError&) {
    return 0;
  }
  return 0;
}
