#ifndef CORVANE_PLATFORM_REPORT_H_
#define CORVANE_PLATFORM_REPORT_H_

#include <cstdio>
#include <string_view>

namespace corvane {

/// Writes `text` to standard error, as it stands.
inline void reportOnStandardError(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace corvane

#endif  // CORVANE_PLATFORM_REPORT_H_
