#ifndef CORVANE_UNIT_KEYS_H_
#define CORVANE_UNIT_KEYS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "../platform/export.h"
#include "lock.h"

/// The keys of the configuration area, "VelmoDiagnosticDataSysCfg".
namespace corvane::unit {

/// Bytes of the area, or of a value in it.
using Bytes = std::vector<uint8_t>;

/// Returns the key of the four characters `name`, the first in the most significant byte; fewer are
/// followed by zeros.
constexpr uint32_t keyOf(std::string_view name) {
  uint32_t key = 0;
  for (size_t i = 0; i < 4; ++i) key = key << 8 | (i < name.size() ? uint8_t(name[i]) : 0U);
  return key;
}
/// Returns the four characters of `key`, or 0x and eight digits when they cannot all be shown.
CORVANE_EXPORT std::string keyName(uint32_t key);

/// Returns the area's 8192 bytes. Throws Error (kUnreadable).
CORVANE_EXPORT Bytes readArea();

/// Returns what is wrong with the key store in `area`; empty when it is sound or the area is blank:
/// 0xFF or 0x00 throughout. A damaged store is read as the library reads it, and never changed.
CORVANE_EXPORT std::string damageOf(std::span<const uint8_t> area);

/// Returns the value of `key` in `area`; nothing when it is not present. A value that was written
/// with at most 16 bytes reads back as 16.
CORVANE_EXPORT std::optional<Bytes> valueIn(std::span<const uint8_t> area, uint32_t key);
/// Returns the text of `value`, up to its first byte that is 0 or 0xFF.
CORVANE_EXPORT std::string textOf(std::span<const uint8_t> value);

/// A key's value before and after a change; absent where there is none.
struct KeyChange {
  std::optional<Bytes> before;  ///< As it was read.
  std::optional<Bytes> after;   ///< As it was read back.
};

/// What to do with a damaged store.
enum class Damaged {
  kRefuse,  ///< Throw Error (kDamagedStore).
  kFormat,  ///< Replace all that the area holds with an empty store first.
};

/// Gives `key` the value `value` under `lock`, and returns the change. Reads the area, changes it
/// in memory, writes the whole area once when that makes a difference, and reads it back. `damaged`
/// says what becomes of a damaged store. Throws Error: kBadArgument for 0x434E5442 ("CNTB"), which
/// marks entries and is not a key; kDamagedStore and kNoRoom, with nothing written. What a failed
/// change has left is put back.
CORVANE_EXPORT KeyChange writeKey(Lock& lock, uint32_t key, std::span<const uint8_t> value,
                                  Damaged damaged = Damaged::kRefuse);

/// Removes `key` under `lock`, and returns the change. Throws Error as above, and kAbsent.
CORVANE_EXPORT KeyChange deleteKey(Lock& lock, uint32_t key);

}  // namespace corvane::unit

#endif  // CORVANE_UNIT_KEYS_H_
