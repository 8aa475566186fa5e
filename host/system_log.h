#ifndef CORVANE_HOST_SYSTEM_LOG_H_
#define CORVANE_HOST_SYSTEM_LOG_H_

#include <cstddef>
#include <optional>
#include <string_view>

namespace corvane::host {

/// The largest system log that is read, in bytes.
inline constexpr size_t kMaxSystemLog = size_t{256} << 20;

/// Returns the message of a line of the system log that begins an entry, without its time and
/// process; nothing for a line that continues one.
std::optional<std::string_view> messageOfEntry(std::string_view line);

}  // namespace corvane::host

#endif  // CORVANE_HOST_SYSTEM_LOG_H_
