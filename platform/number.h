#ifndef CORVANE_PLATFORM_NUMBER_H_
#define CORVANE_PLATFORM_NUMBER_H_

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

/// Numbers as people and files have them, whatever the program's locale is.
namespace corvane {

/// Parses decimal digits, or 0x and hexadecimal digits; a leading zero does not make it octal.
std::optional<uint64_t> parseMagnitude(std::string_view text);

/// Parses the same, with a minus sign in front of a negative number. Returns nothing for other text
/// and for a number that is not from `min` to `max`.
template <std::integral T>
std::optional<T> parseNumber(std::string_view text, T min = std::numeric_limits<T>::min(),
                             T max = std::numeric_limits<T>::max()) {
  const bool isNegative = text.starts_with('-');
  const std::optional<uint64_t> magnitude = parseMagnitude(text.substr(isNegative ? 1 : 0));
  if (!magnitude || (isNegative && *magnitude > uint64_t{1} << 63)) return {};
  const auto inRange = [&](auto number) -> std::optional<T> {
    if (std::cmp_less(number, min) || std::cmp_greater(number, max)) return {};
    return static_cast<T>(number);
  };
  return isNegative ? inRange(static_cast<int64_t>(-*magnitude)) : inRange(*magnitude);
}

/// Parses a finite decimal number, such as "-12.5" or "1e-3".
std::optional<double> parseDecimal(std::string_view text);

/// Returns a finite number with as few of up to 17 significant digits as read back the same: "3.3".
std::string decimalText(double number);

/// Returns lower-case hexadecimal digits without a separator: "0a1b2c".
std::string hexText(std::span<const uint8_t> bytes);

/// Returns the number with at least `digits` hexadecimal digits: "0x0a".
std::string hexNumber(uint64_t number, int digits);

}  // namespace corvane

#endif  // CORVANE_PLATFORM_NUMBER_H_
