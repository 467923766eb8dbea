// What the library's own files share: the root's files as the workstation sees them.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "bench/router.h"

namespace bench {

// A whole file; throws Error when it cannot be read.
std::string read_whole(const std::filesystem::path &file);
// Replaces a file; throws Error when that is not possible.
void write_whole(const std::filesystem::path &file, std::string_view bytes);

// One field of the files that the helpers inside the root read: "LENGTH:", the bytes, a NUL.
void add_field(std::string &out, std::string_view bytes);

// What stands at one path of the root.
struct Node {
    char type = 'f';       // f file, d directory, l link, o other
    bool written = false;  // file: changed since the mark of the snapshot before
    std::string content;   // file: bytes; link: its text
};

using Snapshot = std::map<std::string, Node>;  // path in the root -> node

// Everything in the root but the bench's own. With `mark` every file gets an old time stamp, by which the
// next snapshot sees that it was written again with the same content.
Snapshot take_snapshot(const std::filesystem::path &root, bool mark);

std::vector<FileChange> compare_snapshots(const Snapshot &before, const Snapshot &after);

// Events, exit status and output from the record in the root.
void read_record(const Root &root, Trace &trace);

// What the workstation gives to every root.
struct Platform {
    std::filesystem::path shell;      // the real shell
    std::filesystem::path busybox;    // the commands that really act
    std::filesystem::path loader;     // where programs look for the loader of their libraries
    std::filesystem::path libraries;  // the C library's directory
};

// Found once; throws Error when something is missing.
const Platform &platform();

}  // namespace bench
