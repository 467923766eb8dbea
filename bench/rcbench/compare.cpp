// rcbench compare: two rc programs, the same routers and words: what do they do differently?

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "bench/rcbench/pages.h"
#include "bench/rcbench/reach_changes.h"
#include "bench/rcbench/runs.h"
#include "bench/rcbench/style.h"
#include "bench/show/changes.h"
#include "bench/show/json.h"
#include "forms/files.h"

namespace rcbench {

namespace {

using forms::usage_error;

struct CompareRequest {
    std::vector<std::string> files;
    bool nested = false;
    bool json = false;
    bool secrets = false;
    bench::Style style;
};

// A router that both programs run in.
struct Sample {
    std::string name;
    RouterRequest router;
};

Options compare_options(const std::shared_ptr<CompareRequest> &r)
{
    using Text = const std::string &;
    // clang-format off
    return {
        {.help = "The routers"},
        {.name = "settings", .argument = "FILE",
         .help = "a router with these settings; given again: one more. Without it: one with the default "
                 "settings, and one with each of the image's samples put in",
         .take = [r](Text file) { r->files.push_back(file); }},
        {.name = "nested",
         .help = "runs of rc that rc starts really run",
         .take = [r](Text) { r->nested = true; }},
        {.help = "What is shown"},
        {.name = "json",
         .help = "for machines: one object with the runs that differ",
         .take = [r](Text) { r->json = true; }},
        {.name = "secrets",
         .help = "JSON with keys and passwords, which are masked otherwise",
         .take = [r](Text) { r->secrets = true; }},
        {.name = "short",
         .help = "for a first look: less of everything",
         .take = [r](Text) { r->style.quick = true; }},
        {.name = "brief",
         .help = "the commands alone, without settings, files and packets",
         .take = [r](Text) { r->style.brief = true; }},
    };
    // clang-format on
}

std::vector<Sample> samples_of(const CompareRequest &request, const std::filesystem::path &image)
{
    std::vector<Sample> samples;
    for (const std::string &file : request.files) {
        samples.push_back({file, {}});
        samples.back().router.settings = forms::read_settings_file(file);
    }
    if (!samples.empty()) {
        return samples;
    }
    samples.push_back({"default settings", {}});
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::directory_iterator(image / "samples")) {
        if (entry.path().extension() == ".settings") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    for (const std::filesystem::path &file : files) {
        samples.push_back({file.filename().string(), {}});
        samples.back().router.set = forms::read_settings_file(file.string());
    }
    return samples;
}

// Runs that follow each other on one router.
using Plan = std::vector<WishedRun>;

// Every verb of every service, the verbs for all services, and the Internet connection.
std::vector<Plan> usual_plans()
{
    std::vector<Plan> plans;
    const Words verbs = {"start", "stop", "restart", "create"};
    for (const std::string &word : first_words()) {
        if (word == "init" || word == "list" || std::find(verbs.begin(), verbs.end(), word) != verbs.end()) {
            plans.push_back({{{}, {"rc", word}}});
            continue;
        }
        for (const std::string &verb : verbs) {
            plans.push_back({{{}, {"rc", word, verb}}});
        }
    }
    return plans;
}

struct Comparison {
    bench::Target before;
    bench::Target after;
    bench::Style style;
    size_t runs = 0;
    size_t different = 0;
    bool cut = false;
    bool as_json = false;
    bench::Json json = bench::Json::array();
    bench::Json reachable = bench::Json::array();
};

// A router of one of the two programs, and what it did there.
struct Ran {
    Ran(const bench::Target &target, const RouterRequest &request, const Plan &plan)
        : setup(setup_of(request, target, true)), root(target, setup)
    {
        int64_t clock = first_clock(request);
        for (const WishedRun &run : plan) {
            traces.push_back(run_in(root, request, run, clock));
        }
    }

    bench::Setup setup;
    bench::Root root;
    std::vector<bench::Trace> traces;
};

void add_json(Comparison &comparison, const Sample &sample, const WishedRun &run, const bench::Trace &before,
              const bench::Trace &after)
{
    const page::Secrets secrets = secrets_of(sample.router, comparison.before, {run});
    comparison.json.push_back({{"router", sample.name},
                               {"before", bench::json_report(run.words, secrets.masked(before))},
                               {"after", bench::json_report(run.words, secrets.masked(after))}});
}

// Programs that do the same let the same through; only after other commands or files is it worth the time.
void compare_packets(Comparison &comparison, const Sample &sample, const Ran &before, const Ran &after)
{
    try {
        const bench::RouterFilter was =
            bench::router_filter(before.root, before.setup.interfaces, before.traces);
        const bench::RouterFilter is = bench::router_filter(after.root, after.setup.interfaces, after.traces);
        Changes changes(was, is,
                        {.json = comparison.as_json,
                         .causes = false,
                         .heading = "reachable packets, ",
                         .style = comparison.style});
        if (changes.compare({}) && comparison.as_json) {
            comparison.reachable.push_back({{"router", sample.name}, {"changes", changes.list()}});
        }
    } catch (const packets::Error &error) {
        const std::string why = "Reachable packets cannot be compared: " + forms::shown(error.what());
        if (comparison.as_json) {
            forms::note(why);
        } else {
            printf("%s\n", why.c_str());
        }
    }
}

void show_difference(Comparison &comparison, const Sample &sample, const WishedRun &run,
                     const bench::Trace &before, const bench::Trace &after)
{
    ++comparison.different;
    if (comparison.as_json) {
        add_json(comparison, sample, run, before, after);
        return;
    }
    printf("%s$ %s   (%s)\n", comparison.different == 1 ? "" : "\n", bench::command_words(run.words).c_str(),
           sample.name.c_str());
    (void)bench::print_difference(stdout, before, after, comparison.style);
}

void compare(Comparison &comparison, const Sample &sample, const Plan &plan)
{
    const Ran before(comparison.before, sample.router, plan);
    const Ran after(comparison.after, sample.router, plan);
    bool any = false;
    for (size_t i = 0; i < plan.size(); ++i) {
        ++comparison.runs;
        comparison.cut |= before.traces[i].timed_out || after.traces[i].timed_out;
        if (bench::differs(before.traces[i], after.traces[i])) {
            show_difference(comparison, sample, plan[i], before.traces[i], after.traces[i]);
            any = true;
        }
    }
    if (any && !comparison.style.brief) {
        compare_packets(comparison, sample, before, after);
    }
}

int work(const CompareRequest &request, Words words)
{
    if (words.size() < 2) {
        throw usage_error("compare needs two rc programs");
    }
    Comparison comparison = {target_of_program(words[0]), target_of_program(words[1]), fitted(request.style)};
    comparison.as_json = request.json;
    words.erase(words.begin(), words.begin() + 2);
    const std::vector<Plan> plans = words.empty() ? usual_plans() : std::vector<Plan>{read_runs(words)};
    for (Sample &sample : samples_of(request, comparison.before.image)) {
        sample.router.nested = request.nested;
        sample.router.secrets = request.secrets;
        for (const Plan &plan : plans) {
            compare(comparison, sample, plan);
        }
    }
    if (request.json) {
        const bench::Json all = {
            {"runs", comparison.runs}, {"different", comparison.json}, {"reachable", comparison.reachable}};
        (void)fputs(bench::written(all).c_str(), stdout);
        return comparison.cut ? forms::kFailed : comparison.different != 0 ? forms::kNo : forms::kDone;
    }
    printf("%s%s runs compared, %s different\n", comparison.different == 0 ? "" : "\n",
           bench::grouped(comparison.runs).c_str(), bench::grouped(comparison.different).c_str());
    return comparison.cut ? forms::kFailed : comparison.different != 0 ? forms::kNo : forms::kDone;
}

constexpr const char *kAbout = R"(
Runs two rc programs, OLD and NEW, in the same routers with the same WORDS and prints what they do
differently: commands, output, files, settings, exit status, and which packets then get through the router that
did not before, or no longer do. A program for the big-endian
target is run under emulation, so it can be compared with one of this processor. Without WORDS: every verb of
every service, each in a router of its own.
)";

}  // namespace

Command make_compare()
{
    const auto request = std::make_shared<CompareRequest>();
    return {{.name = "rcbench compare",
             .usage = {"[OPTIONS] OLD NEW [WORDS...]"},
             .about = kAbout,
             .options = compare_options(request),
             .no = "the programs differ"},
            [request](const Words &words) { return work(*request, words); }};
}

}  // namespace rcbench
