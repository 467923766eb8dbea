// Runs a scenario in a bench root of its own and compares what happened with what it expects.
#pragma once

#include <filesystem>
#include <string>

#include "bench/router.h"
#include "tests/runner/scenario.h"

// The programs under test.
struct Programs {
    bench::Target target;
    std::filesystem::path direct;  // the driver of operations that no command reaches
    bool system_view = false;      // they see the real /proc/self
};

// True when everything is as expected; else `report` tells, run by run, what differs and which line expects
// it.
bool run_scenario(const Programs &programs, const CaseFile &file, const Scenario &scenario,
                  std::string &report);

// What happened, written as the runs and expectations of a scenario.
std::string print_scenario(const Programs &programs, const Scenario &scenario);
