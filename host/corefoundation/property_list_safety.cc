#include "host/corefoundation/property_list_safety.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <vector>

namespace cf {
namespace {

/// The largest weight of a list. A list weighs its bytes and kNodeCost for each node.
constexpr uint64_t kMaxWeight = uint64_t{64} << 20;
constexpr uint64_t kNodeCost = 64;

/// Walks the tags of an XML list and finds what its parser takes for a list all the same: a part of
/// one, a key without a value, a second value at the top, and integers that are not.
class XmlList {
 public:
  explicit XmlList(std::string_view list) : _list(list) {}

  bool isSound() {
    uint64_t weight = _list.size();
    while (!_isWhole) {
      const size_t textStart = _at;
      if (!skipTo("<")) return false;
      _text = _list.substr(textStart, _at - 1 - textStart);
      weight += kNodeCost / 2;
      if (weight > kMaxWeight || !readTag()) return false;
    }
    return true;
  }

 private:
  /// Moves after `end`. Returns false when the list ends before it.
  bool skipTo(std::string_view end) {
    const size_t found = _list.find(end, _at);
    if (found == _list.npos) return false;
    _at = found + end.size();
    return true;
  }

  bool readTag() {
    const std::string_view rest = _list.substr(_at);
    if (rest.starts_with("!--")) return skipTo("-->");
    if (rest.starts_with("![CDATA[")) return skipTo("]]>");
    if (rest.starts_with('!') || rest.starts_with('?')) return skipTo(">");

    const size_t start = _at;
    if (!skipTo(">")) return false;
    const std::string_view tag = _list.substr(start, _at - start - 1);
    const bool isEnd = tag.starts_with('/'), isEmpty = tag.ends_with('/');
    std::string_view name = tag.substr(isEnd);
    name = name.substr(0, name.find_first_of(" \t\r\n/"));
    if (!isEnd && !open(name)) return false;
    if (isEmpty) _text = {};
    return (!isEnd && !isEmpty) || close(name);
  }

  bool open(std::string_view name) {
    const bool isPlist = name == "plist";
    if (!isPlist && _depth == _topDepth && (name == "key" || ++_topValues > 1)) return false;
    if (name != "key") _awaitsValue = false;
    _topDepth += isPlist;
    return ++_depth <= kMaxPropertyListDepth + _topDepth;
  }

  bool close(std::string_view name) {
    if (name == "dict" && _awaitsValue) return false;
    if (name == "integer" && !isInteger(_text)) return false;
    if (name == "key") _awaitsValue = true;
    _isWhole = --_depth == 0;
    return true;
  }

  /// Returns whether `text` is white space, a sign, white space, then decimal digits or 0x and
  /// hexadecimal ones.
  static bool isInteger(std::string_view text) {
    const auto skipBlanks = [&] {
      text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    };
    skipBlanks();
    if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
    skipBlanks();
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    if (isHex) text.remove_prefix(2);
    uint64_t value = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, isHex ? 16 : 10);
    return error == std::errc() && end == text.data() + text.size();
  }

  std::string_view _list;
  size_t _at = 0;
  /// The text between the last tag and the one before it.
  std::string_view _text;
  /// How many elements are open, and at how many the list's one value begins: 1 inside a plist.
  int _depth = 0, _topDepth = 0, _topValues = 0;
  /// Whether the last element was a key.
  bool _awaitsValue = false;
  bool _isWhole = false;
};

/// Computes the weight of each object of a binary list together with all that it refers to.
class BinaryList {
 public:
  explicit BinaryList(std::string_view list) : _list(list) {}

  bool isSound() {
    if (_list.size() < kTrailerSize) return false;
    const size_t trailer = _list.size() - kTrailerSize;
    _offsetSize = number(trailer + 6, 1).value_or(0);
    _referenceSize = number(trailer + 7, 1).value_or(0);
    const uint64_t count = number(trailer + 8, 8).value_or(0);
    const uint64_t root = number(trailer + 16, 8).value_or(0);
    _offsetTable = number(trailer + 24, 8).value_or(0);
    if (count > _list.size()) return false;
    _weights.assign(count, kUnknown);
    const auto weight = weigh(root, 0);
    return weight && *weight <= kMaxWeight;
  }

 private:
  static constexpr size_t kTrailerSize = 32;
  static constexpr uint64_t kUnknown = 0;

  std::optional<uint64_t> number(uint64_t at, uint64_t size) const {
    if (size < 1 || size > sizeof(uint64_t)) return {};
    if (at > _list.size() || size > _list.size() - at) return {};
    uint64_t value = 0;
    for (const char byte : _list.substr(at, size)) value = value << 8 | static_cast<uint8_t>(byte);
    return value;
  }

  /// Returns the count that the marker at `at` gives, and moves `at` after it.
  std::optional<uint64_t> countAt(uint64_t& at) const {
    const uint64_t low = *number(at++, 1) & 0xF;
    if (low != 0xF) return low;
    const auto marker = number(at++, 1);
    if (!marker || *marker >> 4 != 1) return {};
    const uint64_t size = uint64_t{1} << (*marker & 0xF);
    const auto count = number(at, size);
    at += size;
    return count;
  }

  std::optional<uint64_t> offsetOf(uint64_t object) const {
    return number(_offsetTable + object * _offsetSize, _offsetSize);
  }

  /// Returns whether `count` references at `at` are to texts without zeros.
  bool areNames(uint64_t at, uint64_t count) const {
    for (uint64_t index = 0; index < count; ++index) {
      const auto reference = number(at + index * _referenceSize, _referenceSize);
      if (!reference || *reference >= _weights.size() || !isName(*reference)) return false;
    }
    return true;
  }

  bool isName(uint64_t object) const {
    auto at = offsetOf(object);
    const auto marker = at ? number(*at, 1) : std::nullopt;
    if (!marker || (*marker >> 4 != 0x5 && *marker >> 4 != 0x6)) return false;
    const uint64_t unitSize = *marker >> 4 == 0x5 ? 1 : 2;
    const auto length = countAt(*at);
    if (!length || *length > _list.size()) return false;
    for (uint64_t unit = 0; unit < *length; ++unit) {
      if (number(*at + unit * unitSize, unitSize).value_or(0) == 0) return false;
    }
    return true;
  }

  std::optional<uint64_t> weigh(uint64_t object, int depth) {
    if (object >= _weights.size() || depth > kMaxPropertyListDepth) return {};
    if (_weights[object] != kUnknown) return _weights[object];

    auto at = offsetOf(object);
    if (!at) return {};
    const auto marker = number(*at, 1);
    if (!marker) return {};

    uint64_t weight = kNodeCost;
    switch (*marker >> 4) {
      case 0x4:
      case 0x5:
      case 0x6: {
        const auto length = countAt(*at);
        if (!length || *length > _list.size()) return {};
        weight += *length;
        break;
      }
      case 0xA:
      case 0xD: {
        const bool isDictionary = *marker >> 4 == 0xD;
        const auto count = countAt(*at);
        if (!count || *count > _list.size()) return {};
        const auto contents = weighReferences(*at, isDictionary ? 2 * *count : *count, depth);
        if (!contents || (isDictionary && !areNames(*at, *count))) return {};
        weight += *contents;
        break;
      }
      default:
        break;
    }
    return _weights[object] = std::min(weight, kMaxWeight + 1);
  }

  std::optional<uint64_t> weighReferences(uint64_t at, uint64_t count, int depth) {
    uint64_t sum = 0;
    for (uint64_t index = 0; index < count; ++index) {
      const auto reference = number(at + index * _referenceSize, _referenceSize);
      if (!reference) return {};
      const auto weight = weigh(*reference, depth + 1);
      if (!weight || (sum += *weight) > kMaxWeight) return {};
    }
    return sum;
  }

  std::string_view _list;
  uint64_t _offsetSize = 0;
  uint64_t _referenceSize = 0;
  uint64_t _offsetTable = 0;
  std::vector<uint64_t> _weights;
};

}  // namespace

bool isSoundXml(std::string_view list) {
  return list.find('\0') == list.npos && XmlList(list).isSound();
}

bool isSoundBinary(std::string_view list) {
  return list.size() <= kMaxWeight && BinaryList(list).isSound();
}

}  // namespace cf
