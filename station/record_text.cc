#include "station/record_text.h"

#include <utf8.h>

#include <cstdint>
#include <iterator>

namespace corvane::station {

std::string textForRecord(std::string_view text) {
  constexpr auto isControl = [](uint32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
  };
  std::string valid;
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid), '?');

  std::string fitting;
  for (auto at = valid.cbegin(); at != valid.cend();) {
    const auto start = at;
    const bool isShown = !isControl(utf8::next(at, valid.cend()));
    const std::string character = isShown ? std::string(start, at) : "?";
    if (fitting.size() + character.size() > kRecordTextRoom) break;
    fitting += character;
  }
  return fitting;
}

}  // namespace corvane::station
