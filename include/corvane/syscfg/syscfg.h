#ifndef CORVANE_SYSCFG_SYSCFG_H_
#define CORVANE_SYSCFG_SYSCFG_H_

/// @file
/// A store of keys and values in a configuration area.

#include <stddef.h>
#include <stdint.h>

#include "../dataarea/nor_access.h"
#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// Spares C programs the word `struct`.
typedef struct syscfg_handle syscfg_handle;
/// An open key store: 32-bit keys, by convention four characters with the first in the most
/// significant byte, and byte values, in a memory image of the area that an accessor table reaches.
///
/// Functions return 0 or -1 unless stated otherwise. The area may be damaged flash: an entry whose
/// value does not lie inside the image is not found, a value that begins inside the table is read
/// as stored, and a change that would leave the image is refused with -1. A handle is used by one
/// thread; of two open handles, the one that is written back last wins.
///
/// The key 0x434E5442 ("CNTB") is not a key but marks entries whose value lies outside the table.
/// Do not use it: adding or deleting it silently destroys the first such entry.
struct syscfg_handle {
  /// Size of the image in bytes.
  size_t size;
  /// The whole area; owned by the handle.
  uint8_t* image;
  /// Borrowed; outlives the handle.
  const nor_access_table* access;
};

/// Loads the area that `access` reaches and returns a new handle, which the caller closes with
/// `syscfg__deinit`. An area without a sound header becomes an empty store, in the image only; one
/// that is too small for a header is an empty store with no room. Never returns null: the process
/// ends when there is no memory.
CORVANE_EXPORT syscfg_handle* syscfg__init(const nor_access_table* access);

/// Removes `key` from the store of `handle` and adds it as the last one with a copy of the `length`
/// bytes at `value`, which may be null when `length` is 0. Returns -1 when the value does not fit;
/// the key is then absent, even if it had a value before. An area that claims more entries than it
/// has room for is refused with -1 and stays as it is, the key's value included.
CORVANE_EXPORT int32_t syscfg__add_key(syscfg_handle* handle, uint32_t key, const void* value,
                                       size_t length);

/// Removes `key` from the store of `handle`. Returns -1 when it is not present, and when the area
/// claims more entries than it has room for.
CORVANE_EXPORT int32_t syscfg__del_key(syscfg_handle* handle, uint32_t key);

/// Copies the value of `key` in the store of `handle` to `destination` and its length in bytes to
/// `*length`; either may be null. A value that was added with at most 16 bytes reads back as 16, so
/// the destination needs room for 16 bytes or the length, whichever is larger. Returns -1, with
/// nothing stored, when the key is not present.
CORVANE_EXPORT int32_t syscfg__read_key(syscfg_handle* handle, uint32_t key, void* destination,
                                        size_t* length);

/// Fills `keys`, an array of `capacity` entries, with the keys of `handle` in the order in which
/// they were added, and returns their number. Returns -1, with nothing stored, when there are more
/// than `capacity` or the area claims more than it has room for.
CORVANE_EXPORT int32_t syscfg__list_key(syscfg_handle* handle, uint32_t* keys, size_t capacity);

/// Stores the whole image of `handle` through its table's `write`, which reports no status.
CORVANE_EXPORT void syscfg__flush(syscfg_handle* handle);

/// Frees `handle` and its image. Flushes first when `writeBack` is not 0; otherwise the changes
/// are dropped.
CORVANE_EXPORT void syscfg__deinit(syscfg_handle* handle, int32_t writeBack);

CORVANE_EXTERN_C_END

#endif  // CORVANE_SYSCFG_SYSCFG_H_
