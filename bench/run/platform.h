// What the workstation gives to every root.
#pragma once

#include <filesystem>
#include <string>

namespace bench {

struct Platform {
    std::filesystem::path shell;      // the real shell
    std::filesystem::path busybox;    // the commands that really act
    std::filesystem::path loader;     // where programs look for the loader of their libraries
    std::filesystem::path libraries;  // the C library's directory
};

// Found once; throws Error when something is missing.
const Platform &platform();

// The value of an environment variable, or `otherwise` when it is not set.
std::string from_environment(const char *name, const char *otherwise = "");

}  // namespace bench
