#ifndef CORVANE_BENCH_BARE_H_
#define CORVANE_BENCH_BARE_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// What the bare sides are made of: the system's calls and nothing else. Paths are ready-made, so
/// that putting them together is not part of the cost. Each returns false when a call fails.
namespace corvane::bench {

/// mkdir of `folder`, which may exist; then fopen to append to `file`, fwrite, fflush, fclose.
bool appendLine(const std::string& folder, const std::string& file, std::string_view line);

/// open, read, close. Fails also when the file holds less than fills `destination`.
bool readFile(const std::string& file, std::span<uint8_t> destination);

/// open, write, fsync, close of `temporary`; rename to `file`; open, fsync, close of `folder`.
bool replaceFile(const std::string& folder, const std::string& temporary, const std::string& file,
                 std::span<const uint8_t> contents);

}  // namespace corvane::bench

#endif  // CORVANE_BENCH_BARE_H_
