#include <CoreFoundation/CFBase.h>
#include <utf8.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "host/corefoundation/description.h"
#include "host/corefoundation/encoding.h"
#include "host/corefoundation/neutral_locale.h"
#include "host/corefoundation/object.h"
#include "host/corefoundation/string.h"

namespace cf {
namespace {

enum class Width { kInt, kChar, kShort, kLong, kLongLong, kSize, kPointer, kMax, kLongDouble };

/// A conversion of a format, which begins with '%'.
struct Conversion {
  std::string flags;
  int width = 0;
  /// Is negative when the format gives none.
  int precision = -1;
  Width argument = Width::kInt;
  char16_t letter = 0;
};

constexpr std::u16string_view kFlags = u"-+ #0'";

/// Walks a format and its arguments side by side and builds the text.
class Formatter {
 public:
  Formatter(std::u16string_view format, va_list arguments) : _format(format) {
    va_copy(_arguments, arguments);
  }
  ~Formatter() { va_end(_arguments); }
  Formatter(const Formatter&) = delete;
  Formatter& operator=(const Formatter&) = delete;

  std::u16string run() {
    _out.reserve(_format.size() + kUsualGrowth);
    while (_at < _format.size()) {
      const size_t start = std::min(_format.find(u'%', _at), _format.size());
      _out += _format.substr(_at, start - _at);
      _at = start;
      if (_at == _format.size()) break;
      const auto conversion = parse();
      if (!conversion || !append(*conversion)) _out += _format.substr(start, _at - start);
    }
    return std::move(_out);
  }

 private:
  static constexpr size_t kUsualGrowth = 64;

  /// Consumes the next unit of the format when it is `unit`, and returns whether it was.
  bool accept(char16_t unit) {
    if (_at >= _format.size() || _format[_at] != unit) return false;
    ++_at;
    return true;
  }

  /// Parses a "*" or decimal digits. Returns 0 when there is neither.
  int parseCount() {
    if (accept(u'*')) return va_arg(_arguments, int);
    int64_t count = 0;
    while (_at < _format.size() && _format[_at] >= u'0' && _format[_at] <= u'9') {
      count = std::min<int64_t>(10 * count + (_format[_at++] - u'0'), INT32_MAX);
    }
    return static_cast<int>(count);
  }

  Width parseArgument() {
    if (accept(u'h')) return accept(u'h') ? Width::kChar : Width::kShort;
    if (accept(u'l')) return accept(u'l') ? Width::kLongLong : Width::kLong;
    if (accept(u'q')) return Width::kLongLong;
    if (accept(u'z')) return Width::kSize;
    if (accept(u't')) return Width::kPointer;
    if (accept(u'j')) return Width::kMax;
    if (accept(u'L')) return Width::kLongDouble;
    return Width::kInt;
  }

  /// Parses a conversion. Returns nothing when the format ends inside it.
  std::optional<Conversion> parse() {
    Conversion conversion;
    ++_at;
    while (_at < _format.size() && kFlags.find(_format[_at]) != kFlags.npos) {
      const auto flag = static_cast<char>(_format[_at++]);
      if (conversion.flags.find(flag) == std::string::npos) conversion.flags += flag;
    }
    conversion.width = parseCount();
    if (accept(u'.')) conversion.precision = parseCount();
    conversion.argument = parseArgument();
    if (_at == _format.size()) return {};
    conversion.letter = _format[_at++];
    return conversion;
  }

  /// Appends what the conversion makes of its argument. Returns false, and consumes no argument,
  /// when there is no such conversion.
  bool append(const Conversion& conversion) {
    const auto isOneOf = [&](std::u16string_view letters) {
      return letters.find(conversion.letter) != letters.npos;
    };
    if (isOneOf(u"%")) {
      _out += u'%';
    } else if (isOneOf(u"di")) {
      appendSigned(conversion, nextSigned(conversion.argument));
    } else if (isOneOf(u"uoxX")) {
      appendNumber(conversion, "j", nextUnsigned(conversion.argument));
    } else if (isOneOf(u"aAeEfFgG")) {
      if (conversion.argument == Width::kLongDouble) {
        appendNumber(conversion, "L", va_arg(_arguments, long double));
      } else {
        appendNumber(conversion, "", va_arg(_arguments, double));
      }
    } else if (isOneOf(u"@")) {
      appendObject(conversion, va_arg(_arguments, CFTypeRef));
    } else {
      const auto text = nextText(conversion);
      if (!text) return false;
      appendPadded(conversion, *text);
    }
    return true;
  }

  /// Returns the next argument, a text, a character or an address, as text. Returns nothing, and
  /// consumes no argument, when the conversion is for none of them.
  std::optional<std::u16string> nextText(const Conversion& conversion) {
    switch (conversion.letter) {
      case u'c':
        return std::u16string(1, static_cast<uint8_t>(va_arg(_arguments, int)));
      case u'C':
        return std::u16string(1, static_cast<char16_t>(va_arg(_arguments, int)));
      case u's':
        return narrowText(va_arg(_arguments, const char*), conversion.precision);
      case u'S':
        return wideText(va_arg(_arguments, const UniChar*), conversion.precision);
      case u'p':
        return addressText(va_arg(_arguments, const void*));
      default:
        return {};
    }
  }

  intmax_t nextSigned(Width width) {
    switch (width) {
      case Width::kChar:
        return static_cast<signed char>(va_arg(_arguments, int));
      case Width::kShort:
        return static_cast<short>(va_arg(_arguments, int));
      case Width::kLong:
        return va_arg(_arguments, long);
      case Width::kLongLong:
      case Width::kLongDouble:
        return va_arg(_arguments, long long);
      case Width::kSize:
      case Width::kPointer:
        return va_arg(_arguments, ptrdiff_t);
      case Width::kMax:
        return va_arg(_arguments, intmax_t);
      case Width::kInt:
        break;
    }
    return va_arg(_arguments, int);
  }

  uintmax_t nextUnsigned(Width width) {
    const auto value = static_cast<uintmax_t>(nextSigned(width));
    switch (width) {
      case Width::kChar:
        return static_cast<unsigned char>(value);
      case Width::kShort:
        return static_cast<unsigned short>(value);
      case Width::kInt:
        return static_cast<unsigned int>(value);
      default:
        return value;
    }
  }

  void appendSigned(const Conversion& conversion, intmax_t number) {
    const bool hasZeros = conversion.flags == "0";
    const bool isSimple = hasZeros || conversion.flags.empty();
    if (!isSimple || conversion.width < 0 || conversion.precision >= 0) {
      return appendNumber(conversion, "j", number);
    }
    std::array<char, 24> buffer;
    std::string_view digits(buffer.begin(),
                            std::to_chars(buffer.begin(), buffer.end(), number).ptr);
    const auto width = static_cast<size_t>(conversion.width);
    const size_t padding = width > digits.size() ? width - digits.size() : 0;
    if (hasZeros && number < 0) {
      _out += u'-';
      digits.remove_prefix(1);
    }
    _out.append(padding, hasZeros ? u'0' : u' ');
    appendAscii(_out, digits);
  }

  template <typename Number>
  void appendNumber(const Conversion& conversion, const char* length, Number number) {
    const std::string format =
        '%' + conversion.flags + "*.*" + length + static_cast<char>(conversion.letter);
    const NeutralLocale neutral;
    std::array<char, 128> small;
    const int needed = std::snprintf(small.data(), small.size(), format.c_str(), conversion.width,
                                     conversion.precision, number);
    if (needed < 0) return;
    const auto size = static_cast<size_t>(needed);
    if (size < small.size()) return appendAscii(_out, {small.data(), size});

    std::string large(size, '\0');
    std::snprintf(large.data(), size + 1, format.c_str(), conversion.width, conversion.precision,
                  number);
    appendAscii(_out, large);
  }

  /// Decodes `bytes`, but no more than `precision` of them unless that is negative.
  static std::u16string narrowText(const char* bytes, int precision) {
    if (bytes == nullptr) bytes = "(null)";
    if (precision < 0) return decodeAny(bytes);
    const auto limit = static_cast<size_t>(precision);
    std::string_view text(bytes, strnlen(bytes, limit));
    if (text.size() == limit) {
      // The limit may have cut the last character in two.
      const auto valid =
          static_cast<size_t>(utf8::find_invalid(text.begin(), text.end()) - text.begin());
      if (text.size() - valid < 4) text = text.substr(0, valid);
    }
    return decodeAny(text);
  }

  static std::u16string wideText(const UniChar* units, int precision) {
    if (units == nullptr) return u"(null)";
    std::u16string text;
    while (precision-- != 0 && *units != 0) text += static_cast<char16_t>(*units++);
    return text;
  }

  static std::u16string addressText(const void* address) {
    std::u16string text;
    appendAddress(text, address);
    return text;
  }

  void appendObject(const Conversion& conversion, CFTypeRef object) {
    std::u16string text;
    if (object == nullptr) {
      text = u"(null)";
    } else {
      asObject(object)->appendText(text, {});
    }
    if (conversion.precision >= 0) text = text.substr(0, static_cast<size_t>(conversion.precision));
    appendPadded(conversion, text);
  }

  void appendPadded(const Conversion& conversion, std::u16string_view text) {
    // A negative width, which only "*" can give, aligns to the left as the flag does.
    const bool left = conversion.width < 0 || conversion.flags.find('-') != std::string::npos;
    const auto width = static_cast<size_t>(std::abs(int64_t{conversion.width}));
    const size_t padding = width > text.size() ? width - text.size() : 0;
    if (!left) _out.append(padding, u' ');
    _out += text;
    if (left) _out.append(padding, u' ');
  }

  std::u16string_view _format;
  va_list _arguments;
  size_t _at = 0;
  std::u16string _out;
};

}  // namespace

std::u16string formatted(std::u16string_view format, va_list arguments) {
  return Formatter(format, arguments).run();
}

}  // namespace cf
