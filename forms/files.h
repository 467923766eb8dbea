// Files that host programs read and write. Whatever cannot be done is thrown as a Failure that names the
// file: kUnusable for input, kFailed for output.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "forms/settings.h"

namespace forms {

// What is read of a file at most; a larger one is refused.
constexpr size_t kStoreLimit = size_t{1} << 20;
constexpr size_t kFlashLimit = size_t{16} << 20;
constexpr size_t kLeasesLimit = size_t{1} << 20;
constexpr size_t kVpnLimit = size_t{64} << 10;
constexpr size_t kTextLimit = size_t{4} << 20;
constexpr size_t kFileLimit = size_t{16} << 20;  // contents of any other kind

enum class BlockDevices { kRefused, kAllowed };

// A whole file; "-" is standard input. Directories and devices are refused, pipes are read up to the limit.
std::string read_input(const std::string &path, size_t limit, BlockDevices devices = BlockDevices::kRefused);

// The settings of a text file; "-" is standard input.
std::vector<Setting> read_settings_file(const std::string &path);

// For messages: the path, or "standard input" for "-".
std::string input_name(const std::string &path);

// Replaces a whole file or makes it: written beside it, flushed, renamed. On any failure the old file stays
// as it is. A symbolic link is followed; mode and owner are kept; a new file has mode 0600.
void replace_file(const std::string &path, std::string_view bytes);

// Bytes for one place of a file.
struct Patch {
    size_t offset;
    std::string_view bytes;
};

// Writes the patches into a plain file or a block device, in their order; other bytes stay. There is room
// for all of them before the first one is written. A missing file is made, zero where nothing is written.
void patch_file(const std::string &path, const std::vector<Patch> &patches);

}  // namespace forms
