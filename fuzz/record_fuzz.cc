#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "controlbits/testing/record_script.h"

using corvane::testing::Bytes;
using corvane::testing::runRecordScript;

/// Appends records to a data set and checks every step against a model. The input has the data
/// set's first bytes and how often the last of them is repeated, then the records.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  const auto dataSetSize = input.ConsumeIntegralInRange<size_t>(0, 700);
  Bytes contents = input.ConsumeBytes<uint8_t>(dataSetSize);
  contents.resize(dataSetSize, contents.empty() ? 0xFF : contents.back());
  const Bytes script = input.ConsumeRemainingBytes<uint8_t>();
  for (const auto run : {runRecordScript<int64_t>, runRecordScript<int32_t>}) {
    if (const char* wrong = run(contents, script)) {
      std::fprintf(stderr, "%s\n", wrong);
      std::abort();
    }
  }
  return 0;
}
