#ifndef CORVANE_BENCH_BARE_H_
#define CORVANE_BENCH_BARE_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// The operations of the bare sides, which make system calls and do nothing else. Paths are
/// ready-made, so that building them is not part of the cost. Each returns false when a call fails.
namespace corvane::bench {

/// Calls mkdir for `folder`, which may exist; then fopen to append to `file`, fwrite, fflush,
/// fclose.
bool appendLine(const std::string& folder, const std::string& file, std::string_view line);

/// Calls open, read, close. Also fails when the file holds fewer bytes than `destination` takes.
bool readFile(const std::string& file, std::span<uint8_t> destination);

/// Calls open, write, fsync, close for `temporary`; rename to `file`; open, fsync, close for
/// `folder`.
bool replaceFile(const std::string& folder, const std::string& temporary, const std::string& file,
                 std::span<const uint8_t> contents);

}  // namespace corvane::bench

#endif  // CORVANE_BENCH_BARE_H_
