// Programs run in the places of the network.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "bench/live/namespaces.h"

namespace live {

using Words = std::vector<std::string>;

struct Result {
    int status = 0;      // 128 + signal when one ended it
    std::string output;  // standard output and error
};

// Programs of the workstation, where this process is.
Result run_outside(const Words &words);

// The same in a place's network; the second leaves it running, its output in /run/log/PLACE.
Result run_in(const Place &place, const Words &words);
void start_in(const Place &place, const Words &words);

// Programs of the router in all its namespaces, its root as "/"; the output goes to /run/log/router.
struct RouterRun {
    Words words;
    Words environment = {};
    double limit = 60;  // seconds
};
Result run_in_router(const Place &router, const RouterRun &run);
void start_in_router(const Place &router, const RouterRun &run);

// The last lines that a place's programs wrote.
std::string log_tail(const std::string &place, size_t lines);

}  // namespace live
