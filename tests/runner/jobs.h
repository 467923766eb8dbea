// Runs cases, each in a process of its own, several at once; their reports come out in the order of the
// cases.
#pragma once

#include <string>
#include <vector>

#include "tests/runner/runner.h"

// One case, read and ready to run.
struct Job {
    const CaseFile *file;
    const Case *one;
    Scenario scenario;
};

struct JobOptions {
    int processes = 1;  // at once
    bool print = false;
    bool stop = false;  // begins no further case after one that fails
    std::string again;  // this program and its options, as a shell reads them
};

// A word as a shell reads it.
std::string shell_word(const std::string &word);

// Runs all, or, with `stop`, those that begin before one fails; returns how many passed and how many failed.
struct JobCounts {
    size_t passed = 0;
    size_t failed = 0;
};
JobCounts run_jobs(const Programs &programs, const JobOptions &options, const std::vector<Job> &jobs);
