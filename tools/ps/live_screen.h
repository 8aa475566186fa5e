#ifndef CORVANE_TOOLS_PS_LIVE_SCREEN_H_
#define CORVANE_TOOLS_PS_LIVE_SCREEN_H_

#include <termios.h>

#include <chrono>
#include <string>
#include <vector>

#include "tools/signal_wait.h"

namespace corvane::tools {

/// The terminal as a screen that is redrawn in place. It is as it was before once this is gone, and
/// while the program is stopped.
class LiveScreen {
 public:
  /// Throws CommandError when standard output is no terminal.
  LiveScreen();
  ~LiveScreen();
  LiveScreen(const LiveScreen&) = delete;
  LiveScreen& operator=(const LiveScreen&) = delete;

  /// Shows as much of `lines` as there is room for. The first `titles` of them stand out.
  void show(const std::vector<std::string>& lines, size_t titles);

  enum class Event { kTime, kRedraw, kEnd };
  /// Waits until `end`, until the screen must be drawn anew, or until it is to end: an interrupt, a
  /// hang-up, or the key "q".
  Event wait(std::chrono::steady_clock::time_point end);

 private:
  void enter();
  void leave();

  SignalWait _signals;
  termios _keysBefore{};
  bool _hasKeys;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_LIVE_SCREEN_H_
