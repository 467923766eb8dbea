// The runs of rc that a command line asks for: WORDS... , [--clock TIME] KEY=VALUE... WORDS...
#pragma once

#include <vector>

#include "bench/rcbench/router_options.h"
#include "bench/show/printer.h"

namespace rcbench {

// One run of rc and the settings that change before it.
struct WishedRun {
    std::vector<bench::Setting> changes;
    Words words = {"rc"};
    std::optional<int64_t> clock = {};  // set before the run
};

// Refuses a word with a comma at its end or beginning: no word of rc's has one.
void refuse_stuck_comma(const std::string &word);

// Cuts the words at commas. Refuses runs without words.
std::vector<WishedRun> read_runs(const Words &words);

// The keys that change before the runs.
std::vector<std::string> changed_keys(const std::vector<WishedRun> &runs);

// A run with all that the options say about runs, as yet without words.
bench::Run run_like(const RouterRequest &request);

// Puts the run's settings in and runs it. `clock`: what the runs before have made of the time; it goes on.
bench::Trace run_in(bench::Root &root, const RouterRequest &request, const WishedRun &wished, int64_t &clock);

// What rc takes as its first word: verbs and services.
std::vector<std::string> first_words();

// Notes on standard error: what the request or the runs name that nothing met: a reply that no tool asked
// for, a file to remove that was not there, a service that rc does not have.
void note_unmet(const RouterRequest &request, const std::vector<WishedRun> &runs, const bench::Target &target,
                const std::vector<bench::Trace> &traces);

// kFailed when the bench itself cut one of the runs off, else `status`.
int status_of(const std::vector<bench::Trace> &traces, int status);

// All runs in one router, with or without the changed settings; their traces.
std::vector<bench::Trace> all_runs(const RouterRequest &request, const std::vector<WishedRun> &runs,
                                   const bench::Target &target, bool with_changes);

// The settings that change before the run, one line each.
void print_changes(const WishedRun &run);

// What each run did differently from its counterpart, from the run `first` on. True when one of them did.
bool print_differences(const std::vector<WishedRun> &runs, const std::vector<bench::Trace> &before,
                       const std::vector<bench::Trace> &after, const bench::Style &style, size_t first = 0);

}  // namespace rcbench
