// Paths of the root as a process inside would follow them, as places on the workstation.
#pragma once

#include <filesystem>
#include <string_view>

namespace bench {

// Follows `path` in the root as a process inside would, and gives the place on the workstation. What does
// not exist stays as it is.
std::filesystem::path resolve(const std::filesystem::path &root, std::string_view path, bool follow_last);

// Whether the place is one of the bench's own in the root.
bool is_bench_path(const std::filesystem::path &root, const std::filesystem::path &place);

}  // namespace bench
