#ifndef CORVANE_STATION_FAILURES_H_
#define CORVANE_STATION_FAILURES_H_

#include <cstddef>
#include <string>
#include <vector>

namespace corvane::station {

/// What failed in a phase or a run: the first twenty failures, and how many there are.
class Failures {
 public:
  /// Adds a failure that `recordText` describes in a record, `reason` elsewhere.
  void add(const std::string& recordText, const std::string& reason) {
    if (_count++ == 0) _recordText = recordText;
    if (_reasons.size() < kMaxNamed) _reasons.push_back(reason);
  }
  /// Adds those of a phase, each with the phase's name in front.
  void addAll(const std::string& phase, const Failures& others) {
    if (_count == 0) _recordText = others._recordText;
    for (const std::string& reason : others._reasons) {
      if (_reasons.size() < kMaxNamed) _reasons.push_back(phase + ": " + reason);
    }
    _count += others._count;
  }

  bool isEmpty() const { return _count == 0; }
  /// Returns the text for the record: of the first failure.
  const std::string& recordText() const { return _recordText; }
  /// Returns the reasons: "a; b; and 7 more".
  std::string text() const {
    std::string all;
    for (const std::string& reason : _reasons) all += (all.empty() ? "" : "; ") + reason;
    if (_count > _reasons.size())
      all += "; and " + std::to_string(_count - _reasons.size()) + " more";
    return all;
  }

 private:
  static constexpr size_t kMaxNamed = 20;

  std::string _recordText;
  std::vector<std::string> _reasons;
  size_t _count = 0;
};

}  // namespace corvane::station

#endif  // CORVANE_STATION_FAILURES_H_
