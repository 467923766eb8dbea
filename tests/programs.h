// Where the C++ tests find the programs they run: beside their own.
#pragma once

#include <filesystem>
#include <optional>

#include "bench/router.h"

inline std::filesystem::path program_folder()
{
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

// rc as built together with the tests.
inline bench::Target built_rc()
{
    return bench::host_target(program_folder() / "rc");
}

// What a test says that is left out where rc for the target is missing.
constexpr const char *kNeedsTarget =
    "needs the programs for the target: cmake --preset mips, cmake --build --preset mips";

// rc for the target, where it is built too; else none.
inline std::optional<bench::Target> built_rc_of_target()
{
    const std::filesystem::path build = program_folder().parent_path().parent_path() / "mips";
    if (!std::filesystem::exists(build / "bin" / "rc")) {
        return std::nullopt;
    }
    return bench::emulated_target(build / "bin" / "rc");
}
