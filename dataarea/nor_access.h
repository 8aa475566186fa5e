#ifndef CORVANE_DATAAREA_NOR_ACCESS_H_
#define CORVANE_DATAAREA_NOR_ACCESS_H_

#include <stddef.h>
#include <stdint.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// Size of the configuration area in bytes. No value of its key store is longer.
enum { kConfigurationAreaSize = 8192 };

/// How a key store reaches the area that it keeps its keys in; a store over something else than the
/// device's flash (a file, a dump) is made by filling in a table of one's own.
typedef struct nor_access_table nor_access_table;
struct nor_access_table {
  /// Size of the area in bytes.
  size_t (*size)(const nor_access_table* access);
  /// Fills `destination` with the whole area.
  void (*read)(const nor_access_table* access, void* destination);
  /// Stores `source` as the whole area.
  void (*write)(const nor_access_table* access, const void* source);
  /// Null, and never called.
  void* spare;
};

/// The table of the device's flash: the data set "VelmoDiagnosticDataSysCfg", which needs
/// `getDataArea` to have been called.
extern CORVANE_EXPORT const nor_access_table ferrox_nor_access;

/// Staging buffer of 8192 bytes with the area as `ferrox_nor_read` last read it, zeros before its
/// first success. Null until the first `ferrox_nor_read` makes it; never freed.
extern CORVANE_EXPORT uint8_t* _sysCfg;

/// Returns `kConfigurationAreaSize`.
CORVANE_EXPORT size_t ferrox_nor_size(const nor_access_table* access);

/// Reads the area and fills `destination` with as many bytes of it as the table's `size` says. A
/// read that fails leaves a line in the system log, and `destination` gets the staging buffer as it
/// stands. What the buffer does not have, because it could not be made or ends before, is zeros.
CORVANE_EXPORT void ferrox_nor_read(const nor_access_table* access, void* destination);

/// Writes the 8192 bytes at `source`, whatever the table's `size` says, and commits them. A write
/// that fails leaves a line in the system log.
CORVANE_EXPORT void ferrox_nor_write(const nor_access_table* access, const void* source);

CORVANE_EXTERN_C_END

#endif  // CORVANE_DATAAREA_NOR_ACCESS_H_
