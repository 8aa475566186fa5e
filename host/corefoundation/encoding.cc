#include "host/corefoundation/encoding.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace cf {
namespace {

using Bytes = std::array<uint8_t, 4>;

std::u16string fromLatin1(std::string_view bytes) {
  std::u16string text(bytes.size(), u'\0');
  std::transform(bytes.begin(), bytes.end(), text.begin(),
                 [](char byte) { return static_cast<char16_t>(static_cast<uint8_t>(byte)); });
  return text;
}

bool isAscii(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(),
                     [](char byte) { return static_cast<uint8_t>(byte) < 0x80; });
}

bool isLeadSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool isTrailSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

/// Returns the surrogate pair or the single unit with which `text`, which is not empty, begins.
std::u16string_view firstCharacter(std::u16string_view text) {
  const bool pair = text.size() > 1 && isLeadSurrogate(text[0]) && isTrailSurrogate(text[1]);
  return text.substr(0, pair ? 2 : 1);
}

/// Returns how many ASCII characters `text` begins with.
size_t asciiRun(std::u16string_view text) {
  return static_cast<size_t>(
      std::ranges::find_if_not(text, [](char16_t unit) { return unit < 0x80; }) - text.begin());
}

/// Encodes the character into `bytes` and returns how many it needs, or 0 when `encoding` cannot
/// express it.
size_t encodeCharacter(std::u16string_view character, CFStringEncoding encoding, Bytes& bytes) {
  const char16_t unit = character.front();
  const char16_t end = encoding == kCFStringEncodingISOLatin1 ? 0x100 : 0x80;
  if (unit < end) {
    bytes[0] = static_cast<uint8_t>(unit);
    return 1;
  }
  if (encoding != kCFStringEncodingUTF8) return 0;
  if (character.size() == 1 && (isLeadSurrogate(unit) || isTrailSurrogate(unit))) return 0;
  const auto bytesEnd =
      utf8::unchecked::utf16to8(character.begin(), character.end(), bytes.begin());
  return static_cast<size_t>(bytesEnd - bytes.begin());
}

}  // namespace

std::optional<std::u16string> decode(std::string_view bytes, CFStringEncoding encoding) {
  switch (encoding) {
    case kCFStringEncodingISOLatin1:
      return fromLatin1(bytes);
    case kCFStringEncodingUTF8: {
      if (isAscii(bytes)) return fromLatin1(bytes);
      if (!utf8::is_valid(bytes.begin(), bytes.end())) return {};
      std::u16string text;
      text.reserve(bytes.size());
      utf8::unchecked::utf8to16(bytes.begin(), bytes.end(), std::back_inserter(text));
      return text;
    }
    default:
      return {};
  }
}

std::u16string decodeAny(std::string_view bytes) {
  if (auto text = decode(bytes, kCFStringEncodingUTF8)) return *std::move(text);
  return fromLatin1(bytes);
}

Encoded encode(std::u16string_view text, CFStringEncoding encoding, uint8_t lossByte,
               uint8_t* buffer, size_t room) {
  Encoded done;
  while (done.units < text.size()) {
    // Most text is ASCII, which is the same byte in every encoding.
    const std::u16string_view rest = text.substr(done.units);
    const size_t most = buffer == nullptr ? rest.size() : std::min(rest.size(), room - done.bytes);
    const size_t run = asciiRun(rest.substr(0, most));
    if (buffer != nullptr) std::copy_n(rest.begin(), run, buffer + done.bytes);
    done.units += run;
    done.bytes += run;
    if (run > 0) continue;

    const std::u16string_view character = firstCharacter(rest);
    Bytes bytes;
    size_t count = encodeCharacter(character, encoding, bytes);
    if (count == 0) {
      if (lossByte == 0) break;
      bytes[0] = lossByte;
      count = 1;
    }
    if (buffer != nullptr) {
      if (count > room - done.bytes) break;
      std::copy_n(bytes.begin(), count, buffer + done.bytes);
    }
    done.units += character.size();
    done.bytes += count;
  }
  return done;
}

std::optional<std::string> utf8Of(std::u16string_view text, uint8_t lossByte) {
  const Encoded needed = encode(text, kCFStringEncodingUTF8, lossByte, nullptr, 0);
  if (needed.units != text.size()) return {};
  std::string bytes(needed.bytes, '\0');
  encode(text, kCFStringEncodingUTF8, lossByte, reinterpret_cast<uint8_t*>(bytes.data()),
         bytes.size());
  return bytes;
}

}  // namespace cf
