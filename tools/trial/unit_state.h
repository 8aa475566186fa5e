#ifndef CORVANE_TOOLS_TRIAL_UNIT_STATE_H_
#define CORVANE_TOOLS_TRIAL_UNIT_STATE_H_

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "unit/keys.h"
#include "unit/records.h"

namespace corvane::tools::trial {

using unit::Bytes;
using unit::Record;

inline constexpr std::string_view kDiagnosticSet = "VelmoDiagnosticData";
inline constexpr std::string_view kConfigurationSet = "VelmoDiagnosticDataSysCfg";

/// A unit's contents as its files hold them. They are read without the platform, so no fault rule
/// applies to them, and what a restart of the unit undoes is left out.
struct UnitState {
  Bytes diagnostics, configuration, nvram, device;

  bool operator==(const UnitState&) const = default;

  uint8_t byte(size_t offset) const { return diagnostics.at(offset); }
  std::vector<Record> records() const { return unit::recordsIn(diagnostics).records; }
};

/// Reads the unit in `folder`. Throws CommandError when it cannot be read.
UnitState readUnit(const std::filesystem::path& folder);
/// Atomically replaces each of the unit's files whose contents differ from those in `before`.
void writeUnit(const std::filesystem::path& folder, const UnitState& before,
               const UnitState& state);

/// Appends a record of `station` to the chain as the library does.
void appendRecord(UnitState& state, uint8_t station, int result);
/// Returns whether the key was added or replaced; false when there is no room for it.
bool setKey(UnitState& state, uint32_t key, const Bytes& value);
void deleteKey(UnitState& state, uint32_t key);

/// Returns the offsets at which the sets of bytes differ.
std::set<size_t> differences(const Bytes& left, const Bytes& right);
/// Returns the keys whose value only one of the units has, as the library reads them.
std::set<uint32_t> keyDifferences(const UnitState& left, const UnitState& right);
/// Returns the words of the property lists that only one of them has.
std::set<std::string> wordDifferences(const Bytes& left, const Bytes& right);

}  // namespace corvane::tools::trial

#endif  // CORVANE_TOOLS_TRIAL_UNIT_STATE_H_
