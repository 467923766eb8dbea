// Runs the benchmarks and prints their table.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/perf/perf.h"
#include "forms/escapes.h"
#include "forms/files.h"
#include "forms/program.h"

namespace {

using Words = std::vector<std::string>;

struct Group {
    const char *name;
    void (*measure)(const bench::Target &, const perf::Effort &, std::vector<perf::Figure> &);
};

constexpr Group kGroups[] = {
    {"rules", perf::rule_build}, {"settings", perf::settings}, {"starting", perf::starting},
    {"memory", perf::memory},    {"lint", perf::linting},      {"packets", perf::packets},
};

struct Wish {
    bool json = false;
    std::string json_file;
    perf::Effort effort;
    std::string program = PERF_RC;
};

int number_of_runs(const std::string &text)
{
    const int number = atoi(text.c_str());
    if (number < 1) {
        throw forms::usage_error("--runs " + forms::shown(text) + ": a number from 1 is needed");
    }
    return number;
}

forms::Program program(Wish &wish)
{
    using Text = const std::string &;
    return {
        .name = "perf",
        .usage = {"[OPTIONS] [GROUP...]"},
        .about = R"(
Measures rc and prints one table: figure, what it is measured against in the same run, ratio, goal. GROUP is
rules, settings, starting, memory, lint or packets; without one all are run. Goals that are not met do not
change the exit status.
)",
        .options =
            {
                {.name = "json", .help = "JSON in place of text", .take = [&](Text) { wish.json = true; }},
                {.name = "json-to",
                 .argument = "FILE",
                 .help = "JSON into a file, beside the text",
                 .take = [&](Text file) { wish.json_file = file; }},
                {.name = "runs",
                 .argument = "N",
                 .help = "runs of each program (40)",
                 .take = [&](Text text) { wish.effort.runs = number_of_runs(text); }},
                {.name = "program",
                 .argument = "FILE",
                 .help = "another rc",
                 .take = [&](Text file) { wish.program = file; }},
            },
    };
}

void refuse_unknown_groups(const Words &groups)
{
    for (const std::string &group : groups) {
        if (std::none_of(std::begin(kGroups), std::end(kGroups),
                         [&](const Group &known) { return group == known.name; })) {
            throw forms::usage_error("unknown group \"" + forms::shown(group) + "\"");
        }
    }
}

int run(const Words &arguments)
{
    Wish wish;
    const Words groups = forms::read_options(program(wish), arguments);
    refuse_unknown_groups(groups);
    const bench::Target target = bench::host_target(wish.program);
    std::vector<perf::Figure> figures;
    for (const Group &group : kGroups) {
        if (groups.empty() || std::find(groups.begin(), groups.end(), group.name) != groups.end()) {
            group.measure(target, wish.effort, figures);
        }
    }
    (void)fputs((wish.json ? perf::as_json(figures) : perf::as_text(figures)).c_str(), stdout);
    if (!wish.json_file.empty()) {
        forms::replace_file(wish.json_file, perf::as_json(figures));
    }
    return forms::kDone;
}

}  // namespace

int main(int argc, char **argv)
{
    return forms::run_program("perf", argc, argv, run);
}
