// rcbench run: runs rc and prints what it did, or what a changed setting changes in that.

#include <algorithm>
#include <cstdio>

#include "bench/rcbench/runs.h"
#include "bench/rcbench/style.h"
#include "bench/show/changes.h"
#include "bench/show/json.h"

namespace rcbench {

namespace {

using forms::usage_error;

struct RunRequest {
    std::shared_ptr<RouterRequest> router = std::make_shared<RouterRequest>();
    std::vector<WishedRun> runs;
    bool diff = false;
    bool last = false;
    bool json = false;
    std::optional<std::string> keep;
    std::vector<std::string> shown;
    bench::Style style;
};

Options run_options(const std::shared_ptr<RunRequest> &r)
{
    using Text = const std::string &;
    // clang-format off
    return {
        {.help = "What is shown"},
        {.name = "diff",
         .help = "run twice, without and with the --set and --unset options, and show what changes",
         .take = [r](Text) { r->diff = true; }},
        {.name = "short",
         .help = "for a first look: commands that rc echoes once, several of one tool in one line, no pauses "
                 "under a second, files by name, lines cut",
         .take = [r](Text) { r->style.quick = true; }},
        {.name = "brief",
         .help = "the timeline alone, without changed settings and files",
         .take = [r](Text) { r->style.brief = true; }},
        {.name = "show", .argument = "PATH",
         .help = "this file of the router after the last run; may be given several times",
         .take = [r](Text path) { r->shown.push_back(router_file("--show", path)); }},
        {.name = "last",
         .help = "of several runs the last one alone",
         .take = [r](Text) { r->last = true; }},
        {.name = "all",
         .help = "also the yields of a microsecond and the calls of tools",
         .take = [r](Text) { r->style.all = true; }},
        {.name = "full",
         .help = "long files and lines whole, repeated lines one by one",
         .take = [r](Text) { r->style.full = true; }},
        {.name = "json",
         .help = "for machines: a list with one object a run",
         .take = [r](Text) { r->json = true; }},
        {.name = "keep", .argument = "DIRECTORY",
         .help = "leave the router's directory there",
         .take = [r](Text directory) { r->keep = directory; }},
    };
    // clang-format on
}

// Options that say different things about what is printed.
void refuse_contradictions(const RunRequest &request)
{
    if (request.diff && request.router->set.empty() && request.router->unset.empty()) {
        throw usage_error("--diff needs a --set or --unset to compare with");
    }
    if (request.json && (request.diff || !request.shown.empty())) {
        throw usage_error("--json cannot be combined with --diff or --show");
    }
    if (request.diff && (request.keep || !request.shown.empty())) {
        throw usage_error("--diff cannot be combined with --keep or --show");
    }
    if (request.keep && request.keep->empty()) {
        throw usage_error("--keep needs the name of a directory");
    }
}

// Options behind rc's words would be words of rc, which has none that begin so.
void refuse_late_options(const forms::Program &program, const Words &words)
{
    for (const std::string &word : words) {
        const std::string name = word.starts_with("--") ? word.substr(2, word.find('=') - 2) : "";
        const bool is_option =
            std::any_of(program.options.begin(), program.options.end(),
                        [&](const forms::Option &row) { return row.name != nullptr && name == row.name; });
        if (is_option || name == "help" || name == "version") {
            throw usage_error(forms::shown(word) + " comes after the words for rc; options come before them");
        }
    }
}

void print_changes(const WishedRun &run)
{
    for (const bench::Setting &entry : run.changes) {
        printf("# %s=%s\n", entry.key.c_str(), bench::escape(entry.value).c_str());
    }
}

bool is_wanted(const RunRequest &request, size_t number)
{
    return !request.last || number + 1 == request.runs.size();
}

void print_json(const RunRequest &request, const std::vector<bench::Trace> &traces)
{
    bench::Json list = bench::Json::array();
    for (size_t i = 0; i < traces.size(); ++i) {
        if (is_wanted(request, i)) {
            list.push_back(bench::json_report(request.runs[i].words, traces[i]));
        }
    }
    fputs(bench::written(list).c_str(), stdout);
}

void print_run(const RunRequest &request, size_t number, const bench::Trace &trace)
{
    printf("%s", number == 0 || request.last ? "" : "\n");
    print_changes(request.runs[number]);
    bench::print_report(stdout, request.runs[number].words, trace, request.style);
}

int run_all(const RunRequest &request, bench::Root &root)
{
    std::vector<bench::Trace> traces;
    for (size_t i = 0; i < request.runs.size(); ++i) {
        traces.push_back(run_in(root, *request.router, request.runs[i]));
        if (!request.json && is_wanted(request, i)) {
            print_run(request, i, traces.back());
        }
    }
    if (request.json) {
        print_json(request, traces);
    }
    for (const std::string &path : request.shown) {
        bench::print_file(stdout, path, root.read(path), request.style);
    }
    return forms::kDone;
}

int print_diff(const RunRequest &request, const bench::Target &target)
{
    const std::vector<bench::Trace> before = all_runs(*request.router, request.runs, target, false);
    const std::vector<bench::Trace> after = all_runs(*request.router, request.runs, target, true);
    bool differs = false;
    for (size_t i = request.last ? before.size() - 1 : 0; i < before.size(); ++i) {
        printf("%s", i == 0 || request.last ? "" : "\n");
        print_changes(request.runs[i]);
        printf("$ %s\n", bench::command_words(request.runs[i].words).c_str());
        differs |= bench::print_difference(stdout, before[i], after[i], request.style);
    }
    return differs ? forms::kNo : forms::kDone;
}

int work(RunRequest &request, const Words &words)
{
    request.runs = read_runs(words);
    refuse_contradictions(request);
    request.style = fitted(request.style);
    const bench::Target target = target_of(*request.router);
    note_unknown_keys(*request.router, target, changed_keys(request.runs));
    if (request.diff) {
        return print_diff(request, target);
    }
    const bench::Setup setup = setup_of(*request.router, target, true);
    if (!request.keep) {
        bench::Root root(target, setup);
        return run_all(request, root);
    }
    bench::Root root(target, setup, *request.keep);
    return run_all(request, root);
}

constexpr const char *kAbout = R"(
Runs rc on a router built in a directory of its own and prints every command, pause, line of output, changed
setting and file. Nothing outside that directory is touched. WORDS are what follows "rc" on the router: start,
wan restart, firewall create. A comma alone separates several runs, one after the other on the same router;
KEY=VALUE or @FILE before the words of a run is a setting changed before it.
Without --settings the router has the image's default settings; its tools give their usual answers, its
Internet interface has the address 203.0.113.10.
)";

}  // namespace

Command make_run()
{
    const auto request = std::make_shared<RunRequest>();
    Command command;
    command.program = {
        .name = "rcbench run",
        .usage = {"[OPTIONS] WORDS...", "[OPTIONS] WORDS... , [KEY=VALUE]... WORDS...",
                  "[OPTIONS] --diff --set KEY=VALUE... WORDS..."},
        .about = kAbout,
        .options = joined({router_options(request->router), run_options(request)}),
        .no = "--diff found differences",
        .place = forms::OptionPlace::kBeforeWords,
    };
    command.work = [request, program = command.program](const Words &words) {
        refuse_late_options(program, words);
        return work(*request, words);
    };
    return command;
}

}  // namespace rcbench
