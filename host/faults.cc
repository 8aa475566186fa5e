#include "host/faults.h"

#include <IOKit/IOKitLib.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

#include "host/calls_file.h"
#include "platform/data_bytes.h"
#include "platform/number.h"
#include "platform/text.h"

namespace corvane::host {

std::atomic<bool> gMayHaveRules = true;

namespace {

constexpr std::optional<int64_t> kNull;

struct NamedCall {
  std::string_view name;
  /// kNull when the function can only fail by returning null.
  std::optional<int64_t> result;
};

constexpr auto kCalls = std::to_array<NamedCall>({
#define CALL(where, function, result) {#function, result},
#include "host/fault_calls.inc"
#undef CALL
});

/// What a rule can name as a call's result in place of a number.
constexpr std::pair<std::string_view, int> kSignals[] = {
    {"kill", SIGKILL}, {"sigterm", SIGTERM}, {"sigint", SIGINT}, {"stop", SIGSTOP}};

struct CallRule {
  size_t call;
  int64_t result;
  /// The signal that the process gets at the call, which then does its work; 0 for none.
  int signal = 0;
  uint64_t first = 1;
  bool onlyFirst = false;
};

struct StuckByte {
  std::string set;
  uint64_t offset;
  uint8_t value;
};

struct Rules {
  std::vector<CallRule> calls;
  std::vector<StuckByte> stuck;
};

/// Cuts `text` at the first `mark` and returns what follows it; nothing when there is no mark.
std::optional<std::string_view> cutAt(std::string_view& text, char mark) {
  const size_t at = text.find(mark);
  if (at == std::string_view::npos) return {};
  const std::string_view rest = text.substr(at + 1);
  text = text.substr(0, at);
  return rest;
}

std::string whatCanBeNamed() {
  std::string text =
      "; a rule is CALL[=RESULT][@N[+]] or stuck:SET:OFFSET=BYTE, rules are separated by commas, "
      "RESULT is a number, kill, sigterm, sigint or stop, and CALL is one of";
  const char* separator = " ";
  for (const NamedCall& call : kCalls) {
    text.append(separator).append(call.name);
    separator = ", ";
  }
  return text;
}

/// Adds the rule to `rules`, or returns what is wrong with it.
std::string parseStuckByte(std::string_view rule, Rules& rules) {
  std::string_view set = rule.substr(rule.find(':') + 1);
  std::optional<std::string_view> offsetText = cutAt(set, ':');
  const auto byteText = offsetText ? cutAt(*offsetText, '=') : std::nullopt;
  if (!byteText || set.empty()) return "is not stuck:SET:OFFSET=BYTE";

  const auto offset = parseNumber<uint64_t>(*offsetText);
  const auto value = parseNumber<uint8_t>(*byteText);
  if (!offset) return "has an offset that is not a number from 0 on";
  if (!value) return "has a byte that is not a number from 0 to 0xFF";
  rules.stuck.push_back({std::string(set), *offset, *value});
  return {};
}

/// Adds the rule to `rules`, or returns what is wrong with it.
std::string parseCallRule(std::string_view rule, Rules& rules) {
  std::string_view name = rule;
  std::optional<std::string_view> occurrence = cutAt(name, '@');
  const std::optional<std::string_view> resultText = cutAt(name, '=');

  size_t call = 0;
  while (call < kCalls.size() && kCalls[call].name != name) ++call;
  if (call == kCalls.size()) return "names no platform function" + whatCanBeNamed();

  CallRule parsed{call, kCalls[call].result.value_or(0)};
  if (resultText) {
    for (const auto& [word, signal] : kSignals) {
      if (word == *resultText) parsed.signal = signal;
    }
    const auto result = parsed.signal != 0 ? parsed.result : parseNumber<int64_t>(*resultText);
    if (!result) return "has a result that is not a number, kill, sigterm, sigint or stop";
    if (!kCalls[call].result && *result != 0) {
      return "gives a result to a function that can only yield null";
    }
    parsed.result = *result;
  }
  if (occurrence) {
    parsed.onlyFirst = !occurrence->ends_with('+');
    if (!parsed.onlyFirst) occurrence->remove_suffix(1);
    const auto first = parseNumber<uint64_t>(*occurrence, 1);
    if (!first) return "has an occurrence that is not a number from 1 on";
    parsed.first = *first;
  }
  rules.calls.push_back(parsed);
  return {};
}

/// Fills `rules` from the comma-separated `text`. Returns what is wrong with the first rule that
/// cannot be used; empty when all can.
std::string parseRules(std::string_view text, Rules& rules) {
  while (!text.empty()) {
    std::string_view rule = text;
    text = cutAt(rule, ',').value_or(std::string_view());
    const std::string fault =
        rule.starts_with("stuck:") ? parseStuckByte(rule, rules) : parseCallRule(rule, rules);
    if (!fault.empty()) return "the rule '" + std::string(rule) + "' " + fault;
  }
  return {};
}

using Counts = std::array<std::atomic<uint64_t>, kCalls.size()>;

/// Rules, and how often each function was called under them.
struct RulesInForce {
  Rules rules;
  Counts counts{};
};

/// Sends the signal to this process. SIGSTOP and SIGKILL take effect before this returns.
void signalOneself(int signal) {
  if (signal == SIGTERM || signal == SIGINT) {
    ::kill(::getpid(), signal);  // As from outside: any thread that does not block it gets it.
  } else {
    ::raise(signal);
  }
}

/// All rules and counts of this process. A call takes no lock: it may be made in a signal's
/// handler, or in a child of `fork` while another thread of the parent makes one.
class RuleBook {
 public:
  RuleBook() {
    if (const std::string fault = faultInEnvironment(); !fault.empty()) end(fault);
    const char* rules = std::getenv("CORVANE_FAULTS");
    replace(rules ? rules : "");
    if (const char* path = std::getenv("CORVANE_CALLS")) showCalls(path);
  }

  std::string replace(std::string_view text) {
    auto next = std::make_unique<RulesInForce>();
    std::string fault = parseRules(text, next->rules);
    if (!fault.empty()) return fault;

    const std::lock_guard lock(_mutex);
    _inForce = next.get();
    _all.push_back(std::move(next));
    update();
    return {};
  }

  std::optional<int64_t> fault(size_t call) {
    if (_file) {
      ++_total[call];
      _file->show(call, _total[call]);
    }
    RulesInForce& current = *_inForce.load();
    if (!hasRules(current)) return {};
    const uint64_t count = ++current.counts[call];
    for (const CallRule& rule : current.rules.calls) {
      if (rule.call != call) continue;
      if (rule.onlyFirst ? count != rule.first : count < rule.first) continue;
      if (rule.signal == 0) return rule.result;
      signalOneself(rule.signal);
    }
    return {};
  }

  std::map<std::string, uint64_t> callsMade() const {
    std::map<std::string, uint64_t> calls;
    const Counts& counts = _inForce.load()->counts;
    for (size_t call = 0; call < kCalls.size(); ++call) {
      if (counts[call] > 0) calls.emplace(kCalls[call].name, counts[call]);
    }
    return calls;
  }

  void applyStuckBytes(std::string_view set, std::span<uint8_t> contents) const {
    for (const StuckByte& byte : _inForce.load()->rules.stuck) {
      if (byte.set == set && byte.offset < contents.size()) contents[byte.offset] = byte.value;
    }
  }

 private:
  static bool hasRules(const RulesInForce& current) {
    return !current.rules.calls.empty() || !current.rules.stuck.empty();
  }

  /// Ends the program. Its own handlers at exit must not run in the middle of a platform call.
  [[noreturn]] static void end(const std::string& message) {
    std::fflush(nullptr);
    std::fprintf(stderr, "%s\n", message.c_str());
    std::_Exit(2);
  }

  void showCalls(const char* path) {
    static CallsFile* file = nullptr;
    std::vector<std::string_view> names;
    for (const NamedCall& call : kCalls) names.push_back(call.name);
    file = new CallsFile(path, names);
    if (!file->appendLine())
      end(std::string("CORVANE_CALLS: ") + path + ": " + std::strerror(errno));
    ::pthread_atfork(nullptr, nullptr, [] { file->appendLine(); });
    _file = file;
    update();
  }

  void update() { gMayHaveRules = _file != nullptr || hasRules(*_inForce.load()); }

  std::mutex _mutex;
  std::atomic<RulesInForce*> _inForce = nullptr;
  /// Earlier ones stay, because another thread may be looking at them.
  std::vector<std::unique_ptr<RulesInForce>> _all;
  CallsFile* _file = nullptr;
  Counts _total{};
};

/// Returns the rule book, which is never destroyed: platform calls are made until the last static
/// destructor has run.
RuleBook& ruleBook() {
  static RuleBook& book = *new RuleBook;
  return book;
}

}  // namespace

std::optional<int64_t> faultByRules(Call call) {
  return ruleBook().fault(static_cast<size_t>(call));
}

void applyStuckBytes(CFStringRef set, CFMutableDataRef contents) {
  if (gMayHaveRules) ruleBook().applyStuckBytes(utf8Bytes(set), bytesOf(contents));
}

std::string setFaultRules(std::string_view rules) { return ruleBook().replace(rules); }

std::string faultInEnvironment() {
  Rules ignored;
  const char* rules = std::getenv("CORVANE_FAULTS");
  const std::string fault = parseRules(rules ? rules : "", ignored);
  return fault.empty() ? fault : "CORVANE_FAULTS: " + fault;
}

std::map<std::string, uint64_t> callsMade() { return ruleBook().callsMade(); }

}  // namespace corvane::host
