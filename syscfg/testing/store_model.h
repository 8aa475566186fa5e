#ifndef CORVANE_SYSCFG_TESTING_STORE_MODEL_H_
#define CORVANE_SYSCFG_TESTING_STORE_MODEL_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <utility>
#include <vector>

#include "syscfg/memory_store.h"

namespace corvane::testing {

using Bytes = std::vector<uint8_t>;

/// Returns the image of a ScopedStore or a MemoryStore.
Bytes imageOf(const auto& store) {
  return {store.get()->image, store.get()->image + store.get()->size};
}

inline void putWords(Bytes& image, size_t at, std::initializer_list<size_t> words) {
  for (const size_t word : words) {
    for (int bit = 0; bit < 32; bit += 8) image[at++] = static_cast<uint8_t>(word >> bit);
  }
}

/// What a store that began empty holds, as a plain list of keys and values from which the whole
/// image is laid out each time. Keys that equal the indirect marker are not modelled.
class StoreModel {
 public:
  explicit StoreModel(size_t size) : _size(size) {}

  bool add(uint32_t key, const Bytes& value) {
    remove(key);
    _entries.emplace_back(key, value);
    size_t used = 24;
    for (const auto& [unused, held] : _entries) used += 20 + apart(held);
    if (used <= _size / 4 * 4) return true;
    _entries.pop_back();
    return false;
  }

  bool remove(uint32_t key) {
    return std::erase_if(_entries, [key](const auto& entry) { return entry.first == key; }) > 0;
  }

  /// Returns the value as it reads back: a short one is followed by free bytes.
  std::optional<Bytes> read(uint32_t key) {
    for (auto [held, value] : _entries) {
      if (held != key) continue;
      if (value.size() < 16) value.resize(16, 0xFF);
      return value;
    }
    return std::nullopt;
  }

  std::vector<uint32_t> keys() const {
    std::vector<uint32_t> keys;
    for (const auto& [key, unused] : _entries) keys.push_back(key);
    return keys;
  }

  Bytes image() const {
    Bytes image(_size, 0xFF);
    if (_size < 24) return image;
    const size_t count = _entries.size();
    putWords(image, 0, {0x53436667, 24 + 20 * count, _size, 0x00020001, 0, count});
    size_t at = 24, lowest = _size / 4 * 4;
    for (const auto& [key, value] : _entries) {
      size_t place = at + 4;
      if (apart(value) == 0) {
        putWords(image, at, {key});
      } else {
        place = lowest -= apart(value);
        putWords(image, at, {0x434E5442, key, value.size(), lowest});
      }
      std::copy(value.begin(), value.end(), image.begin() + static_cast<std::ptrdiff_t>(place));
      at += 20;
    }
    return image;
  }

 private:
  /// Returns how many bytes the value takes outside its entry.
  static size_t apart(const Bytes& value) {
    return value.size() <= 16 ? 0 : (value.size() + 3) / 4 * 4;
  }

  size_t _size;
  std::vector<std::pair<uint32_t, Bytes>> _entries;
};

}  // namespace corvane::testing

#endif  // CORVANE_SYSCFG_TESTING_STORE_MODEL_H_
