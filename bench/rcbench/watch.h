// Runs again whenever the settings file is saved, and what that changes.
#pragma once

#include <string>
#include <vector>

#include "bench/rcbench/runs.h"
#include "bench/show/printer.h"

namespace rcbench {

// Runs once with the settings of `file`, then after each of its saves, and prints the difference from the run
// before, until Ctrl-C. Settings that cannot be read are noted, and the next save is waited for. Result: the
// exit status.
int watch(const std::string &file, RouterRequest router, const std::vector<WishedRun> &runs,
          const bench::Target &target, const bench::Style &style);

}  // namespace rcbench
