// The floors of the settings store's jobs, in plain C: the same job with nothing around it.
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Reads the file and returns a new copy of the key's value, null when there is none.
char *floor_get(const char *path, const char *key);

// Reads the file and rewrites it with the key's entry replaced by one with a value of the same length.
void floor_set(const char *path, const char *key, const char *value);

// Reads the file and writes it, with its checksum in front, into the other file.
void floor_commit(const char *path, const char *flash);

#ifdef __cplusplus
}
#endif
