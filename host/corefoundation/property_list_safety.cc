#include "host/corefoundation/property_list_safety.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace cf {
namespace {

/// In bytes of the list, with kNodeCost for each node besides.
constexpr uint64_t kLargest = uint64_t{64} << 20;
constexpr uint64_t kNodeCost = 64;

bool opensCollection(std::string_view tag) {
  if (tag.ends_with('/')) return false;
  return tag.starts_with("array") || tag.starts_with("dict");
}

bool closesCollection(std::string_view tag) {
  return tag.starts_with("/array") || tag.starts_with("/dict");
}

/// The objects of a binary list, each weighed with all that it refers to.
class BinaryList {
 public:
  explicit BinaryList(std::string_view list) : _list(list) {}

  bool isSafe() {
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
    return weight && *weight <= kLargest;
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

  /// The count that the marker at `at` gives; `at` moves to what lies behind it.
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

  /// Whether `count` references at `at` are to texts without zeros.
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
    if (object >= _weights.size() || depth > kDeepestPropertyList) return {};
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
    return _weights[object] = std::min(weight, kLargest + 1);
  }

  std::optional<uint64_t> weighReferences(uint64_t at, uint64_t count, int depth) {
    uint64_t sum = 0;
    for (uint64_t index = 0; index < count; ++index) {
      const auto reference = number(at + index * _referenceSize, _referenceSize);
      if (!reference) return {};
      const auto weight = weigh(*reference, depth + 1);
      if (!weight || (sum += *weight) > kLargest) return {};
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

bool isSafeXml(std::string_view list) {
  if (list.find('\0') != list.npos) return false;
  uint64_t weight = list.size();
  int depth = 0;
  for (size_t at = 0; (at = list.find('<', at)) != list.npos;) {
    const std::string_view rest = list.substr(at + 1);
    const std::string_view end = rest.starts_with("!--")        ? "-->"
                                 : rest.starts_with("![CDATA[") ? "]]>"
                                                                : ">";
    const std::string_view tag = rest.substr(0, rest.find(end));
    if (opensCollection(tag)) ++depth;
    if (closesCollection(tag)) --depth;
    weight += kNodeCost / 2;
    if (depth > kDeepestPropertyList || weight > kLargest) return false;
    at += 1 + tag.size();
  }
  return weight <= kLargest;
}

bool isSafeBinary(std::string_view list) {
  return list.size() <= kLargest && BinaryList(list).isSafe();
}

}  // namespace cf
