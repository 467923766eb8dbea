// Where roots are made, and how they go: directories of their own, locked while in use.
#pragma once

#include <filesystem>

namespace bench {

// Whether there is a directory in which roots can be made, where wanted with device files in them.
bool has_place_for_roots(bool with_devices);

// A new empty directory: in memory (/dev/shm) where there is room, else under $TMPDIR, /tmp or /var/tmp.
// Roots of processes that were killed are removed on the way.
// Choice: roots are in `/dev/shm` where that can be used; those left behind by killed runs are removed by
// a later one.
std::filesystem::path make_directory_for_root();

// Takes the lock that says that a root is in use; it ends with the process. -1: another process has it.
int lock_root(const std::filesystem::path &directory);

// Removes what a run may have left, directories without permissions included.
void remove_tree(const std::filesystem::path &directory);

}  // namespace bench
