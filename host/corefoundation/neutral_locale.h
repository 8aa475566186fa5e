#ifndef CORVANE_HOST_COREFOUNDATION_NEUTRAL_LOCALE_H_
#define CORVANE_HOST_COREFOUNDATION_NEUTRAL_LOCALE_H_

#include <locale.h>

namespace cf {

/// Returns a locale that does not depend on the program's settings: that of Unicode where the
/// system has it, else "C".
inline locale_t neutralLocale() {
  static const locale_t neutral = [] {
    const locale_t unicode = newlocale(LC_ALL_MASK, "C.UTF-8", nullptr);
    return unicode != nullptr ? unicode : newlocale(LC_ALL_MASK, "C", nullptr);
  }();
  return neutral;
}

/// While it exists, this thread's C library calls use the neutral locale.
class NeutralLocale {
 public:
  NeutralLocale() : _before(uselocale(neutralLocale())) {}
  ~NeutralLocale() { uselocale(_before); }
  NeutralLocale(const NeutralLocale&) = delete;
  NeutralLocale& operator=(const NeutralLocale&) = delete;

 private:
  locale_t _before;
};

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_NEUTRAL_LOCALE_H_
