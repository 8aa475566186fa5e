#include "syscfg/syscfg.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>

#include "syscfg/area_format.h"

namespace area = corvane::area;

namespace {

constexpr int32_t kFailure = -1;

/// A key's entry, and where its value lies in the image.
struct Match {
  size_t index;
  size_t offset;
  size_t length;
};

size_t claimedCount(const syscfg_handle& handle) {
  return area::claimedCount(handle.image, handle.size);
}

bool isTableInImage(const syscfg_handle& handle) {
  return claimedCount(handle) <= area::entryCapacity(handle.size);
}

void setCount(const syscfg_handle& handle, size_t count) {
  area::storeWord(handle.image + offsetof(area::Header, count), static_cast<uint32_t>(count));
  area::storeWord(handle.image + offsetof(area::Header, table_end),
                  static_cast<uint32_t>(area::entryOffset(count)));
}

/// Returns the first entry of `key` whose value lies inside the image. A key that equals the marker
/// matches an indirect entry as if it were inline.
std::optional<Match> find(const syscfg_handle& handle, uint32_t key) {
  const size_t count = std::min(claimedCount(handle), area::entryCapacity(handle.size));
  for (size_t index = 0; index < count; ++index) {
    const uint8_t* const entry = handle.image + area::entryOffset(index);
    const uint32_t first = area::loadWord(entry);
    if (first == key) {
      return Match{index, area::entryOffset(index) + offsetof(area::InlineEntry, value),
                   area::kInlineRoom};
    }
    if (first != area::kIndirectMarker) continue;
    const auto fields = area::load<area::IndirectEntry>(entry);
    if (fields.key == key && area::isInImage(fields.offset, fields.length, handle.size)) {
      return Match{index, fields.offset, fields.length};
    }
  }
  return std::nullopt;
}

void removeEntry(const syscfg_handle& handle, size_t index) {
  const size_t last = claimedCount(handle) - 1;
  uint8_t* entry = handle.image + area::entryOffset(index);
  std::memmove(entry, entry + area::kEntrySize, area::kEntrySize * (last - index));
  std::memset(handle.image + area::entryOffset(last), area::kFreeByte, area::kEntrySize);
  setCount(handle, last);
}

/// Adds `distance` to the offset of each value in [begin, end).
void shiftOffsets(const syscfg_handle& handle, size_t begin, size_t end, size_t distance) {
  const size_t count = claimedCount(handle);
  for (size_t index = 0; index < count; ++index) {
    uint8_t* entry = handle.image + area::entryOffset(index);
    if (!area::isIndirect(entry)) continue;
    uint8_t* field = entry + offsetof(area::IndirectEntry, offset);
    const size_t offset = area::loadWord(field);
    if (offset >= begin && offset < end) {
      area::storeWord(field, static_cast<uint32_t>(offset + distance));
    }
  }
}

/// Removes an entry and moves what lies between the table and its value up over the value, so that
/// the values stay packed. A value that begins inside the table, as an inline one does, stays, and
/// nothing moves.
void removeWithValue(const syscfg_handle& handle, const Match& match) {
  const size_t tableEnd = area::entryOffset(claimedCount(handle));
  removeEntry(handle, match.index);
  if (match.offset < tableEnd) return;

  const size_t distance = area::roundUp(match.length);
  // A value's last word may end after the image: what would move past the end is dropped.
  const size_t gap = std::min(distance, handle.size - tableEnd);
  const size_t moved = std::min(match.offset, handle.size - gap) - tableEnd;
  uint8_t* const begin = handle.image + tableEnd;
  std::memmove(begin + gap, begin, moved);
  std::memset(begin, area::kFreeByte, gap);
  shiftOffsets(handle, tableEnd, match.offset + distance, distance);
}

void format(const syscfg_handle& handle) {
  std::memset(handle.image, area::kFreeByte, handle.size);
  if (handle.size < area::kHeaderSize) return;
  const size_t areaSize = std::min<size_t>(handle.size, std::numeric_limits<uint32_t>::max());
  area::store(handle.image, area::Header{.magic = area::kMagic,
                                         .table_end = area::kHeaderSize,
                                         .area_size = static_cast<uint32_t>(areaSize),
                                         .version = area::kVersion,
                                         .reserved = 0,
                                         .count = 0});
}

/// Opens a store. No exception may cross the C boundary: running out of memory ends the process
/// here.
syscfg_handle* open(const nor_access_table* access) noexcept {
  const size_t size = access->size(access);
  // Zeros, so that after a failed read the image has no header that an earlier handle left.
  const auto handle = new syscfg_handle{size, new uint8_t[size](), access};
  access->read(access, handle->image);
  if (!area::isHeaderSound(handle->image, size)) format(*handle);
  return handle;
}

}  // namespace

syscfg_handle* syscfg__init(const nor_access_table* access) { return open(access); }

int32_t syscfg__add_key(syscfg_handle* handle, uint32_t key, const void* value, size_t length) {
  syscfg__del_key(handle, key);
  const size_t count = claimedCount(*handle);
  if (count >= area::entryCapacity(handle->size) || length > handle->size) return kFailure;

  const size_t rounded = area::roundUp(length);
  const bool isInline = rounded <= area::kInlineRoom;
  const size_t need = area::kEntrySize + (isInline ? 0 : rounded);
  const size_t end = area::freeEnd(handle->image, count);
  // When area_size lies inside the table, the difference wraps and always suffices. An inline entry
  // then still has its place in the image.
  if (end - area::entryOffset(count) < need) return kFailure;

  uint8_t* entry = handle->image + area::entryOffset(count);
  uint8_t* place = entry + offsetof(area::InlineEntry, value);
  if (isInline) {
    area::storeWord(entry, key);
  } else {
    const size_t offset = end - rounded;
    if (area::checkValue(offset, length, area::entryOffset(count + 1), handle->size) !=
        area::ValueFault::kNone) {
      return kFailure;
    }
    area::storeWord(entry, area::kIndirectMarker);
    area::storeWord(entry + offsetof(area::IndirectEntry, key), key);
    area::storeWord(entry + offsetof(area::IndirectEntry, length), static_cast<uint32_t>(length));
    area::storeWord(entry + offsetof(area::IndirectEntry, offset), static_cast<uint32_t>(offset));
    place = handle->image + offset;
  }
  if (length > 0) std::memcpy(place, value, length);
  setCount(*handle, count + 1);
  return 0;
}

int32_t syscfg__del_key(syscfg_handle* handle, uint32_t key) {
  if (!isTableInImage(*handle)) return kFailure;
  const std::optional<Match> match = find(*handle, key);
  if (!match) return kFailure;
  removeWithValue(*handle, *match);
  return 0;
}

int32_t syscfg__read_key(syscfg_handle* handle, uint32_t key, void* destination, size_t* length) {
  const std::optional<Match> match = find(*handle, key);
  if (!match) return kFailure;
  if (length) *length = match->length;
  if (destination) std::memcpy(destination, handle->image + match->offset, match->length);
  return 0;
}

int32_t syscfg__list_key(syscfg_handle* handle, uint32_t* keys, size_t capacity) {
  const size_t count = claimedCount(*handle);
  if (count > capacity || !isTableInImage(*handle)) return kFailure;
  for (size_t index = 0; index < count; ++index) {
    keys[index] = area::keyOf(handle->image + area::entryOffset(index));
  }
  return static_cast<int32_t>(count);
}

void syscfg__flush(syscfg_handle* handle) { handle->access->write(handle->access, handle->image); }

void syscfg__deinit(syscfg_handle* handle, int32_t writeBack) {
  if (writeBack) syscfg__flush(handle);
  delete[] handle->image;
  delete handle;
}
