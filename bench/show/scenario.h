// A router and its runs as the text of a scenario, which the scenario runner takes.
#pragma once

#include <string>
#include <vector>

#include "bench/router.h"

namespace bench {

// The directives before the first run. `like`: the clock and whether runs are nested. Of the image's usual
// answers those that are in `setup` are written.
std::string setup_directives(const Setup &setup, const Run &like);

// One run and everything it did: the whole trace, the exit status, the files and settings that changed.
// `words` without rc's own name.
std::string run_directives(const std::vector<std::string> &words, const Trace &trace, const Root &root);

// The part of it after the run itself.
std::string directives_after(const Trace &trace, const Root &root);

}  // namespace bench
