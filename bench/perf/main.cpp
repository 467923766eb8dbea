// Runs the benchmarks and prints their table.

#include <getopt.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/perf/perf.h"

namespace {

constexpr const char *kHelp =
    R"(usage: perf [OPTIONS] [GROUP...]

Measures rc and prints one table: figure, what it is measured against in the same run, ratio, goal. GROUP is
rules, settings, starting or memory; without one all are run.

  --json           JSON in place of text
  --json-to FILE   JSON into a file, beside the text
  --runs N         runs of each program (40)
  --program FILE   another rc
  -h, --help       this text

Exit status: 0 when everything could be measured, whether or not the goals are met; 1 when something could
not; 2 for wrong words.
)";

enum Code { kJson = 256, kJsonTo, kRuns, kProgram };

constexpr option kOptions[] = {
    {"json", no_argument, nullptr, kJson},       {"json-to", required_argument, nullptr, kJsonTo},
    {"runs", required_argument, nullptr, kRuns}, {"program", required_argument, nullptr, kProgram},
    {"help", no_argument, nullptr, 'h'},         {nullptr, 0, nullptr, 0},
};

struct Wish {
    bool json = false;
    const char *json_file = nullptr;
    perf::Effort effort;
    const char *program = PERF_RC;
    std::vector<std::string> groups;

    bool wants(const char *group) const
    {
        return groups.empty() || std::find(groups.begin(), groups.end(), group) != groups.end();
    }
};

[[noreturn]] void refuse(const std::string &why)
{
    fprintf(stderr, "perf: %s; perf --help lists what it takes\n", why.c_str());
    exit(2);
}

void read_option(int code, Wish &wish)
{
    switch (code) {
        case kJson:
            wish.json = true;
            break;
        case kJsonTo:
            wish.json_file = optarg;
            break;
        case kRuns:
            wish.effort.runs = atoi(optarg);
            if (wish.effort.runs < 1) {
                refuse(std::string("a number of runs wanted in --runs ") + optarg);
            }
            break;
        case kProgram:
            wish.program = optarg;
            break;
        case 'h':
            fputs(kHelp, stdout);
            exit(0);
        default:
            refuse("wrong option");
    }
}

Wish read_words(int count, char **words)
{
    Wish wish;
    int code = 0;
    while ((code = getopt_long(count, words, "h", kOptions, nullptr)) != -1) {
        read_option(code, wish);
    }
    for (int i = optind; i < count; i++) {
        wish.groups.emplace_back(words[i]);
        const std::string &group = wish.groups.back();
        if (group != "rules" && group != "settings" && group != "starting" && group != "memory") {
            refuse("unknown group " + group);
        }
    }
    return wish;
}

void run(const Wish &wish)
{
    const bench::Target target = bench::host_target(wish.program);
    std::vector<perf::Figure> figures;
    if (wish.wants("rules")) {
        perf::rule_build(target, wish.effort, figures);
    }
    if (wish.wants("settings")) {
        perf::settings(target, wish.effort, figures);
    }
    if (wish.wants("starting")) {
        perf::starting(target, wish.effort, figures);
    }
    if (wish.wants("memory")) {
        perf::memory(target, wish.effort, figures);
    }
    fputs((wish.json ? perf::as_json(figures) : perf::as_text(figures)).c_str(), stdout);
    if (wish.json_file != nullptr) {
        FILE *file = fopen(wish.json_file, "w");
        if (file == nullptr || fputs(perf::as_json(figures).c_str(), file) < 0 || fclose(file) != 0) {
            throw bench::Error(std::string("cannot write ") + wish.json_file + ": " + strerror(errno));
        }
    }
}

}  // namespace

int main(int count, char **words)
{
    try {
        run(read_words(count, words));
    } catch (const std::exception &error) {
        fprintf(stderr, "perf: %s\n", error.what());
        return 1;
    }
    return 0;
}
