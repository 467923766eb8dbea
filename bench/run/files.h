// Whole files of the workstation, and the fields in which the library writes to its helpers inside a root.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace bench {

// A whole file; throws Error when it cannot be read.
std::string read_whole(const std::filesystem::path &file);
// Replaces a file; throws Error when that is not possible.
void write_whole(const std::filesystem::path &file, std::string_view bytes);

// One field of the files that the helpers inside the root read: "LENGTH:", the bytes, a NUL.
void add_field(std::string &out, std::string_view bytes);

// "cannot WHAT PATH: the system's reason", for an Error.
std::string system_error(const std::string &what, const std::filesystem::path &path);

}  // namespace bench
