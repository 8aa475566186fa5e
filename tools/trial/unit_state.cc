#include <algorithm>
#include <cstring>
#include <iterator>
#include <sstream>

#include "controlbits/diagnostic_record.h"
#include "syscfg/memory_store.h"
#include "tools/command_error.h"
#include "tools/files.h"
#include "tools/trial/trial.h"

namespace corvane::tools::trial {
namespace {

constexpr std::pair<const char*, Bytes UnitState::*> kFiles[] = {
    {"data/VelmoDiagnosticData.bin", &UnitState::diagnostics},
    {"data/VelmoDiagnosticDataSysCfg.bin", &UnitState::configuration},
    {"nvram.plist", &UnitState::nvram},
    {"device.plist", &UnitState::device}};

constexpr size_t kRecordsEnd = slotOffset<time_t>(kRecordSlots);

/// Returns the files, the keys and the words of NVRAM that the unit has, by their names.
std::map<std::string, Bytes> namedPartsOf(const UnitState& state) {
  std::map<std::string, Bytes> parts = {{"device.plist", state.device}};
  const MemoryStore store(state.configuration);
  std::vector<uint32_t> keys(state.configuration.size());
  const int32_t count = syscfg__list_key(store.get(), keys.data(), keys.size());
  keys.resize(static_cast<size_t>(std::max(count, 0)));
  for (const uint32_t key : keys) {
    parts["key " + unit::keyName(key)] = unit::valueIn(state.configuration, key).value_or(Bytes());
  }
  std::string text(state.nvram.begin(), state.nvram.end());
  std::ranges::replace_if(
      text, [](char c) { return c == '<' || c == '>'; }, ' ');
  std::istringstream words(text);
  for (std::string word; words >> word;) parts["the word " + word + " of NVRAM"] = {};
  return parts;
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
  if (state.diagnostics.size() < kRecordsEnd) {
    throw CommandError(kNotReady, "VelmoDiagnosticData is too short");
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

std::string byteName(size_t offset) { return "byte " + std::to_string(offset); }

std::set<std::string> changedPlaces(const UnitState& left, const UnitState& right) {
  std::set<std::string> places;
  for (const size_t offset : differences(left.diagnostics, right.diagnostics)) {
    const bool isRecord = offset >= kFirstRecordOffset && offset < kRecordsEnd;
    if (!isRecord) places.insert(byteName(offset));
  }
  std::vector<std::pair<const std::string, Bytes>> different;
  std::ranges::set_symmetric_difference(namedPartsOf(left), namedPartsOf(right),
                                        std::back_inserter(different));
  for (const auto& [name, contents] : different) places.insert(name);
  return places;
}

}  // namespace corvane::tools::trial
