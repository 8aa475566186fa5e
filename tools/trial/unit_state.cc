#include "tools/trial/unit_state.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <sstream>

#include "controlbits/diagnostic_record.h"
#include "syscfg/memory_store.h"
#include "tools/command_error.h"
#include "tools/files.h"

namespace corvane::tools::trial {
namespace {

std::filesystem::path setFile(std::string_view set) { return "data/" + std::string(set) + ".bin"; }

Bytes contentsOf(const std::filesystem::path& path) {
  constexpr size_t kMaxSize = size_t{1} << 20;
  return readFile(path, kMaxSize).bytes;
}

/// Returns the set's contents after a restart of the unit.
Bytes committedBytes(const std::filesystem::path& folder, std::string_view set) {
  std::filesystem::path committed = folder / setFile(set);
  committed.replace_extension("committed");
  return contentsOf(std::filesystem::exists(committed) ? committed : folder / setFile(set));
}

void replaceFile(const std::filesystem::path& path, const Bytes& before, const Bytes& now) {
  if (before != now) writeFile(path, now);
}

std::set<std::string> wordsOf(const Bytes& list) {
  std::string text(list.begin(), list.end());
  std::ranges::replace_if(
      text, [](char c) { return c == '<' || c == '>'; }, ' ');
  std::istringstream words(text);
  return {std::istream_iterator<std::string>(words), {}};
}

std::map<uint32_t, Bytes> keysIn(const Bytes& area) {
  const MemoryStore store(area);
  std::vector<uint32_t> names(area.size());
  const int32_t count = syscfg__list_key(store.get(), names.data(), names.size());
  names.resize(static_cast<size_t>(std::max(count, 0)));
  std::map<uint32_t, Bytes> keys;
  for (const uint32_t key : names) {
    if (const auto value = unit::valueIn(area, key)) keys.emplace(key, *value);
  }
  return keys;
}

}  // namespace

UnitState readUnit(const std::filesystem::path& folder) {
  UnitState state{committedBytes(folder, kDiagnosticSet), committedBytes(folder, kConfigurationSet),
                  contentsOf(folder / "nvram.plist"), contentsOf(folder / "device.plist")};
  if (state.diagnostics.size() < slotOffset<time_t>(kRecordSlots)) {
    throw CommandError(kNotReady, std::string(kDiagnosticSet) + " is too short");
  }
  return state;
}

void writeUnit(const std::filesystem::path& folder, const UnitState& before,
               const UnitState& state) {
  replaceFile(folder / setFile(kDiagnosticSet), before.diagnostics, state.diagnostics);
  replaceFile(folder / setFile(kConfigurationSet), before.configuration, state.configuration);
  replaceFile(folder / "nvram.plist", before.nvram, state.nvram);
  replaceFile(folder / "device.plist", before.device, state.device);
}

void appendRecord(UnitState& state, uint8_t station, int result) {
  using Slot = DiagnosticRecord<time_t>;
  const size_t slot = state.records().size();
  const auto place = [&](size_t i) { return state.diagnostics.data() + slotOffset<time_t>(i); };
  if (slot > 0) place(slot - 1)[offsetof(Slot, flags)] |= kRecordContinued;
  Slot record{1'600'000'000 + static_cast<time_t>(slot), station,
              static_cast<uint8_t>(result << kRecordResultShift), "of another"};
  record = swapForSlot(record);
  std::memcpy(place(slot), &record, sizeof record);
}

bool setKey(UnitState& state, uint32_t key, const Bytes& value) {
  MemoryStore store(state.configuration);
  if (syscfg__add_key(store.get(), key, value.data(), value.size()) != 0) return false;
  state.configuration.assign(store.image().begin(), store.image().end());
  return true;
}

void deleteKey(UnitState& state, uint32_t key) {
  MemoryStore store(state.configuration);
  if (syscfg__del_key(store.get(), key) != 0) return;
  state.configuration.assign(store.image().begin(), store.image().end());
}

std::set<size_t> differences(const Bytes& left, const Bytes& right) {
  std::set<size_t> offsets;
  for (size_t i = 0; i < std::max(left.size(), right.size()); ++i) {
    if (i >= left.size() || i >= right.size() || left[i] != right[i]) offsets.insert(i);
  }
  return offsets;
}

std::set<uint32_t> keyDifferences(const UnitState& left, const UnitState& right) {
  std::vector<std::pair<const uint32_t, Bytes>> different;
  std::ranges::set_symmetric_difference(keysIn(left.configuration), keysIn(right.configuration),
                                        std::back_inserter(different));
  std::set<uint32_t> keys;
  for (const auto& [key, value] : different) keys.insert(key);
  return keys;
}

std::set<std::string> wordDifferences(const Bytes& left, const Bytes& right) {
  std::set<std::string> words;
  if (left != right) {
    std::ranges::set_symmetric_difference(wordsOf(left), wordsOf(right),
                                          std::inserter(words, words.end()));
  }
  return words;
}

}  // namespace corvane::tools::trial
