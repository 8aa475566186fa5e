#ifndef CORVANE_FUZZ_STORE_SCRIPT_H_
#define CORVANE_FUZZ_STORE_SCRIPT_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "syscfg/area_format.h"
#include "syscfg/testing/store_model.h"

namespace corvane::testing {

/// The keys that scripts use: ordinary ones, extremes and the indirect marker.
inline constexpr uint32_t kScriptKeys[] = {0x4F505453, 0x41424344,           0x4B455931,
                                           0x4B455932, 0x4B455933,           0,
                                           0xFFFFFFFF, area::kIndirectMarker};

/// Runs scripted operations over an area of any contents and checks what holds even for a damaged
/// one. Each check returns what is wrong, or null.
class StoreScript {
 public:
  explicit StoreScript(Bytes contents) : _area(std::move(contents)) {}

  /// Runs `script`, in which each step is four bytes: operation, key, and the value's length.
  const char* run(const Bytes& script) {
    if (const char* wrong = checkRoundTrip()) return wrong;
    ScopedStore store = openStore(_area);
    for (size_t at = 0; at + 4 <= script.size(); at += 4) {
      const uint32_t key = kScriptKeys[script[at + 1] % std::size(kScriptKeys)];
      const size_t length = script[at + 2] + size_t{256} * (script[at + 3] % 64);
      const char* wrong = nullptr;
      switch (script[at] % 4) {
        case 0:
          wrong = checkAdd(store, key, Bytes(length, script[at]));
          break;
        case 1:
          wrong = checkDelete(store, key);
          break;
        case 2:
          wrong = checkRead(store, key);
          break;
        default:
          wrong = checkList(store, length);
          break;
      }
      if (wrong) return wrong;
    }
    const Bytes image = imageOf(store);
    syscfg__deinit(store.release(), 1);
    return _area.bytes == image ? nullptr : "a write-back stored something else than the image";
  }

 private:
  const char* checkRoundTrip() {
    const Bytes before = _area.bytes;
    syscfg__deinit(syscfg__init(&_area), 0);
    if (_area.bytes != before) return "opening wrote to the area";
    syscfg__deinit(syscfg__init(&_area), 1);
    if (area::isHeaderSound(before.data(), before.size()) && _area.bytes != before) {
      return "a sound area changed by being opened and written back";
    }
    return imageOf(openStore(_area)) == _area.bytes ? nullptr
                                                    : "a written area was formatted again";
  }

  static std::optional<std::vector<uint32_t>> listKeys(const ScopedStore& store) {
    std::vector<uint32_t> keys(store->size);
    const int32_t count = syscfg__list_key(store.get(), keys.data(), keys.size());
    if (count < 0) return std::nullopt;
    keys.resize(static_cast<size_t>(count));
    return keys;
  }

  static std::optional<Bytes> readKey(const ScopedStore& store, uint32_t key) {
    Bytes value(store->size);
    size_t length = 0;
    if (syscfg__read_key(store.get(), key, value.data(), &length) != 0) return std::nullopt;
    // Longer than the area is for the caller to see.
    value.resize(length);
    return value;
  }

  static const char* checkAdd(const ScopedStore& store, uint32_t key, const Bytes& value) {
    const auto keys = listKeys(store);
    if (syscfg__add_key(store.get(), key, value.data(), value.size()) != 0) return nullptr;
    if (!keys) return "a table beyond the image was added to";
    // What is added is found unless an entry that comes earlier matches too.
    if (key == area::kIndirectMarker || std::count(keys->begin(), keys->end(), key) > 1) {
      return nullptr;
    }
    const auto found = readKey(store, key);
    if (!found || found->size() != std::max(value.size(), area::kInlineRoom) ||
        !std::equal(value.begin(), value.end(), found->begin())) {
      return "an added key does not read back";
    }
    return nullptr;
  }

  static const char* checkDelete(const ScopedStore& store, uint32_t key) {
    const Bytes before = imageOf(store);
    const bool isDeleted = syscfg__del_key(store.get(), key) == 0;
    return isDeleted || imageOf(store) == before ? nullptr : "a refused delete changed the image";
  }

  static const char* checkRead(const ScopedStore& store, uint32_t key) {
    const auto value = readKey(store, key);
    return !value || value->size() <= store->size ? nullptr : "a value is longer than the area";
  }

  static const char* checkList(const ScopedStore& store, size_t capacity) {
    std::vector<uint32_t> keys(capacity);
    const int32_t count = syscfg__list_key(store.get(), keys.data(), capacity);
    if (count < -1 || count > static_cast<int32_t>(capacity)) return "a list exceeds its capacity";
    return nullptr;
  }

  MemoryArea _area;
};

}  // namespace corvane::testing

#endif  // CORVANE_FUZZ_STORE_SCRIPT_H_
