#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "platform/scoped_file.h"
#include "tools/command_error.h"
#include "tools/ps/process_plot.h"
#include "tools/ps/testing/xml_check.h"

using namespace corvane::tools;

/// Reads the input as lines of `corvane ps`. Checks that it is refused with a message, or that its
/// chart is well-formed XML.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // fmemopen refuses an empty text.
  const corvane::ScopedFile input(size > 0 ? ::fmemopen(const_cast<uint8_t*>(data), size, "r")
                                           : std::fopen("/dev/null", "re"));
  try {
    const std::string chart = plotSvg(input.get(), "input");
    if (const char* const error = corvane::testing::xmlError(chart)) {
      std::fprintf(stderr, "%s\n%s\n", error, chart.c_str());
      std::abort();
    }
  } catch (const CommandError&) {
    return 0;
  }
  return 0;
}
