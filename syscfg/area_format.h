#ifndef CORVANE_SYSCFG_AREA_FORMAT_H_
#define CORVANE_SYSCFG_AREA_FORMAT_H_

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

/// The byte layout of a key store's area: a header, the table of entries after it, free space, and
/// the longer values packed downward from the area's end. Words are 32 bits, little-endian and of
/// any alignment; offsets count bytes from the start of the area. The bytes may be damaged in any
/// way: a function that takes an image's size reads nothing outside it.
namespace corvane::area {

inline constexpr uint32_t kMagic = 0x53436667;           // "SCfg"
inline constexpr uint32_t kIndirectMarker = 0x434E5442;  // "CNTB"
inline constexpr uint32_t kVersion = 0x00020001;
inline constexpr uint8_t kFreeByte = 0xFF;

struct Header {
  uint32_t magic;
  /// Offset of the first byte after the entries; only the header checks look at it.
  uint32_t table_end;
  /// May be less than the size of the image.
  uint32_t area_size;
  /// Written by formatting, never checked.
  uint32_t version;
  uint32_t reserved;
  uint32_t count;
};

/// An entry that holds its value itself. The value's length is not recorded.
struct InlineEntry {
  uint32_t key;
  uint8_t value[16];
};

/// An entry whose value lies at `offset`, followed by padding to a whole word.
struct IndirectEntry {
  uint32_t marker;
  uint32_t key;
  uint32_t length;
  uint32_t offset;
  /// Never written.
  uint32_t spare;
};

inline constexpr size_t kHeaderSize = 24;
inline constexpr size_t kEntrySize = 20;
inline constexpr size_t kInlineRoom = sizeof(InlineEntry::value);
static_assert(sizeof(Header) == kHeaderSize && offsetof(Header, count) == 20);
static_assert(sizeof(InlineEntry) == kEntrySize && offsetof(InlineEntry, value) == 4);
static_assert(sizeof(IndirectEntry) == kEntrySize && offsetof(IndirectEntry, spare) == 16);

/// Converts a word between this machine's byte order and the area's.
inline uint32_t swapForArea(uint32_t word) {
  return std::endian::native == std::endian::little ? word : __builtin_bswap32(word);
}

inline uint32_t loadWord(const uint8_t* at) {
  uint32_t word;
  std::memcpy(&word, at, sizeof(word));
  return swapForArea(word);
}

inline void storeWord(uint8_t* at, uint32_t word) {
  word = swapForArea(word);
  std::memcpy(at, &word, sizeof(word));
}

/// Reads and writes a struct of words: `Header` or `IndirectEntry`.
template <typename Words>
Words load(const uint8_t* at);
template <typename Words>
void store(uint8_t* at, const Words& fields);

/// Rounds `length`, which is below SIZE_MAX - 2, up to whole words.
constexpr size_t roundUp(size_t length) { return (length + 3) & ~size_t{3}; }

constexpr size_t entryOffset(size_t index) { return kHeaderSize + kEntrySize * index; }

/// Returns how many entries an image of `size` bytes has room for.
constexpr size_t entryCapacity(size_t size) {
  return (std::max(size, kHeaderSize) - kHeaderSize) / kEntrySize;
}

/// One condition of a sound header; `size` is the size of the image.
struct HeaderCheck {
  const char* condition;
  bool (*holds)(const Header& header, size_t size);
};

/// Returns the five conditions, in the order in which they are checked.
std::span<const HeaderCheck> headerChecks();

/// Returns whether the image has a header and all checks hold. `count` is not checked.
bool isHeaderSound(const uint8_t* image, size_t size);

/// Returns the number of entries that the header claims, which may be more than the image can
/// hold; 0 when the image has no header.
size_t claimedCount(const uint8_t* image, size_t size);

inline bool isIndirect(const uint8_t* entry) { return loadWord(entry) == kIndirectMarker; }

/// Returns the key of an entry of either kind.
inline uint32_t keyOf(const uint8_t* entry) {
  return loadWord(entry + (isIndirect(entry) ? offsetof(IndirectEntry, key) : 0));
}

/// Returns whether a value of `length` bytes at `offset` lies inside an image of `size` bytes: such
/// a value is read as stored, wherever it begins.
constexpr bool isInImage(size_t offset, size_t length, size_t size) {
  return offset <= size && length <= size - offset;
}

enum class ValueFault { kNone, kInsideTable, kOutsideImage };

/// Returns what keeps a store from having put a value of `length` bytes, in whole words, at
/// `offset` of an image of `size` bytes whose table ends at `tableEnd`.
ValueFault checkValue(size_t offset, size_t length, size_t tableEnd, size_t size);

/// Returns where free space ends: the lowest value's offset, or the area's end in whole words.
/// `count` is the number of entries, all of which lie inside the image. An offset inside the table
/// is damage and is ignored.
size_t freeEnd(const uint8_t* image, size_t count);

}  // namespace corvane::area

#endif  // CORVANE_SYSCFG_AREA_FORMAT_H_
