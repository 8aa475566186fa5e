#include "arithmetic.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace load {
namespace {

constexpr int kSteps = 100000;

// What the chains below come to after kSteps; any IEEE 754 machine agrees. No product is added to
// anything, which a compiler might do in one step with another rounding. Every step goes into the
// result, so that a slip anywhere shows.
constexpr uint64_t kIntegerResult = 0xDEAF6465DC02951C;
constexpr uint64_t kFloatResult = 0x4D12F576E7221511;
constexpr uint64_t kVectorResult = 0xA874CFF995A406C5;

typedef double Doubles __attribute__((vector_size(32)));
typedef uint64_t Integers __attribute__((vector_size(32)));

std::string compared(const char* unit, uint64_t result, uint64_t expected) {
  if (result == expected) return {};
  char text[96];
  std::snprintf(text, sizeof text, "%s gave %016llx instead of %016llx", unit,
                static_cast<unsigned long long>(result), static_cast<unsigned long long>(expected));
  return text;
}

uint64_t integerChain(uint64_t state) {
  for (int i = 0; i < kSteps; ++i) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
  }
  return state;
}

uint64_t floatChain(double value) {
  uint64_t result = 0;
  for (int i = 0; i < kSteps; ++i) {
    value = std::sqrt(value * 1.7);
    value = (value + 0.3) / 1.1;
    if (i % 64 == 0) value = value * 1021.25;
    result = std::rotl(result, 1) ^ std::bit_cast<uint64_t>(value);
  }
  return result;
}

uint64_t vectorChain(double seed) {
  Doubles values = {seed, seed * 3, seed * 5, seed * 7};
  const Doubles addends = {0.3, 0.5, 0.7, 0.9};
  Integers results = {};
  for (int i = 0; i < kSteps; ++i) {
    values = values * 1.7 / 1.9;
    values = (values + addends) / 1.1;
    if (i % 64 == 0) values = values * 1021.25;
    results = (results << 1 | results >> 63) ^ reinterpret_cast<Integers>(values);
  }
  uint64_t result = 0;
  for (int lane = 0; lane < 4; ++lane) result = std::rotl(result, 16) ^ results[lane];
  return result;
}

}  // namespace

std::string arithmeticRound() {
  // Volatile, so that nothing is computed before the program runs.
  volatile uint64_t integerSeed = 0x9E3779B97F4A7C15;
  volatile double floatSeed = 1.5;
  std::string fault = compared("integer unit", integerChain(integerSeed), kIntegerResult);
  if (fault.empty()) fault = compared("floating point", floatChain(floatSeed), kFloatResult);
  if (fault.empty()) fault = compared("vector unit", vectorChain(floatSeed), kVectorResult);
  return fault;
}

}  // namespace load
