// The runs of rc that a command line asks for: WORDS... , KEY=VALUE... WORDS...
#pragma once

#include <vector>

#include "bench/rcbench/router_options.h"

namespace rcbench {

// One run of rc and the settings that change before it.
struct WishedRun {
    std::vector<bench::Setting> changes;
    Words words = {"rc"};
};

// Cuts the words at commas. Refuses runs without words.
std::vector<WishedRun> read_runs(const Words &words);

// The keys that change before the runs.
std::vector<std::string> changed_keys(const std::vector<WishedRun> &runs);

// Puts the run's settings in and runs it.
bench::Trace run_in(bench::Root &root, const RouterRequest &request, const WishedRun &wished);

// All runs in one router, with or without the changed settings; their traces.
std::vector<bench::Trace> all_runs(const RouterRequest &request, const std::vector<WishedRun> &runs,
                                   const bench::Target &target, bool with_changes);

}  // namespace rcbench
