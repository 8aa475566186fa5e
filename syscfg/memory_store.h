#ifndef CORVANE_SYSCFG_MEMORY_STORE_H_
#define CORVANE_SYSCFG_MEMORY_STORE_H_

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "syscfg/syscfg.h"

namespace corvane {

/// An area in memory and the accessor table that reaches it. A store that is opened over it borrows
/// it and is closed first.
struct MemoryArea : nor_access_table {
  explicit MemoryArea(std::span<const uint8_t> contents)
      : nor_access_table{sizeOf, readFrom, writeTo, nullptr},
        bytes(contents.begin(), contents.end()) {}
  MemoryArea(const MemoryArea&) = delete;
  MemoryArea& operator=(const MemoryArea&) = delete;

  mutable std::vector<uint8_t> bytes;
  /// How often the area was written.
  mutable int writes = 0;

 private:
  static const MemoryArea& self(const nor_access_table* access) {
    return *static_cast<const MemoryArea*>(access);
  }
  static size_t sizeOf(const nor_access_table* access) { return self(access).bytes.size(); }
  static void readFrom(const nor_access_table* access, void* destination) {
    std::ranges::copy(self(access).bytes, static_cast<uint8_t*>(destination));
  }
  static void writeTo(const nor_access_table* access, const void* source) {
    const MemoryArea& area = self(access);
    ++area.writes;
    std::copy_n(static_cast<const uint8_t*>(source), area.bytes.size(), area.bytes.begin());
  }
};

struct CloseWithoutWriteBack {
  void operator()(syscfg_handle* store) const { syscfg__deinit(store, 0); }
};
/// An open key store that drops its changes when it is closed.
using ScopedStore = std::unique_ptr<syscfg_handle, CloseWithoutWriteBack>;

inline ScopedStore openStore(const MemoryArea& area) { return ScopedStore(syscfg__init(&area)); }

/// An open key store over an area of its own: a dump's, or a copy of a unit's to try a change on.
class MemoryStore {
 public:
  explicit MemoryStore(std::span<const uint8_t> contents)
      : _area(contents), _store(openStore(_area)) {}

  syscfg_handle* get() const { return _store.get(); }
  /// Returns the area as the store has it now.
  std::span<const uint8_t> image() const { return {_store->image, _store->size}; }

 private:
  MemoryArea _area;
  ScopedStore _store;
};

}  // namespace corvane

#endif  // CORVANE_SYSCFG_MEMORY_STORE_H_
