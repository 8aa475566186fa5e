#ifndef CORVANE_SYSCFG_TESTING_STORE_MODEL_H_
#define CORVANE_SYSCFG_TESTING_STORE_MODEL_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
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

inline void putWord(Bytes& image, size_t at, size_t word) {
  for (size_t index = 0; index < 4; ++index) {
    image[at + index] = static_cast<uint8_t>(word >> (8 * index));
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
    const auto entry = find(key);
    if (entry == _entries.end()) return false;
    _entries.erase(entry);
    return true;
  }

  /// Returns the value as it reads back: a short one is followed by free bytes.
  std::optional<Bytes> read(uint32_t key) {
    const auto entry = find(key);
    if (entry == _entries.end()) return std::nullopt;
    Bytes value = entry->second;
    if (value.size() < 16) value.resize(16, 0xFF);
    return value;
  }

  std::vector<uint32_t> keys() const {
    std::vector<uint32_t> keys;
    for (const auto& [key, unused] : _entries) keys.push_back(key);
    return keys;
  }

  Bytes image() const {
    Bytes image(_size, 0xFF);
    if (_size < 24) return image;
    size_t at = 0;
    for (const size_t word : {size_t{0x53436667}, 24 + 20 * _entries.size(), _size,
                              size_t{0x00020001}, size_t{0}, _entries.size()}) {
      putWord(image, at, word);
      at += 4;
    }
    size_t lowest = _size / 4 * 4;
    for (const auto& [key, value] : _entries) {
      size_t place = at + 4;
      if (apart(value) == 0) {
        putWord(image, at, key);
      } else {
        place = lowest -= apart(value);
        putWord(image, at, 0x434E5442);
        putWord(image, at + 4, key);
        putWord(image, at + 8, value.size());
        putWord(image, at + 12, lowest);
      }
      std::copy(value.begin(), value.end(), image.begin() + static_cast<std::ptrdiff_t>(place));
      at += 20;
    }
    return image;
  }

 private:
  using Entries = std::vector<std::pair<uint32_t, Bytes>>;

  /// Returns how many bytes the value takes outside its entry.
  static size_t apart(const Bytes& value) {
    return value.size() <= 16 ? 0 : (value.size() + 3) / 4 * 4;
  }

  Entries::iterator find(uint32_t key) {
    return std::find_if(_entries.begin(), _entries.end(),
                        [key](const auto& entry) { return entry.first == key; });
  }

  size_t _size;
  Entries _entries;
};

}  // namespace corvane::testing

#endif  // CORVANE_SYSCFG_TESTING_STORE_MODEL_H_
