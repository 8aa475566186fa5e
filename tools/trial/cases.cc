#include "tools/trial/cases.h"

#include <locale.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <ctime>

#include "controlbits/diagnostic_record.h"
#include "device/models.h"
#include "host/virtual_device.h"
#include "syscfg/area_format.h"

namespace corvane::tools::trial {
namespace {

using host::UnitFacts;
using host::VirtualDevice;

constexpr uint32_t kOtherKey = 0x4B454550;  // "KEEP"

uint8_t otherStation(const Station& station) {
  return static_cast<uint8_t>(station.number.value_or(0) ^ 0x40);
}

/// Makes a unit in `folder` with two records and a key of other stations.
std::filesystem::path makeUnit(const Station& station, const std::filesystem::path& folder,
                               const std::function<void(UnitFacts&)>& changeFacts = {},
                               const std::function<void(UnitState&)>& change = {}) {
  UnitFacts facts;
  if (!station.model.empty()) facts.model = station.model;
  if (changeFacts) changeFacts(facts);
  const VirtualDevice device(folder, facts);
  const UnitState empty = readUnit(folder);
  UnitState state = empty;
  for (int i = 0; i < 2; ++i) appendRecord(state, otherStation(station), 0);
  setKey(state, kOtherKey, Bytes(20, 'k'));
  if (station.unitKey) setKey(state, *station.unitKey, {'U', 'N', 'I', 'T', '1'});
  if (change) change(state);
  writeUnit(folder, empty, state);
  return folder;
}

void fillRecords(const Station& station, UnitState& state, size_t count) {
  while (state.records().size() < count) appendRecord(state, otherStation(station), 0);
}

/// Returns the ways in which a call fails.
std::vector<std::string> codesOf(const std::string& call) {
  if (call.starts_with("IORegistryEntrySetCF")) return {"", "=0xe00002c1", "=0xe00002cc", "=0"};
  if (call == "time") return {"", "=0"};
  return {""};
}

void addFaults(const GoodRun& good, const Case& model, std::vector<Case>& cases) {
  const auto add = [&](const std::string& rule, const std::string& call, uint64_t occurrence) {
    Case fault = model;
    fault.name = fault.faults = rule;
    fault.call = call;
    fault.occurrence = occurrence;
    cases.push_back(fault);
  };
  for (const auto& [call, count] : good.run.calls) {
    if (count == 0) continue;
    for (const std::string& code : codesOf(call)) {
      for (const uint64_t occurrence : std::set{uint64_t{1}, (count + 1) / 2, count}) {
        add(call + code + "@" + std::to_string(occurrence), call, occurrence);
      }
      add(call + code + "@1+", call, 1);
    }
  }
  const auto addStuck = [&](std::string_view set, const std::set<size_t>& offsets,
                            const Bytes& before, const Bytes& after) {
    for (const size_t offset : offsets) {
      const uint8_t wrong = static_cast<uint8_t>(after.at(offset) ^ 0x02);
      for (const uint8_t value : std::set{before.at(offset), after.at(offset), wrong}) {
        add("stuck:" + std::string(set) + ":" + std::to_string(offset) + "=" +
                std::to_string(value),
            "", 0);
        cases.back().stuck = {set, offset, value};
      }
    }
  };
  const UnitState& before = good.run.before;
  const UnitState& after = *good.run.after;
  addStuck(kDiagnosticSet, good.bytes, before.diagnostics, after.diagnostics);
  addStuck(kConfigurationSet, good.areaBytes, before.configuration, after.configuration);
}

void addKills(const GoodRun& good, const Case& model, std::mt19937& random,
              std::vector<Case>& cases) {
  constexpr std::array kSignals = {SIGKILL, SIGTERM, SIGINT};
  for (const auto& [call, count] : good.run.calls) {
    for (uint64_t occurrence = 1; occurrence <= count; ++occurrence) {
      for (const int signal : kSignals) {
        cases.push_back(killCase(model.unit, call, occurrence, signal));
      }
    }
  }
  constexpr size_t kMoments = 100;
  std::uniform_real_distribution<double> moment(0, good.run.seconds);
  for (size_t i = 0; i < kMoments; ++i) {
    Case kill = model;
    kill.kind = Kind::kKills;
    kill.signal = kSignals[i % kSignals.size()];
    kill.signalAfter = moment(random);
    kill.name = "signal " + std::to_string(kill.signal) + " at random moment " + std::to_string(i);
    cases.push_back(kill);
  }
}

void addMeddling(const Station& station, const GoodRun& good, const Case& model,
                 const UnitState& other, std::vector<Case>& cases) {
  const std::vector<std::pair<const char*, std::function<void(UnitState&)>>> changes = {
      {"fails the status", [=](UnitState& unit) { unit.diagnostics[station.statusOffset] = 0xFA; }},
      {"poisons", [=](UnitState& unit) { unit.diagnostics[station.poisonOffset] = 0xFE; }},
      {"adds a record",
       [=](UnitState& unit) {
         appendRecord(unit, static_cast<uint8_t>(otherStation(station) + 1), 0);
       }},
      {"swaps in another unit", [=](UnitState& unit) { unit = other; }},
      {"clears the count",
       [=](UnitState& unit) { deleteKey(unit, station.runCountKey.value_or(0)); }}};
  uint64_t total = 0, skipped = 0;
  for (const auto& [call, count] : good.run.calls) total += count;
  for (int place = 1; place <= 5; ++place) {
    // Spread over the calls of all functions, and over the run within a function.
    const uint64_t target = total * static_cast<uint64_t>(place) / 6;
    auto call = good.run.calls.begin();
    for (skipped = 0; skipped + call->second < target; ++call) skipped += call->second;
    const uint64_t occurrence =
        std::max<uint64_t>(1, call->second * static_cast<uint64_t>(place) / 6);
    for (const auto& [name, change] : changes) {
      if (&change == &changes.back().second && !station.runCountKey) continue;
      Case meddling = model;
      meddling.kind = Kind::kMeddling;
      meddling.call = call->first;
      meddling.occurrence = occurrence;
      meddling.faults = call->first + "=stop@" + std::to_string(occurrence);
      meddling.name = std::string("another program ") + name + " at " + call->first + "@" +
                      std::to_string(occurrence);
      meddling.meddling = change;
      meddling.swapsUnit = std::string_view(name).starts_with("swaps");
      cases.push_back(meddling);
    }
  }
}

void addSurroundings(const Case& model, std::vector<Case>& cases) {
  const auto add = [&](const std::string& name) -> Case& {
    Case& added = cases.emplace_back(model);
    added.kind = Kind::kSurroundings;
    added.name = name;
    return added;
  };
  add("standard input closed").closedStreams = {0};
  add("standard output closed").closedStreams = {1};
  add("standard error closed").closedStreams = {2};
  add("standard streams closed").closedStreams = {0, 1, 2};
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE"}) {
    const locale_t locale = newlocale(LC_ALL_MASK, name, nullptr);
    if (!locale) continue;
    freelocale(locale);
    add("decimal comma").environment["LC_ALL"] = name;
    break;
  }
  for (const char* zone : {"UTC", "EAST-14", "WEST12", "HALF-5:45"}) {
    add(std::string("time zone ") + zone).environment["TZ"] = zone;
  }
  add("clock a day back").faults = "time=" + std::to_string(std::time(nullptr) - 86400);
  add("no HOME").environment["HOME"] = std::nullopt;
  add("HOME is missing").environment["HOME"] = "/nonexistent/home";
  add("unit's folder not writable").unitIsReadOnly = true;
}

}  // namespace

std::vector<Case> unitCases(const Station& station, const std::filesystem::path& folder) {
  std::vector<Case> cases;
  const auto add = [&](const std::string& name, std::function<void(UnitFacts&)> changeFacts,
                       std::function<void(UnitState&)> change) {
    const std::string number = std::to_string(cases.size());
    cases.push_back({Kind::kUnits, name, makeUnit(station, folder / number, changeFacts, change)});
  };
  add("good unit", {}, {});
  cases.push_back({Kind::kUnits, "fresh unit", VirtualDevice(folder / "fresh").folder()});
  for (const Model& model : kModels) {
    const std::string name(model.code);
    add("model " + name, [&](UnitFacts& facts) { facts.model = name + "AP"; }, {});
  }
  add("low battery",
      [](UnitFacts& facts) {
        facts.currentCapacity = 1;
        facts.externalPower = false;
      },
      {});
  add("no power source", [](UnitFacts& facts) { facts.powerSource = false; }, {});
  add("no data area", [](UnitFacts& facts) { facts.dataArea = false; }, {});
  add("no NVRAM", [](UnitFacts& facts) { facts.nvram = false; }, {});
  add("poisoned", {}, [&](UnitState& unit) { unit.diagnostics[station.poisonOffset] = 0xFE; });
  add("chain full", {}, [&](UnitState& unit) { fillRecords(station, unit, kRecordSlots); });
  add("one slot left", {}, [&](UnitState& unit) { fillRecords(station, unit, kRecordSlots - 1); });
  for (const uint8_t blank : {uint8_t{0xFF}, uint8_t{0}}) {
    add("area blank " + std::to_string(blank), {},
        [&](UnitState& unit) { std::ranges::fill(unit.configuration, blank); });
  }
  add("keys full", {}, [](UnitState& unit) {
    for (uint32_t key = 0x41414141; setKey(unit, key, Bytes(16, 'f')); ++key) continue;
  });
  for (size_t word = 0; word < area::kHeaderSize; word += sizeof(uint32_t)) {
    add("header damaged at " + std::to_string(word), {}, [&](UnitState& unit) {
      for (size_t i = 0; i < sizeof(uint32_t); ++i) unit.configuration[word + i] ^= 0x55;
    });
  }
  return cases;
}

Case killCase(const std::filesystem::path& unit, const std::string& call, uint64_t occurrence,
              int signal) {
  const char* word = signal == SIGKILL ? "kill" : signal == SIGTERM ? "sigterm" : "sigint";
  const std::string rule = call + "=" + word + "@" + std::to_string(occurrence);
  Case kill{Kind::kKills, rule, unit, rule, call, occurrence};
  kill.signal = signal;
  return kill;
}

std::vector<Case> casesOf(const Station& station, const GoodRun& good,
                          const std::filesystem::path& unit, const std::filesystem::path& otherUnit,
                          std::mt19937& random) {
  std::vector<Case> cases;
  const Case model{Kind::kFaults, "", unit};
  addFaults(good, model, cases);
  addKills(good, model, random, cases);
  addMeddling(station, good, model, readUnit(otherUnit), cases);
  addSurroundings(model, cases);
  return cases;
}

}  // namespace corvane::tools::trial
