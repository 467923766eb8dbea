// Runs programs in a bench root and tells what each run cost.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "bench/router.h"

namespace perf {

using Words = std::vector<std::string>;

// What one run of a program took: microseconds of processor time (user and system) of the process alone and
// with its children, wall time; where asked for, the peak of its resident memory in KiB, and the peak of its
// own pages: private and dirty, shared with nobody.
struct Sample {
    double own = 0;
    double all = 0;
    double wall = 0;
    double peak = 0;
    double own_pages = 0;
};

using Samples = std::vector<Sample>;

struct Conditions {
    int runs = 1;
    int files = 0;          // limit of open files; 0: none
    bool in_bench = false;  // with the bench's library, so that pauses return at once
    bool peak = false;      // peak memory in place of times
    double limit = 600;     // seconds for all of it
};

struct Spread {
    double least = 0;
    double median = 0;
};

// A router as it is most of the time.
bench::Setup usual_router(const bench::Target &target);

// The path, in the root, of a program or script of the workstation.
std::string inside(const std::filesystem::path &program);

// The path of rc in the root.
extern const std::string kRc;

// Runs the commands in turns, each as often as asked. Throws bench::Error when one fails.
std::vector<Samples> measure(bench::Root &root, const std::vector<Words> &commands,
                             const Conditions &conditions);

// The instructions that one run of the program takes, without its children's.
double instructions(bench::Root &root, const Words &words);

Spread spread(std::vector<double> values);
Spread spread(const Samples &samples, double Sample::*field);

}  // namespace perf
