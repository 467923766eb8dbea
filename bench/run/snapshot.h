// What is in a root, path by path, and what changed between two moments.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "bench/router.h"

namespace bench {

// What is at one path of the root.
struct Node {
    char type = 'f';       // f file, d directory, l link, o other
    bool written = false;  // file: changed since the mark of the snapshot before
    std::string content;   // file: bytes; link: its text
};

using Snapshot = std::map<std::string, Node>;  // path in the root -> node

// Everything in the root but the bench's own. With `mark` every file gets an old time stamp, by which the
// next snapshot sees that it was written again with the same content.
Snapshot take_snapshot(const std::filesystem::path &root, bool mark);

// Choice: paths in the list of changed files are real ones (`/tmp/var/run/...`).
std::vector<FileChange> compare_snapshots(const Snapshot &before, const Snapshot &after);

// The same for settings: those of `after` in their order, removed ones last.
std::vector<SettingChange> compare_settings(const std::vector<Setting> &before,
                                            const std::vector<Setting> &after);

}  // namespace bench
