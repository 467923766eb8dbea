// What a run did, for people: a timeline, the changed settings and files, differences, and JSON.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "bench/router.h"

namespace bench {

struct ReportStyle {
    bool colour = false;
    bool all = false;    // also yields of under 10 microseconds and calls of stand-ins
    bool full = false;   // files whole, however long
    bool brief = false;  // the timeline alone
    bool quick = false;  // for a first look: less of everything, see --short
};

// The words as they would be typed: quoted where they must be.
std::string command_words(const std::vector<std::string> &words);

// Timeline, standard error if any, changed settings, changed files with their text.
void print_report(FILE *out, const std::vector<std::string> &words, const Trace &trace,
                  const ReportStyle &style);

// One file of the router under its name, or a line that it is not there.
void print_file(FILE *out, const std::string &path, const std::optional<std::string> &content,
                const ReportStyle &style);

// What the second run did differently from the first: timeline, settings after, files after.
void print_difference(FILE *out, const Trace &before, const Trace &after, const ReportStyle &style);

// How the packet filter's rules by chain (rules_by_chain) differ, chain by chain.
void print_rules_difference(FILE *out, const std::string &before, const std::string &after,
                            const ReportStyle &style);

// One JSON object a run: words, status, events, files, settings. Bytes that are not ASCII become \u00XX.
std::string json_report(const std::vector<std::string> &words, const Trace &trace);

}  // namespace bench
