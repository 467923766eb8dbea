// Runs what a root's run file says, isolated from the workstation.
#pragma once

#include <filesystem>

#include "bench/router.h"

namespace bench {

// Runs it to its end; throws Error when the sandbox does not start.
void run_in_sandbox(const Target &target, const std::filesystem::path &root, const Run &run);

}  // namespace bench
