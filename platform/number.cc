#include "platform/number.h"

#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <iomanip>
#include <locale>
#include <sstream>

namespace corvane {

std::optional<uint64_t> parseMagnitude(std::string_view text) {
  const bool isHex = text.starts_with("0x");
  if (isHex) text.remove_prefix(2);
  const char* const end = text.data() + text.size();
  uint64_t number = 0;
  const auto [at, error] = std::from_chars(text.data(), end, number, isHex ? 16 : 10);
  if (error != std::errc() || at != end) return {};
  return number;
}

// Not every C++ library of a device has from_chars and to_chars of a double.

std::optional<double> parseDecimal(std::string_view text) {
  if (text.find_first_not_of("0123456789.eE+-") != text.npos || text.starts_with('+')) return {};
  std::istringstream input{std::string(text)};
  input.imbue(std::locale::classic());
  double number = 0;
  if (!(input >> number) || input.peek() != std::char_traits<char>::eof()) return {};
  return number;
}

std::string decimalText(double number) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  for (int digits = 15; digits <= 17; ++digits) {
    text.str("");
    text << std::setprecision(digits) << number;
    if (parseDecimal(text.str()) == number) break;
  }
  return text.str();
}

std::string hexText(std::span<const uint8_t> bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

std::string hexNumber(uint64_t number, int digits) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%0*" PRIx64, digits, number);
  return text;
}

}  // namespace corvane
