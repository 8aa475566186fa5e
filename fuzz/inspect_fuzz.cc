#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "tools/inspect/inspect.h"

/// Inspects the input as a dump. Checks that each finding lies inside the dump or in the part that
/// is missing from it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const corvane::tools::Dump dump = corvane::tools::inspectDump({data, size});
  for (const corvane::tools::Finding& finding : dump.findings) {
    if (finding.offset + finding.length <= size || finding.reason.starts_with("missing")) continue;
    std::fprintf(stderr, "%s: %zu bytes at %zu\n", finding.reason.c_str(), finding.length,
                 finding.offset);
    std::abort();
  }
  return 0;
}
