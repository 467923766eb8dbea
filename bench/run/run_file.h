// The run file: what the helpers inside a root are to run, and how.
#pragma once

#include <string>
#include <vector>

#include "bench/router.h"

namespace bench {

// Its bytes, fields in pairs as bench/run/inside/inside.h has them.
std::string run_file(const Target &target, const Run &run, const std::vector<Interface> &interfaces);

}  // namespace bench
