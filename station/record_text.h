#ifndef CORVANE_STATION_RECORD_TEXT_H_
#define CORVANE_STATION_RECORD_TEXT_H_

#include <cstddef>
#include <ctime>
#include <string>
#include <string_view>

namespace corvane::station {

/// The bytes of text that a record holds: its message field without the terminating zero.
inline constexpr size_t kRecordTextRoom = sizeof(time_t) + 5;

/// Returns `text` as a record can hold it: as many whole characters as fit into `kRecordTextRoom`
/// bytes of UTF-8. Control characters and bytes that are not UTF-8 become "?".
std::string textForRecord(std::string_view text);

}  // namespace corvane::station

#endif  // CORVANE_STATION_RECORD_TEXT_H_
