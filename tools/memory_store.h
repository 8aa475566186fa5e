#ifndef CORVANE_TOOLS_MEMORY_STORE_H_
#define CORVANE_TOOLS_MEMORY_STORE_H_

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "syscfg/syscfg.h"

namespace corvane::tools {

/// An open key store over an area in memory: a dump's, or a copy of a unit's to try a change on.
class MemoryStore {
 public:
  explicit MemoryStore(std::span<const uint8_t> area)
      : _access{{sizeOf, readFrom, writeTo, nullptr}, {area.begin(), area.end()}},
        _store(syscfg__init(&_access)) {}
  ~MemoryStore() { syscfg__deinit(_store, 0); }
  MemoryStore(const MemoryStore&) = delete;
  MemoryStore& operator=(const MemoryStore&) = delete;

  syscfg_handle* get() const { return _store; }
  /// The area as the store has it now.
  std::span<const uint8_t> image() const { return {_store->image, _store->size}; }

 private:
  struct Access : nor_access_table {
    mutable std::vector<uint8_t> area;
  };
  static std::vector<uint8_t>& areaOf(const nor_access_table* access) {
    return static_cast<const Access*>(access)->area;
  }
  static size_t sizeOf(const nor_access_table* access) { return areaOf(access).size(); }
  static void readFrom(const nor_access_table* access, void* destination) {
    std::ranges::copy(areaOf(access), static_cast<uint8_t*>(destination));
  }
  static void writeTo(const nor_access_table* access, const void* source) {
    std::vector<uint8_t>& area = areaOf(access);
    std::copy_n(static_cast<const uint8_t*>(source), area.size(), area.begin());
  }

  Access _access;
  syscfg_handle* _store;
};

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_MEMORY_STORE_H_
