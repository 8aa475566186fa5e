#ifndef CORVANE_DATAAREA_NOR_ACCESS_H_
#define CORVANE_DATAAREA_NOR_ACCESS_H_

#include <stddef.h>
#include <stdint.h>

#include "../platform/export.h"

CORVANE_EXTERN_C_BEGIN

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

CORVANE_EXTERN_C_END

#endif  // CORVANE_DATAAREA_NOR_ACCESS_H_
