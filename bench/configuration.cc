#include <array>
#include <cstring>

#include "bench/bare.h"
#include "bench/pairs.h"
#include "bench/unit.h"
#include "controlbits/control_bits.h"
#include "dataarea/nor_access.h"
#include "syscfg/syscfg.h"

namespace corvane::bench {
namespace {

using Area = std::array<uint8_t, kConfigurationAreaSize>;

constexpr uint32_t kFirstKey = 0x4B000000;
constexpr uint32_t kKeys = 408;
constexpr uint32_t kKey = 0x42454E43;  // "BENC"

size_t areaSize(const nor_access_table*) { return Area().size(); }
void readErased(const nor_access_table*, void* destination) {
  std::memset(destination, 0xFF, Area().size());
}
void writeNowhere(const nor_access_table*, const void*) {}

void findLastKey(benchmark::State& state) {
  const nor_access_table memory = {areaSize, readErased, writeNowhere, nullptr};
  syscfg_handle* const store = syscfg__init(&memory);
  for (uint32_t i = 0; i < kKeys; ++i) syscfg__add_key(store, kFirstKey + i, "abcd", 4);
  size_t length = 0;
  for (auto _ : state) {
    if (syscfg__read_key(store, kFirstKey + kKeys - 1, nullptr, &length) != 0) {
      state.SkipWithError("the last key is not there");
      break;
    }
    benchmark::DoNotOptimize(length);
  }
  syscfg__deinit(store, 0);
}

void copyArea(benchmark::State& state) {
  Area source{}, destination;
  for (auto _ : state) {
    benchmark::DoNotOptimize(source.data());
    std::memcpy(destination.data(), source.data(), source.size());
    benchmark::DoNotOptimize(destination.data());
    benchmark::ClobberMemory();
  }
}

void writeConfiguration(benchmark::State& state) {
  unit();
  std::array<uint8_t, 16> value{};
  for (auto _ : state) {
    ++value[0];
    if (ControlBits::writeSystemConfig(value.data(), 16, kKey) != 16) {
      return state.SkipWithError("writeSystemConfig");
    }
  }
  std::array<uint8_t, 16> stored{};
  if (ControlBits::readSystemConfig(stored.data(), kKey) != 16 || stored != value) {
    state.SkipWithError("the value is not in the store");
  }
}

/// Reads the area, then replaces it durably twice, each time with a read before and a read-back
/// after.
void writeBareConfiguration(benchmark::State& state) {
  const std::string folder = (twin().folder() / "data").string();
  const std::string file = folder + "/VelmoDiagnosticDataSysCfg.bin";
  const std::string temporary = folder + "/.VelmoDiagnosticDataSysCfg.bin.new";
  Area area, old;
  for (auto _ : state) {
    if (!readFile(file, area)) return state.SkipWithError("bare read");
    ++area[100];
    for (int times = 0; times < 2; ++times) {
      if (!readFile(file, old) || !replaceFile(folder, temporary, file, area) ||
          !readFile(file, old) || old != area) {
        return state.SkipWithError("bare write");
      }
    }
  }
}

const bool gConfigurationPairsAdded =
    addPair({"last-of-408-keys", 4.0, findLastKey, copyArea}) &&
    addPair({"configuration-write", 1.1, writeConfiguration, writeBareConfiguration});

}  // namespace
}  // namespace corvane::bench
