// Runs of rc with calls that fail, many in one start of the program: see bench/run/preload/faults.cpp.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "bench/router.h"

// Kinds of calls, as the preloaded library counts them.
inline constexpr std::array kCalls = {"open", "read",   "write", "seek", "lock",   "memory", "fork",
                                      "pipe", "socket", "ioctl", "stat", "unlink", "poll"};

struct Fault {
    std::string call;  // of kCalls; "none"
    long at = 0;
    std::string what = "none";  // once, on, short, kill, half, fill
    int error = 0;

    std::string text() const;
};

struct Outcome {
    Fault fault;
    std::string end;  // exit, signal, limit
    int number = 0;
    std::string path;                  // of the call that failed; "-": none was reached
    int left = 0;                      // descriptors still open at the exit
    int store_writes = 0;              // that failed
    int flash_writes = 0;              // that failed, with the seeks before them
    int flash_reads = 0;               // that failed, with opens and seeks
    std::optional<std::string> store;  // the working copy; none: missing
    std::optional<std::string> flash;
    bool store_expected = false;  // as before, or as after the run without a fault
    bool flash_expected = false;
    std::vector<long> counts;  // of each kind of call
};

// Runs `words` in the root for each fault, every time with the same files, after one run without. The first
// outcome is of that one. Throws bench::Error when a run has no outcome.
std::vector<Outcome> run_faults(bench::Root &root, const bench::Target &target, const bench::Run &run,
                                const std::vector<Fault> &faults);
