#ifndef CORVANE_STATION_RUN_MARK_H_
#define CORVANE_STATION_RUN_MARK_H_

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace corvane::station {

/// What a station keeps under its run count key: how many runs there were, and which the last one
/// is. 16 bytes: "RUNS", the count in 32 bits and the run in 64, both little-endian.
struct RunMark {
  uint32_t count = 0;
  uint64_t run = 0;

  bool operator==(const RunMark&) const = default;
};

std::array<uint8_t, 16> bytesOf(const RunMark& mark);

/// Returns the mark in a value, or in one of the former form: 32 bits, then 12 bytes of 0xFF, with
/// run 0. Throws RefusedUnit, with the key's name `key`, for any other value.
RunMark runMarkIn(std::span<const uint8_t> value, std::string_view key);

}  // namespace corvane::station

#endif  // CORVANE_STATION_RUN_MARK_H_
