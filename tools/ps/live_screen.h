#ifndef CORVANE_TOOLS_PS_LIVE_SCREEN_H_
#define CORVANE_TOOLS_PS_LIVE_SCREEN_H_

#include <termios.h>

#include <chrono>
#include <string>
#include <vector>

#include "tools/signal_wait.h"

namespace corvane::tools {

/// The terminal as a screen that is redrawn in place. The destructor restores the terminal, and so
/// does stopping the program, until it continues.
class LiveScreen {
 public:
  /// Throws CommandError when standard output is not a terminal.
  LiveScreen();
  ~LiveScreen();
  LiveScreen(const LiveScreen&) = delete;
  LiveScreen& operator=(const LiveScreen&) = delete;

  /// Returns the number of columns.
  size_t width() const;

  /// Shows as much of `lines` as there is room for, the first `titles` of them in bold.
  void show(const std::vector<std::string>& lines, size_t titles);

  enum class Event { kTime, kRedraw, kEnd };
  /// Waits until `end`, until the screen must be redrawn, or until the view must end: on an
  /// interrupt, a hang-up, or the key "q".
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
