#ifndef CORVANE_SYSCFG_TESTING_MEMORY_AREA_H_
#define CORVANE_SYSCFG_TESTING_MEMORY_AREA_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "syscfg/syscfg.h"

namespace corvane::testing {

using Bytes = std::vector<uint8_t>;

/// An area in memory and the table that reaches it, for tests.
struct MemoryArea : nor_access_table {
  explicit MemoryArea(Bytes contents)
      : nor_access_table{sizeOf, readFrom, writeTo, nullptr}, bytes(std::move(contents)) {}

  /// What is stored, and how often it was written.
  mutable Bytes bytes;
  mutable int writes = 0;

 private:
  static const MemoryArea& self(const nor_access_table* access) {
    return *static_cast<const MemoryArea*>(access);
  }
  static size_t sizeOf(const nor_access_table* access) { return self(access).bytes.size(); }
  static void readFrom(const nor_access_table* access, void* destination) {
    const Bytes& bytes = self(access).bytes;
    if (!bytes.empty()) std::memcpy(destination, bytes.data(), bytes.size());
  }
  static void writeTo(const nor_access_table* access, const void* source) {
    const MemoryArea& area = self(access);
    ++area.writes;
    if (!area.bytes.empty()) std::memcpy(area.bytes.data(), source, area.bytes.size());
  }
};

struct DiscardStore {
  void operator()(syscfg_handle* handle) const { syscfg__deinit(handle, 0); }
};
/// An open store that is closed without a write-back.
using Store = std::unique_ptr<syscfg_handle, DiscardStore>;

inline Store openStore(const MemoryArea& area) { return Store(syscfg__init(&area)); }

inline Bytes imageOf(const Store& store) { return {store->image, store->image + store->size}; }

}  // namespace corvane::testing

#endif  // CORVANE_SYSCFG_TESTING_MEMORY_AREA_H_
