#include <array>
#include <filesystem>

#include "bench/bare.h"
#include "bench/pairs.h"
#include "bench/unit.h"
#include "dataarea/bits.h"

namespace corvane::bench {
namespace {

using Contents = std::array<uint8_t, 1024>;

CFStringRef set() { return CFSTR("VelmoDiagnosticData"); }

/// The data set's file in the twin, and what its replacement needs.
struct BareSet {
  const std::string folder = (twin().folder() / "data").string();
  const std::string file = folder + "/VelmoDiagnosticData.bin";
  const std::string temporary = folder + "/.VelmoDiagnosticData.bin.new";
};

/// Returns whether the file has as many bytes as the buffer: reading less or more than the file
/// would not be a baseline.
bool hasExpectedSize(const BareSet& bare) {
  std::error_code error;
  return std::filesystem::file_size(bare.file, error) == Contents().size();
}

void readByte(benchmark::State& state) {
  unit();
  for (auto _ : state) {
    uint8_t byte = 0;
    if (readBits(18, 1, &byte, set()) != 0) return state.SkipWithError("readBits");
    benchmark::DoNotOptimize(byte);
  }
}

void readBareByte(benchmark::State& state) {
  const BareSet bare;
  if (!hasExpectedSize(bare)) return state.SkipWithError("the set has another size");
  Contents contents;
  for (auto _ : state) {
    if (!readFile(bare.file, contents)) return state.SkipWithError("bare read");
    uint8_t byte = contents[18];
    benchmark::DoNotOptimize(byte);
  }
}

void writeByte(benchmark::State& state) {
  unit();
  uint8_t byte = 0;
  for (auto _ : state) {
    ++byte;
    if (writeBits(20, 1, &byte, 1, set()) != 0) return state.SkipWithError("writeBits");
  }
  if (state.iterations() > 0 && unit().dataSet("VelmoDiagnosticData")[20] != byte) {
    state.SkipWithError("the byte is not in the set");
  }
}

/// Writes a byte of a file that is only ever replaced as a whole: reads the file, changes the byte,
/// replaces the file durably and reads it back.
void writeBareByte(benchmark::State& state) {
  const BareSet bare;
  if (!hasExpectedSize(bare)) return state.SkipWithError("the set has another size");
  Contents contents;
  uint8_t byte = 0;
  for (auto _ : state) {
    ++byte;
    if (!readFile(bare.file, contents)) return state.SkipWithError("bare read");
    contents[20] = byte;
    if (!replaceFile(bare.folder, bare.temporary, bare.file, contents)) {
      return state.SkipWithError("bare write");
    }
    if (!readFile(bare.file, contents) || contents[20] != byte) {
      return state.SkipWithError("bare read-back");
    }
  }
}

const bool gBytePairsAdded = addPair({"one-byte-read", 1.3, readByte, readBareByte}) &&
                             addPair({"one-byte-committed-write", 1.1, writeByte, writeBareByte});

}  // namespace
}  // namespace corvane::bench
