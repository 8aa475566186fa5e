// How a run begins: the unit is looked at, refused or marked, and the run is counted.

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "platform/or_null.h"
#include "station/results_line.h"
#include "station/run.h"
#include "station/run_text.h"
#include "unit/lock.h"

namespace corvane::station {
namespace {

using nlohmann::ordered_json;

std::string hostName() {
  char name[256] = "";
  return ::gethostname(name, sizeof name - 1) == 0 ? name : "";
}

}  // namespace

void Run::begin() {
  unit::openDataArea();
  const unit::Facts facts = unit::readFacts();
  if (_unit.empty() && !_profile.unitKey.empty()) _unit = readIdentity(_profile.unitKey);
  _results.identify(_profile.name, _unit);
  tell([&] { _console.facts(facts); });
  markUnit(facts);
  writeLog("begin, run " + std::to_string(count()), 0);
  tell([&] { _console.line("run", std::to_string(count()) + " of this station on this unit"); });
}

void Run::markUnit(const unit::Facts& facts) {
  unit::Lock unitLock;
  const auto enterStage = [this](Stage stage) {
    const Lock lock(_lock);
    if (_stage == Stage::kBegin || _stage == Stage::kMarking) _stage = stage;
    _changed.notify_all();
    return _stage == stage;
  };
  if (!enterStage(Stage::kMarking)) blockUntilProcessEnds();
  try {
    _visit.look();
    reportBegin(facts);
    _visit.refuseUnlessFit(facts, _options.unit);
    if (const std::string error = _results.error(); !error.empty()) throw ResultsError(error);
    _visit.mark(unitLock);
    _isMarked = true;
  } catch (...) {
    enterStage(Stage::kBegin);
    throw;
  }
  enterStage(Stage::kBody);
}

void Run::reportBegin(const unit::Facts& facts) {
  const uint8_t before = *_visit.status();
  tell([&] { _console.statusByte("before", _profile.statusOffset, before); });
  report(line_type::kBegin, {{line_field::kCount, count()},
                             {line_field::kNumber, _profile.number},
                             {line_field::kProgram, orNull(_options.program)},
                             {line_field::kVersion, orNull(_profile.version)},
                             {line_field::kHost, orNull(hostName())},
                             {line_field::kFixture, orNull(_options.fixture)},
                             {line_field::kOperator, orNull(_options.operatorName)},
                             {line_field::kFacts, factsJson(facts)},
                             {line_field::kBefore, byteJson(_profile.statusOffset, before)}});
}

}  // namespace corvane::station
