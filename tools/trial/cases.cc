#include <locale.h>
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "controlbits/diagnostic_record.h"
#include "controlbits/poison_byte.h"
#include "device/models.h"
#include "host/include/virtual_device.h"
#include "syscfg/area_format.h"
#include "syscfg/memory_store.h"
#include "tools/trial/trial.h"

namespace corvane::tools::trial {
namespace {

using host::UnitFacts;
namespace fs = std::filesystem;

constexpr uint8_t kMarkOfFailure = poisonByte(0, true);
constexpr char kOneSlotLeft[] = "one slot left";

using UnitChange = std::function<void(UnitFacts&, UnitState&)>;

uint8_t otherStation(const Station& station) { return station.number.value_or(0) ^ 0x40U; }

/// Appends a passed record to the chain, as the library does.
void appendRecord(UnitState& unit, uint8_t station) {
  using Slot = DiagnosticRecord<time_t>;
  const size_t slot = unit.records().size();
  const auto place = [&](size_t i) { return unit.diagnostics.data() + slotOffset<time_t>(i); };
  if (slot > 0) place(slot - 1)[offsetof(Slot, flags)] |= kRecordContinued;
  const Slot record = swapForSlot(Slot{1'600'000'000 + time_t(slot), station, 0, "of another"});
  std::memcpy(place(slot), &record, sizeof record);
}

void fillRecords(const Station& station, UnitState& unit, size_t count) {
  while (unit.records().size() < count) appendRecord(unit, otherStation(station));
}

/// Sets the key, or deletes it when `value` is empty. Returns whether that could be done.
bool setKey(UnitState& unit, uint32_t key, const Bytes& value) {
  const MemoryStore store(unit.configuration);
  const int32_t error = value.empty()
                            ? syscfg__del_key(store.get(), key)
                            : syscfg__add_key(store.get(), key, value.data(), value.size());
  if (error == 0) unit.configuration.assign(store.image().begin(), store.image().end());
  return error == 0;
}

fs::path makeUnit(const Station& station, const fs::path& folder, const UnitChange& change) {
  UnitFacts facts;
  if (!station.model.empty()) facts.model = station.model;
  host::VirtualDevice device(folder, facts);
  UnitState state = readUnit(folder);
  fillRecords(station, state, 2);
  setKey(state, unit::keyOf("KEEP"), Bytes(20, 'k'));
  if (station.unitKey != 0) setKey(state, station.unitKey, {'U', 'N', 'I', 'T', '1'});
  if (change) change(facts, state);
  writeUnit(folder, state);
  device.setFacts(facts);
  return folder;
}

std::map<std::string, UnitChange> unitChanges(const Station& station) {
  std::map<std::string, UnitChange> changes = {
      {"poisoned", [&](auto&, auto& u) { u.diagnostics[station.poisonOffset] = kMarkOfFailure; }},
      {"chain full", [&](auto&, auto& u) { fillRecords(station, u, kRecordSlots); }},
      {kOneSlotLeft, [&](auto&, auto& u) { fillRecords(station, u, kRecordSlots - 1); }},
      {"area blank 255", [](auto&, auto& u) { std::ranges::fill(u.configuration, 0xFF); }},
      {"area blank 0", [](auto&, auto& u) { std::ranges::fill(u.configuration, 0); }},
      {"keys full",
       [](auto&, auto& u) {
         for (uint32_t key = unit::keyOf("AAAA"); setKey(u, key, Bytes(16, 'f')); ++key) continue;
       }},
      {"low battery", [](auto& f, auto&) { f.currentCapacity = 1, f.externalPower = false; }},
      {"no power source", [](auto& facts, auto&) { facts.powerSource = false; }},
      {"no data area", [](auto& facts, auto&) { facts.dataArea = false; }},
      {"no NVRAM", [](auto& facts, auto&) { facts.nvram = false; }}};
  for (const Model& model : kModels) {
    const std::string name = std::string(model.code) + "AP";
    changes["model " + name] = [=](auto& facts, auto&) { facts.model = name; };
  }
  for (size_t i = 0; i < area::kHeaderSize; i += sizeof(uint32_t)) {
    changes["header damaged at " + std::to_string(i)] = [=](auto&, auto& u) {
      u.configuration[i] ^= 0x55;
    };
  }
  return changes;
}

struct CaseMaker {
  const Station& station;
  const GoodRun& good;
  fs::path folder;
  /// Each call of the good run, in the order of their names.
  std::vector<std::pair<std::string, uint64_t>> calls = {};
  std::vector<Case> cases = {};

  Case& add(const std::string& kind, const std::string& name, const std::string& faults = "") {
    return cases.emplace_back(Case{kind, name, good.unit, faults});
  }
  /// Adds a case that takes effect at a call, which has that result by a fault rule.
  Case& addAtCall(const std::string& kind, const std::string& call, const std::string& result,
                  uint64_t occurrence, const char* further = "") {
    const std::string rule = call + result + "@" + std::to_string(occurrence) + further;
    Case& made = add(kind, rule, rule);
    made.takesEffectAt = {call, occurrence};
    return made;
  }

  void addFaults() {
    constexpr uint64_t kMaxEach = 100;
    for (const auto& [call, occurrence] : calls) {
      const uint64_t count = good.run.calls.at(call);
      const bool isChosen = count <= kMaxEach || occurrence == 1 || occurrence == (count + 1) / 2 ||
                            occurrence == count;
      std::vector<std::string> failures = {""};
      if (call == "time") failures.emplace_back("=0");
      if (call.starts_with("IORegistryEntrySetCF")) {
        failures.insert(failures.end(), {"=0xe00002c1", "=0xe00002cc", "=0"});
      }
      for (const std::string& failure : failures) {
        if (isChosen) addAtCall("faults", call, failure, occurrence);
        if (occurrence == 1) addAtCall("faults", call, failure, 1, "+");
      }
    }
  }

  void addStuckBytes(const std::string& name, Bytes UnitState::*set) {
    const Bytes &before = good.run.before.*set, &after = (*good.run.after).*set;
    for (size_t i = 0; i < std::min(before.size(), after.size()); ++i) {
      if (before[i] == after[i]) continue;
      for (const uint8_t value : std::set<uint8_t>{before[i], after[i], uint8_t(after[i] ^ 2)}) {
        const std::string rule =
            "stuck:" + name + ":" + std::to_string(i) + "=" + std::to_string(value);
        add("faults", rule, rule).stick = [=](UnitState& unit) { (unit.*set).at(i) = value; };
      }
    }
  }

  void addKills(std::mt19937& random) {
    constexpr size_t kMoments = 100;
    constexpr std::pair<int, const char*> kSignals[] = {
        {SIGKILL, "=kill"}, {SIGTERM, "=sigterm"}, {SIGINT, "=sigint"}};
    std::uniform_real_distribution<double> moment(0, good.run.seconds);
    for (size_t i = 0; i < kMoments; ++i) {
      Case& kill = add("kills", "signal at random moment " + std::to_string(i));
      kill.signal = kSignals[i % std::size(kSignals)].first;
      kill.signalAfter = moment(random);
    }
    for (const auto& [call, occurrence] : calls) {
      for (const auto& [signal, result] : kSignals) {
        addAtCall("kills", call, result, occurrence).signal = signal;
      }
    }
  }

  void addUnits() {
    add("units", "fresh").unit = host::VirtualDevice(folder / "fresh").folder();
    for (const auto& [name, change] : unitChanges(station)) {
      add("units", name).unit = makeUnit(station, folder / name, change);
    }
  }

  /// At five places, every sixth of all calls. Where the station holds the unit's lock, the change
  /// waits for one of the function's next calls. The unit that is swapped in is one of `addUnits`.
  void addMeddling() {
    constexpr uint64_t kMaxStops = 10;
    const std::pair<const char*, std::function<void(UnitState&)>> changes[] = {
        {"failed", [s = station](auto& u) { u.diagnostics[s.statusOffset] = kMarkOfFailure; }},
        {"poisoned", [s = station](auto& u) { u.diagnostics[s.poisonOffset] = kMarkOfFailure; }},
        {"given a record", [s = station](auto& u) { appendRecord(u, otherStation(s) ^ 1); }},
        {"swapped", [other = readUnit(folder / kOneSlotLeft)](auto& u) { u = other; }},
        {"cleared of the count", [s = station](auto& u) { setKey(u, s.runCountKey, {}); }}};
    for (size_t place = 1; place <= 5; ++place) {
      const auto& [call, occurrence] = calls[calls.size() * place / 6];
      std::string rules;
      for (uint64_t stop = 0; stop < kMaxStops; ++stop) {
        rules += call + "=stop@" + std::to_string(occurrence + stop) + ",";
      }
      const std::string where = " at " + call + "@" + std::to_string(occurrence);
      for (const auto& [name, change] : changes) {
        add("meddling", std::string("unit ") + name + where, rules).meddling = change;
      }
    }
  }

  void addSurroundings() {
    constexpr char kComma[] = "de_DE.UTF-8";
    const std::pair<const char*, std::string> setups[] = {
        {"standard input closed", "exec <&-"},
        {"standard output closed", "exec >&-"},
        {"standard error closed", "exec 2>&-"},
        {"standard streams closed", "exec <&- >&- 2>&-"},
        {"time zone UTC", "export TZ=UTC"},
        {"time zone EAST-14", "export TZ=EAST-14"},
        {"time zone WEST12", "export TZ=WEST12"},
        {"time zone HALF-5:45", "export TZ=HALF-5:45"},
        {"clock a day back", "export CORVANE_FAULTS=time=$(($(date +%s) - 86400))"},
        {"no HOME", "unset HOME"},
        {"HOME is missing", "export HOME=/nonexistent/home"},
        {"unit's folder not writable", "chmod a-w \"$CORVANE_DEVICE\" \"$CORVANE_DEVICE/data\""},
        {"decimal comma", std::string("export LC_ALL=") + kComma}};
    for (const auto& [name, setup] : setups) add("surroundings", name).setup = setup;
    const locale_t locale = newlocale(LC_ALL_MASK, kComma, nullptr);
    if (locale != nullptr) return freelocale(locale);
    cases.pop_back();
    std::fprintf(stderr, "no decimal comma is tried: the locale %s is not installed\n", kComma);
  }
};

}  // namespace

fs::path makeGoodUnit(const Station& station, const fs::path& folder) {
  return makeUnit(station, folder, {});
}

std::vector<Case> casesOf(const Station& station, const GoodRun& good, const fs::path& folder,
                          std::mt19937& random) {
  CaseMaker maker{station, good, folder};
  for (const auto& [call, count] : good.run.calls) {
    for (uint64_t i = 1; i <= count; ++i) maker.calls.emplace_back(call, i);
  }
  maker.addFaults();
  maker.addStuckBytes("VelmoDiagnosticData", &UnitState::diagnostics);
  maker.addStuckBytes("VelmoDiagnosticDataSysCfg", &UnitState::configuration);
  maker.addKills(random);
  maker.addUnits();
  maker.addMeddling();
  maker.addSurroundings();
  return maker.cases;
}

}  // namespace corvane::tools::trial
