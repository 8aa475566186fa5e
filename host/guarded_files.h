#ifndef CORVANE_HOST_GUARDED_FILES_H_
#define CORVANE_HOST_GUARDED_FILES_H_

#include <sys/types.h>

#include <cstdio>

/// The calls with which a program changes the unit's file tree, as the wrappers make them: nothing
/// is written through a symbolic link, and what root makes belongs to the owner of the folder that
/// it is in.
namespace corvane::host {

/// Opens the file as fopen does. Refuses to append through a symbolic link or to a file that is not
/// regular.
FILE* openGuarded(const char* path, const char* mode);

/// Makes the folder as mkdir does. Refuses a path that leads through a symbolic link.
int makeGuardedFolder(const char* path, mode_t mode);

}  // namespace corvane::host

#endif  // CORVANE_HOST_GUARDED_FILES_H_
