#include "host/faults.h"

#include <IOKit/IOKitLib.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <span>
#include <vector>

#include "platform/data_bytes.h"
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

struct CallRule {
  size_t call;
  int64_t result;
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

/// Returns the whole of `text` as a number in C notation (decimal, 0x, leading 0; a sign); nothing
/// when it is not one.
std::optional<int64_t> parseNumber(std::string_view text) {
  const std::string copy(text);
  if (copy.empty() || std::isspace(static_cast<unsigned char>(copy.front()))) return {};
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(copy.c_str(), &end, 0);
  if (errno != 0 || *end != '\0') return {};
  return value;
}

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
      "\n  a rule is CALL[=RESULT][@N[+]] or stuck:SET:OFFSET=BYTE; several are separated by commas"
      "\n  CALL can be:";
  for (const NamedCall& call : kCalls) text += "\n    " + std::string(call.name);
  return text;
}

/// Adds the rule to `rules`, or returns what is wrong with it.
std::string parseStuckByte(std::string_view rule, Rules& rules) {
  std::string_view set = rule.substr(rule.find(':') + 1);
  std::optional<std::string_view> offsetText = cutAt(set, ':');
  const auto byteText = offsetText ? cutAt(*offsetText, '=') : std::nullopt;
  if (!byteText || set.empty()) return "is not stuck:SET:OFFSET=BYTE";

  const auto offset = parseNumber(*offsetText);
  const auto value = parseNumber(*byteText);
  if (!offset || *offset < 0) return "has an offset that is no number from 0 on";
  if (!value || *value < 0 || *value > 0xFF) return "has a byte that is no number from 0 to 0xFF";
  rules.stuck.push_back(
      {std::string(set), static_cast<uint64_t>(*offset), static_cast<uint8_t>(*value)});
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
    const auto result = parseNumber(*resultText);
    if (!result) return "has a result that is no number";
    if (!kCalls[call].result && *result != 0) {
      return "gives a result to a function that can only yield null";
    }
    parsed.result = *result;
  }
  if (occurrence) {
    parsed.onlyFirst = !occurrence->ends_with('+');
    if (!parsed.onlyFirst) occurrence->remove_suffix(1);
    const auto first = parseNumber(*occurrence);
    if (!first || *first < 1) return "has an occurrence that is no number from 1 on";
    parsed.first = static_cast<uint64_t>(*first);
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

/// The rules in force and how often each function was called under them.
class RuleBook {
 public:
  RuleBook() {
    const char* text = std::getenv("CORVANE_FAULTS");
    if (text == nullptr) {
      gMayHaveRules = false;
    } else if (const std::string fault = replace(text); !fault.empty()) {
      std::fprintf(stderr, "CORVANE_FAULTS: %s\n", fault.c_str());
      // Static destructors make platform calls, which must not wait for these rules.
      gMayHaveRules = false;
      std::exit(2);
    }
  }

  std::string replace(std::string_view text) {
    Rules parsed;
    std::string fault = parseRules(text, parsed);
    if (!fault.empty()) return fault;

    const std::lock_guard lock(_mutex);
    _rules = std::move(parsed);
    _counts.fill(0);
    gMayHaveRules = hasRules();
    return {};
  }

  std::optional<int64_t> fault(size_t call) {
    const std::lock_guard lock(_mutex);
    if (!hasRules()) return {};
    const uint64_t count = ++_counts[call];
    for (const CallRule& rule : _rules.calls) {
      if (rule.call != call) continue;
      if (rule.onlyFirst ? count == rule.first : count >= rule.first) return rule.result;
    }
    return {};
  }

  std::map<std::string, uint64_t> callsMade() {
    const std::lock_guard lock(_mutex);
    std::map<std::string, uint64_t> calls;
    for (size_t call = 0; call < kCalls.size(); ++call) {
      if (_counts[call] > 0) calls.emplace(kCalls[call].name, _counts[call]);
    }
    return calls;
  }

  void applyStuckBytes(std::string_view set, std::span<uint8_t> contents) {
    const std::lock_guard lock(_mutex);
    for (const StuckByte& byte : _rules.stuck) {
      if (byte.set == set && byte.offset < contents.size()) contents[byte.offset] = byte.value;
    }
  }

 private:
  bool hasRules() const { return !_rules.calls.empty() || !_rules.stuck.empty(); }

  std::mutex _mutex;
  Rules _rules;
  std::array<uint64_t, kCalls.size()> _counts{};
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

std::map<std::string, uint64_t> callsMade() { return ruleBook().callsMade(); }

}  // namespace corvane::host
