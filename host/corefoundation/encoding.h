#ifndef CORVANE_HOST_COREFOUNDATION_ENCODING_H_
#define CORVANE_HOST_COREFOUNDATION_ENCODING_H_

#include <CoreFoundation/CFString.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace cf {

/// Decodes `bytes` from `encoding`. Returns nothing when they are not valid in it.
std::optional<std::u16string> decode(std::string_view bytes, CFStringEncoding encoding);

/// Decodes `bytes` from UTF-8, or from Latin-1 when they are not valid UTF-8.
std::u16string decodeAny(std::string_view bytes);

struct Encoded {
  size_t units = 0;
  size_t bytes = 0;
};

/// Writes the first characters of `text` to `buffer`, as many as fit whole into `room` bytes, and
/// returns how much was converted. A character that `encoding` cannot express becomes `lossByte`,
/// or ends the conversion when that is 0. With a null buffer there is no limit and nothing is
/// written.
Encoded encode(std::u16string_view text, CFStringEncoding encoding, uint8_t lossByte,
               uint8_t* buffer, size_t room);

/// Encodes all of `text` as UTF-8, with `lossByte` for each lone surrogate. Returns nothing when
/// there is a lone surrogate and `lossByte` is 0.
std::optional<std::string> utf8Of(std::u16string_view text, uint8_t lossByte);

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_ENCODING_H_
