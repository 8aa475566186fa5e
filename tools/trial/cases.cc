#include <locale.h>
#include <signal.h>

#include <algorithm>
#include <ctime>

#include "controlbits/diagnostic_record.h"
#include "device/models.h"
#include "host/include/virtual_device.h"
#include "syscfg/area_format.h"
#include "tools/trial/case.h"

namespace corvane::tools::trial {
namespace {

using host::UnitFacts;
namespace fs = std::filesystem;

constexpr uint32_t kOtherKey = 0x4B454550;  // "KEEP"
constexpr uint8_t kFailedStatus = 0xFA, kPoisoned = 0xFE;

uint8_t otherStation(const Station& station) { return station.number.value_or(0) ^ 0x40U; }

fs::path makeUnit(const Station& station, const fs::path& folder,
                  const std::function<void(UnitFacts&)>& changeFacts,
                  const std::function<void(UnitState&)>& change) {
  UnitFacts facts;
  if (!station.model.empty()) facts.model = station.model;
  if (changeFacts) changeFacts(facts);
  const host::VirtualDevice device(folder, facts);
  UnitState state = readUnit(folder);
  for (int i = 0; i < 2; ++i) appendRecord(state, otherStation(station));
  setKey(state, kOtherKey, Bytes(20, 'k'));
  if (station.unitKey) setKey(state, *station.unitKey, {'U', 'N', 'I', 'T', '1'});
  if (change) change(state);
  writeUnit(folder, state);
  return folder;
}

/// Returns a case that takes effect at a call: it has that result by a fault rule.
Case atCall(Kind kind, const fs::path& unit, const std::string& call, const std::string& result,
            uint64_t occurrence, const char* further = "") {
  const std::string rule = call + result + "@" + std::to_string(occurrence) + further;
  return {kind, rule, unit, rule, call, occurrence};
}

/// Returns the results with which a call fails.
std::vector<std::string> failuresOf(const std::string& call) {
  if (call.starts_with("IORegistryEntrySetCF")) return {"", "=0xe00002c1", "=0xe00002cc", "=0"};
  if (call == "time") return {"", "=0"};
  return {""};
}

class CaseMaker {
 public:
  CaseMaker(const Station& station, const GoodRun& good, const fs::path& goodUnit,
            const fs::path& folder)
      : _station(station), _good(good), _unit(goodUnit), _folder(folder) {}

  std::vector<Case> make(std::mt19937& random) {
    addFaults();
    addKills(random);
    addMeddling(addUnits());
    addSurroundings();
    return std::move(_cases);
  }

 private:
  Case& add(Kind kind, const std::string& name) {
    return _cases.emplace_back(Case{kind, name, _unit});
  }

  void addFaults() {
    constexpr uint64_t kMaxEach = 100;
    for (const auto& [call, count] : _good.run.calls) {
      if (count == 0) continue;
      for (const std::string& failure : failuresOf(call)) {
        for (uint64_t i = 1; i <= count; ++i) {
          if (count > kMaxEach && i != 1 && i != (count + 1) / 2 && i != count) continue;
          _cases.push_back(atCall(Kind::kFaults, _unit, call, failure, i));
        }
        _cases.push_back(atCall(Kind::kFaults, _unit, call, failure, 1, "+"));
      }
    }
    addStuckBytes(kDiagnosticSet, &UnitState::diagnostics, _good.bytes);
    addStuckBytes(kConfigurationSet, &UnitState::configuration, _good.areaBytes);
  }

  void addStuckBytes(std::string_view name, Bytes UnitState::*set, const std::set<size_t>& bytes) {
    for (const size_t offset : bytes) {
      const uint8_t before = (_good.run.before.*set).at(offset);
      const uint8_t after = ((*_good.run.after).*set).at(offset);
      for (const uint8_t value : std::set<uint8_t>{before, after, uint8_t(after ^ 2)}) {
        Case& stuck = add(Kind::kFaults, "stuck:" + std::string(name) + ":" +
                                             std::to_string(offset) + "=" + std::to_string(value));
        stuck.faults = stuck.name;
        stuck.stuck = {set, offset, value};
      }
    }
  }

  void addKills(std::mt19937& random) {
    constexpr int kMoments = 100;
    std::uniform_real_distribution<double> moment(0, _good.run.seconds);
    for (int i = 0; i < kMoments; ++i) {
      Case& kill = add(Kind::kKills, "signal at random moment " + std::to_string(i));
      kill.signal = std::array{SIGKILL, SIGTERM, SIGINT}[static_cast<size_t>(i) % 3];
      kill.signalAfter = moment(random);
    }
    for (const auto& [call, count] : _good.run.calls) {
      for (uint64_t i = 1; i <= count; ++i) {
        for (const int signal : {SIGKILL, SIGTERM, SIGINT}) {
          _cases.push_back(killCase(_unit, call, i, signal));
        }
      }
    }
  }

  /// Returns a unit that others have been at before.
  UnitState addUnits() {
    const auto addUnit = [&](const std::string& name, std::function<void(UnitFacts&)> changeFacts,
                             std::function<void(UnitState&)> change) {
      fs::path folder = _folder / std::to_string(_cases.size());
      add(Kind::kUnits, name).unit = makeUnit(_station, folder, changeFacts, change);
      return folder;
    };
    const auto fillRecords = [&](size_t count) {
      return [=, this](UnitState& unit) {
        while (unit.records().size() < count) appendRecord(unit, otherStation(_station));
      };
    };
    add(Kind::kUnits, "fresh").unit = host::VirtualDevice(_folder / "fresh").folder();
    for (const Model& model : kModels) {
      const std::string name = std::string(model.code) + "AP";
      addUnit("model " + name, [&](UnitFacts& facts) { facts.model = name; }, {});
    }
    const auto weaken = [](UnitFacts& facts) {
      facts.currentCapacity = 1;
      facts.externalPower = false;
    };
    addUnit("low battery", weaken, {});
    addUnit("no power source", [](UnitFacts& facts) { facts.powerSource = false; }, {});
    addUnit("no data area", [](UnitFacts& facts) { facts.dataArea = false; }, {});
    addUnit("no NVRAM", [](UnitFacts& facts) { facts.nvram = false; }, {});
    addUnit("poisoned", {},
            [&](UnitState& unit) { unit.diagnostics[_station.poisonOffset] = kPoisoned; });
    addUnit("chain full", {}, fillRecords(kRecordSlots));
    for (const uint8_t blank : {uint8_t{0xFF}, uint8_t{0}}) {
      addUnit("area blank " + std::to_string(blank), {},
              [&](UnitState& unit) { std::ranges::fill(unit.configuration, blank); });
    }
    addUnit("keys full", {}, [](UnitState& unit) {
      for (uint32_t key = 0x41414141; setKey(unit, key, Bytes(16, 'f')); ++key) continue;
    });
    for (size_t i = 0; i < area::kHeaderSize; i += sizeof(uint32_t)) {
      addUnit("header damaged at " + std::to_string(i), {},
              [&](UnitState& unit) { unit.configuration[i] ^= 0x55; });
    }
    return readUnit(addUnit("one slot left", {}, fillRecords(kRecordSlots - 1)));
  }

  void addMeddling(const UnitState& other) {
    const std::pair<const char*, std::function<void(UnitState&)>> changes[] = {
        {"failed",
         [s = _station](UnitState& unit) { unit.diagnostics[s.statusOffset] = kFailedStatus; }},
        {"poisoned",
         [s = _station](UnitState& unit) { unit.diagnostics[s.poisonOffset] = kPoisoned; }},
        {"given a record",
         [s = _station](UnitState& unit) { appendRecord(unit, otherStation(s) ^ 1); }},
        {"swapped", [=](UnitState& unit) { unit = other; }},
        {"cleared of the count",
         [s = _station](UnitState& unit) { setKey(unit, s.runCountKey.value_or(0), {}); }}};
    // The places: every sixth of all calls, in the order of their names.
    std::vector<std::pair<std::string, uint64_t>> calls;
    for (const auto& [call, count] : _good.run.calls) {
      for (uint64_t i = 1; i <= count; ++i) calls.emplace_back(call, i);
    }
    for (size_t place = 1; place <= 5; ++place) {
      const auto& [call, occurrence] = calls[calls.size() * place / 6];
      for (const auto& [name, change] : changes) {
        Case meddling = atCall(Kind::kMeddling, _unit, call, "=stop", occurrence);
        meddling.name = std::string("unit ") + name + " at " + meddling.name;
        meddling.meddling = change;
        meddling.swapsUnit = std::string_view(name) == "swapped";
        _cases.push_back(meddling);
      }
    }
  }

  void addSurroundings() {
    constexpr Kind kKind = Kind::kSurroundings;
    add(kKind, "standard input closed").closedStreams = {0};
    add(kKind, "standard output closed").closedStreams = {1};
    add(kKind, "standard error closed").closedStreams = {2};
    add(kKind, "standard streams closed").closedStreams = {0, 1, 2};
    for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE"}) {
      const locale_t locale = newlocale(LC_ALL_MASK, name, nullptr);
      if (!locale) continue;
      freelocale(locale);
      add(kKind, std::string("decimal comma of ") + name).environment["LC_ALL"] = name;
    }
    for (const char* zone : {"UTC", "EAST-14", "WEST12", "HALF-5:45"}) {
      add(kKind, std::string("time zone ") + zone).environment["TZ"] = zone;
    }
    add(kKind, "clock a day back").faults = "time=" + std::to_string(std::time(nullptr) - 86400);
    add(kKind, "no HOME").environment["HOME"] = std::nullopt;
    add(kKind, "HOME is missing").environment["HOME"] = "/nonexistent/home";
    add(kKind, "unit's folder not writable").unitIsReadOnly = true;
  }

  const Station& _station;
  const GoodRun& _good;
  const fs::path _unit, _folder;
  std::vector<Case> _cases;
};

}  // namespace

fs::path makeGoodUnit(const Station& station, const fs::path& folder) {
  return makeUnit(station, folder, {}, {});
}

Case killCase(const fs::path& unit, const std::string& call, uint64_t occurrence, int signal) {
  const char* word = signal == SIGKILL ? "=kill" : signal == SIGTERM ? "=sigterm" : "=sigint";
  Case kill = atCall(Kind::kKills, unit, call, word, occurrence);
  kill.signal = signal;
  return kill;
}

std::vector<Case> casesOf(const Station& station, const GoodRun& good, const fs::path& goodUnit,
                          const fs::path& folder, std::mt19937& random) {
  return CaseMaker(station, good, goodUnit, folder).make(random);
}

}  // namespace corvane::tools::trial
