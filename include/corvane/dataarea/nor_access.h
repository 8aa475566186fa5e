#ifndef CORVANE_DATAAREA_NOR_ACCESS_H_
#define CORVANE_DATAAREA_NOR_ACCESS_H_

/// @file
/// The configuration area, as a key store (`syscfg__init`) reaches it.

#include <stddef.h>
#include <stdint.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

/// Size of the configuration area in bytes. No value of its key store is longer.
enum { kConfigurationAreaSize = 8192 };

/// Spares C programs the word `struct`.
typedef struct nor_access_table nor_access_table;
/// How a key store reaches the area that holds its keys. Fill in a table of your own for a store
/// over something else than the device's flash, such as a dump.
struct nor_access_table {
  /// Returns the size of the area in bytes.
  size_t (*size)(const nor_access_table* access);
  /// Fills `destination` with the whole area.
  void (*read)(const nor_access_table* access, void* destination);
  /// Stores `source` as the whole area.
  void (*write)(const nor_access_table* access, const void* source);
  /// Null, and never called.
  void* spare;
};

/// The table of the device's flash: the data set "VelmoDiagnosticDataSysCfg". Needs `getDataArea`
/// to have been called.
extern CORVANE_EXPORT const nor_access_table ferrox_nor_access;

/// Staging buffer of `kConfigurationAreaSize` bytes with the area as `ferrox_nor_read` last read
/// it; zeros before its first success. Null until the first `ferrox_nor_read` allocates it; never
/// freed.
extern CORVANE_EXPORT uint8_t* _sysCfg;

/// Returns `kConfigurationAreaSize`; `access` is not used.
CORVANE_EXPORT size_t ferrox_nor_size(const nor_access_table* access);

/// Reads the area into the staging buffer and fills `destination` with as many bytes of it as the
/// `size` of the table `access` says; bytes that the buffer does not have are zeros. A failed read
/// leaves a line in the system log and the buffer as it was, and `destination` receives that.
CORVANE_EXPORT void ferrox_nor_read(const nor_access_table* access, void* destination);

/// Writes the `kConfigurationAreaSize` bytes at `source` and commits them; the `size` of the table
/// `access` is not used. A failed write leaves a line in the system log. The staging buffer is
/// not changed.
CORVANE_EXPORT void ferrox_nor_write(const nor_access_table* access, const void* source);

CORVANE_EXTERN_C_END

#endif  // CORVANE_DATAAREA_NOR_ACCESS_H_
