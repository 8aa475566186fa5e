#include <algorithm>
#include <cstring>
#include <iterator>
#include <sstream>

#include "controlbits/diagnostic_record.h"
#include "syscfg/memory_store.h"
#include "tools/command_error.h"
#include "tools/files.h"
#include "tools/trial/case.h"

namespace corvane::tools::trial {
namespace {

const std::pair<std::string, Bytes UnitState::*> kFiles[] = {
    {"data/" + std::string(kDiagnosticSet) + ".bin", &UnitState::diagnostics},
    {"data/" + std::string(kConfigurationSet) + ".bin", &UnitState::configuration},
    {"nvram.plist", &UnitState::nvram},
    {"device.plist", &UnitState::device}};

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

std::set<std::string> wordsOf(const Bytes& list) {
  std::string text(list.begin(), list.end());
  std::ranges::replace_if(
      text, [](char c) { return c == '<' || c == '>'; }, ' ');
  std::istringstream words(text);
  return {std::istream_iterator<std::string>(words), {}};
}

}  // namespace

UnitState readUnit(const std::filesystem::path& folder) {
  constexpr size_t kMaxSize = size_t{1} << 20;
  UnitState state;
  for (const auto& [name, contents] : kFiles) {
    std::filesystem::path committed = folder / name;
    committed.replace_extension("committed");
    const bool isUncommitted = std::filesystem::exists(committed);
    state.*contents = readFile(isUncommitted ? committed : folder / name, kMaxSize).bytes;
  }
  if (state.diagnostics.size() < slotOffset<time_t>(kRecordSlots)) {
    throw CommandError(kNotReady, std::string(kDiagnosticSet) + " is too short");
  }
  return state;
}

void writeUnit(const std::filesystem::path& folder, const UnitState& state) {
  for (const auto& [name, contents] : kFiles) writeFile(folder / name, state.*contents);
}

void appendRecord(UnitState& state, uint8_t station) {
  using Slot = DiagnosticRecord<time_t>;
  const size_t slot = state.records().size();
  const auto place = [&](size_t i) { return state.diagnostics.data() + slotOffset<time_t>(i); };
  if (slot > 0) place(slot - 1)[offsetof(Slot, flags)] |= kRecordContinued;
  const Slot record{1'600'000'000 + static_cast<time_t>(slot), station, 0, "of another"};
  const Slot stored = swapForSlot(record);
  std::memcpy(place(slot), &stored, sizeof stored);
}

bool setKey(UnitState& state, uint32_t key, const Bytes& value) {
  MemoryStore store(state.configuration);
  const bool isDone = value.empty()
                          ? syscfg__del_key(store.get(), key) == 0
                          : syscfg__add_key(store.get(), key, value.data(), value.size()) == 0;
  if (isDone) state.configuration.assign(store.image().begin(), store.image().end());
  return isDone;
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

std::set<std::string> wordDifferences(const UnitState& left, const UnitState& right) {
  std::set<std::string> words;
  std::ranges::set_symmetric_difference(wordsOf(left.nvram), wordsOf(right.nvram),
                                        std::inserter(words, words.end()));
  return words;
}

}  // namespace corvane::tools::trial
