#include "tools/ps/live_screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "tools/command_error.h"
#include "tools/terminal/text_columns.h"

namespace corvane::tools {
namespace {

// Switches to a screen of its own without a cursor, and back.
constexpr char kEnter[] = "\033[?1049h\033[?25l";
constexpr char kLeave[] = "\033[?25h\033[?1049l";
constexpr char kHome[] = "\033[H";
constexpr char kRestOfLine[] = "\033[K";
constexpr char kRestOfScreen[] = "\033[J";
constexpr char kBold[] = "\033[1m";
constexpr char kPlain[] = "\033[0m";

void write(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

winsize screenSize() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
    size.ws_row = 24;
    size.ws_col = 80;
  }
  return size;
}

}  // namespace

LiveScreen::LiveScreen()
    : _signals({SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGWINCH, SIGTSTP, SIGCONT}),
      _hasKeys(tcgetattr(STDIN_FILENO, &_keysBefore) == 0) {
  if (!isatty(STDOUT_FILENO)) {
    throw CommandError(kUsage,
                       "a live view needs a terminal; \"--record\" keeps samples in a file");
  }
  enter();
}

LiveScreen::~LiveScreen() { leave(); }

void LiveScreen::enter() {
  if (_hasKeys) {
    termios keys = _keysBefore;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    tcsetattr(STDIN_FILENO, TCSANOW, &keys);
  }
  write(kEnter);
}

void LiveScreen::leave() {
  write(kLeave);
  if (_hasKeys) tcsetattr(STDIN_FILENO, TCSANOW, &_keysBefore);
}

size_t LiveScreen::width() const { return screenSize().ws_col; }

void LiveScreen::show(const std::vector<std::string>& lines, size_t titles) {
  const winsize size = screenSize();
  const size_t count = std::min<size_t>(lines.size(), size.ws_row);
  std::string text = kHome;
  for (size_t i = 0; i < count; ++i) {
    if (i > 0) text += "\r\n";
    if (i < titles) text += kBold;
    text += beginning(lines[i], size.ws_col);
    if (i < titles) text += kPlain;
    text += kRestOfLine;
  }
  write(text + kRestOfScreen);
}

LiveScreen::Event LiveScreen::wait(std::chrono::steady_clock::time_point end) {
  _signals.wait(end, _hasKeys ? STDIN_FILENO : -1);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    if (_signals.hasCome(signal)) return Event::kEnd;
  }
  if (_signals.hasCome(SIGTSTP)) {
    leave();
    raise(SIGSTOP);
    enter();
    return Event::kRedraw;
  }
  if (_signals.hasCome(SIGCONT)) {
    enter();
    return Event::kRedraw;
  }
  if (_signals.hasCome(SIGWINCH)) return Event::kRedraw;
  if (std::chrono::steady_clock::now() >= end) return Event::kTime;
  char key = 0;
  const bool isKey = _hasKeys && read(STDIN_FILENO, &key, 1) == 1;
  return isKey && key != 'q' ? Event::kRedraw : Event::kEnd;
}

}  // namespace corvane::tools
