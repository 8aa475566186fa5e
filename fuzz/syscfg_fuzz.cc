#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "fuzz/store_script.h"
#include "syscfg/area_format.h"

using corvane::testing::Bytes;
using corvane::testing::StoreScript;
namespace area = corvane::area;

/// Runs a script over a configuration area. The input has the area's size, whether it gets a header
/// that passes the checks, its first bytes (the rest is erased flash), and then the script.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  const auto areaSize = input.ConsumeIntegralInRange<size_t>(0, 1024);
  const bool isHeaderGiven = input.ConsumeBool();
  const auto known = input.ConsumeIntegralInRange<size_t>(0, areaSize);
  Bytes contents = input.ConsumeBytes<uint8_t>(known);
  contents.resize(areaSize, area::kFreeByte);
  if (isHeaderGiven && areaSize >= area::kHeaderSize) {
    auto header = area::load<area::Header>(contents.data());
    header.magic = area::kMagic;
    header.reserved = 0;
    header.area_size %= static_cast<uint32_t>(areaSize + 1);
    header.table_end %= header.area_size + 1;
    area::store(contents.data(), header);
  }
  if (const char* wrong = StoreScript(contents).run(input.ConsumeRemainingBytes<uint8_t>())) {
    std::fprintf(stderr, "%s\n", wrong);
    std::abort();
  }
  return 0;
}
