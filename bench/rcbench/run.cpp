// rcbench run: runs rc and prints what it did, or what a changed setting changes in that.

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "bench/rcbench/filter.h"
#include "bench/rcbench/pages.h"
#include "bench/rcbench/runs.h"
#include "bench/rcbench/style.h"
#include "bench/rcbench/watch.h"
#include "bench/show/changes.h"
#include "bench/show/json.h"
#include "bench/show/scenario.h"
#include "forms/words.h"

namespace rcbench {

namespace {

using forms::usage_error;

struct RunRequest {
    std::shared_ptr<RouterRequest> router = std::make_shared<RouterRequest>();
    std::vector<WishedRun> runs;
    bool diff = false;
    bool last = false;
    bool json = false;
    bool scenario = false;
    std::optional<std::string> svg;
    std::optional<std::string> keep;
    std::optional<std::string> watched;
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
        {.name = "watch", .argument = "FILE",
         .help = "run with the settings of this file, again each time it is saved, and show what that "
                 "changes; Ctrl-C ends",
         .take = [r](Text file) { r->watched = file; }},
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
        {.name = "raw",
         .help = "lease files, vpn.conf, flash images and stores as bytes, not as what they hold",
         .take = [r](Text) { r->style.raw = true; }},
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
        {.name = "scenario",
         .help = "the router, the runs and all they did as a scenario for the tests",
         .take = [r](Text) { r->scenario = true; }},
        {.name = "svg", .argument = "FILE",
         .help = "a picture of where the time goes, in place of text",
         .take = [r](Text file) { r->svg = file; }},
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
    if ((request.router->html || request.svg) &&
        (request.json || request.diff || request.watched || request.scenario || !request.shown.empty())) {
        throw usage_error(
            "--html and --svg cannot be combined with --json, --diff, --watch, --scenario or --show");
    }
    if (request.scenario && (request.json || request.diff || request.last || !request.shown.empty())) {
        throw usage_error("--scenario cannot be combined with --json, --diff, --last or --show");
    }
    const bool clock_again = std::any_of(request.runs.begin(), request.runs.end(),
                                         [](const WishedRun &run) { return run.clock.has_value(); });
    if (request.scenario && clock_again) {
        throw usage_error("--scenario has one --clock, before the words of the first run");
    }
    if (request.diff && (request.keep || !request.shown.empty())) {
        throw usage_error("--diff cannot be combined with --keep or --show");
    }
    if (request.keep && request.keep->empty()) {
        throw usage_error("--keep needs the name of a directory");
    }
    if (request.watched && (request.diff || request.json || request.scenario || request.last ||
                            request.keep || !request.shown.empty() || request.router->settings)) {
        throw usage_error(
            "--watch cannot be combined with --settings, --diff, --last, --json, --scenario, --keep or "
            "--show");
    }
    if (request.watched && *request.watched == "-") {
        throw usage_error("--watch needs the name of a file; standard input is never saved");
    }
}

// Options behind rc's words would be words of rc, which has none that begin so.
void refuse_late_options(const forms::Program &program, const WishedRun &run)
{
    for (const std::string &word : run.words) {
        const std::string name = word.starts_with("--") ? word.substr(2, word.find('=') - 2) : "";
        const bool is_option =
            std::any_of(program.options.begin(), program.options.end(),
                        [&](const forms::Option &row) { return row.name != nullptr && name == row.name; });
        if (is_option || name == "help" || name == "version") {
            throw usage_error(forms::shown(word) + " comes after the words for rc; options come before them");
        }
    }
}

bool is_wanted(const RunRequest &request, size_t number)
{
    return !request.last || number + 1 == request.runs.size();
}

// The packet filter as these runs left it, with what is behind its rules; none when they loaded none.
std::optional<bench::RouterFilter> filter_after(const RouterRequest &request, const bench::Target &target,
                                                const bench::Root &root,
                                                const std::vector<bench::Trace> &traces)
{
    RouterRequest router = request;
    router.settings = root.settings();
    router.set.clear();
    router.unset.clear();
    router.blank = false;
    if (!router.settings) {
        return std::nullopt;
    }
    try {
        bench::RouterFilter filter = filter_of_runs(root, setup_of(router, target, true).interfaces, traces);
        if (filter.batch.empty()) {
            return std::nullopt;
        }
        find_causes(filter, router, target, true);
        return filter;
    } catch (const forms::Failure &failure) {
        forms::note(std::string("the page is without the packet filter: ") + failure.what());
        return std::nullopt;
    }
}

void write_run_page(const RunRequest &request, const std::vector<WishedRun> &runs,
                    const std::vector<bench::Trace> &traces, const std::optional<bench::RouterFilter> &filter)
{
    std::vector<std::vector<std::string>> words;
    std::vector<page::Chapter> runs_told;
    for (size_t i = 0; i < traces.size(); ++i) {
        words.push_back(runs[i].words);
        for (const page::Chapter &chapter : page::run_chapters(i + 1, words[i], traces[i])) {
            runs_told.push_back(chapter);
        }
    }
    std::vector<page::Chapter> chapters = {page::time_chapter(words, traces)};
    chapters.insert(chapters.end(), runs_told.begin(), runs_told.end());
    if (filter) {
        chapters.push_back(page::filter_chapter(chains_of(filter->rules), {}));
        const std::vector<page::Chapter> passing = passing_chapters(*filter);
        chapters.insert(chapters.end(), passing.begin(), passing.end());
    }
    write_page(*request.router, bench::command_words(words.back()),
               "What rc does: its commands, pauses, output, settings and files, and the packet filter then.",
               chapters);
}

// The page, and the picture of the time by itself.
void print_page(const RunRequest &request, const bench::Target &target, const bench::Root &root,
                const std::vector<bench::Trace> &all)
{
    const page::Secrets secrets = secrets_of(*request.router, target, request.runs);
    std::vector<WishedRun> runs;
    std::vector<std::vector<std::string>> words;
    std::vector<bench::Trace> traces;
    for (size_t i = 0; i < all.size(); ++i) {
        if (is_wanted(request, i)) {
            runs.push_back(request.runs[i]);
            words.push_back(runs.back().words);
            traces.push_back(secrets.masked(all[i]));
        }
    }
    if (request.svg) {
        write_picture(*request.svg, page::time_picture(words, traces));
    }
    if (request.router->html) {
        write_run_page(request, runs, traces, filter_after(*request.router, target, root, all));
    }
}

void print_json(const RunRequest &request, const page::Secrets &secrets,
                const std::vector<bench::Trace> &traces)
{
    bench::Json list = bench::Json::array();
    for (size_t i = 0; i < traces.size(); ++i) {
        if (is_wanted(request, i)) {
            list.push_back(bench::json_report(request.runs[i].words, secrets.masked(traces[i])));
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

int run_all(const RunRequest &request, const bench::Target &target, bench::Root &root)
{
    std::vector<bench::Trace> traces;
    int64_t clock = first_clock(*request.router);
    for (size_t i = 0; i < request.runs.size(); ++i) {
        traces.push_back(run_in(root, *request.router, request.runs[i], clock));
        if (!request.json && !request.router->html && !request.svg && is_wanted(request, i)) {
            print_run(request, i, traces.back());
        }
    }
    if (request.json) {
        print_json(request, secrets_of(*request.router, target, request.runs), traces);
    } else if (request.router->html || request.svg) {
        print_page(request, target, root, traces);
    }
    for (const std::string &path : request.shown) {
        const std::optional<std::string> content = root.read(path);
        bench::print_file(stdout, path, content, request.style);
        if (!content) {
            forms::note("--show " + forms::shown(path) + ": the router has no such file after the last run");
        }
    }
    note_unmet(*request.router, request.runs, target, traces);
    return status_of(traces, forms::kDone);
}

// The image's usual answers that tools were asked for, as a scenario must name them.
void add_asked(const bench::Target &target, const std::vector<bench::Trace> &traces, bench::Setup &setup)
{
    std::vector<bench::Reply> replies;
    std::vector<bench::Effect> effects;
    bench::read_replies_text(target.image / "replies", replies, effects);
    const bench::Setup own = setup;
    const auto is_own = [&](const auto &answer, const auto &answers) {
        return std::any_of(answers.begin(), answers.end(), [&](const auto &other) {
            return other.tool == answer.tool && other.words == answer.words;
        });
    };
    const auto asked = [&](const auto &answer) {
        return !is_own(answer, own.replies) && !is_own(answer, own.effects) &&
               bench::was_called(traces, answer.tool, answer.words);
    };
    std::copy_if(replies.begin(), replies.end(), std::back_inserter(setup.replies), asked);
    std::copy_if(effects.begin(), effects.end(), std::back_inserter(setup.effects), asked);
}

std::string change_directives(const WishedRun &run)
{
    std::string text;
    for (const bench::Setting &entry : run.changes) {
        text += "direct nvram_set " + forms::join_words({entry.key, entry.value}) + "\nsetting " + entry.key +
                "=" + bench::escape(entry.value) + "\n\n";
    }
    return text;
}

int print_scenario(const RunRequest &request, const bench::Target &target)
{
    bench::Setup setup = scenario_setup_of(*request.router, target);
    std::vector<bench::Trace> traces;
    std::string runs;
    bench::Root root(target, setup);
    for (const WishedRun &run : request.runs) {
        int64_t clock = first_clock(*request.router);  // a scenario's runs all begin at its time
        traces.push_back(run_in(root, *request.router, run, clock));
        runs += "\n" + change_directives(run) +
                bench::run_directives({run.words.begin() + 1, run.words.end()}, traces.back(), root);
    }
    add_asked(target, traces, setup);
    const std::string what = bench::command_words(request.runs.back().words);
    printf("# What %s does\n%s%s", what.c_str(),
           bench::setup_directives(setup, run_like(*request.router)).c_str(), runs.c_str());
    return status_of(traces, forms::kDone);
}

int print_diff(const RunRequest &request, const bench::Target &target)
{
    const std::vector<bench::Trace> before = all_runs(*request.router, request.runs, target, false);
    const std::vector<bench::Trace> after = all_runs(*request.router, request.runs, target, true);
    const bool differs = print_differences(request.runs, before, after, request.style,
                                           request.last ? request.runs.size() - 1 : 0);
    note_unmet(*request.router, request.runs, target, after);
    return status_of(before, status_of(after, differs ? forms::kNo : forms::kDone));
}

int work(RunRequest &request, const forms::Program &program, const Words &words)
{
    request.runs = read_runs(words);
    for (const WishedRun &run : request.runs) {
        refuse_late_options(program, run);
    }
    refuse_contradictions(request);
    request.style = fitted(request.style);
    const bench::Target target = target_of(*request.router);
    if (request.watched) {
        return watch(*request.watched, *request.router, request.runs, target, request.style);
    }
    note_unknown_keys(*request.router, changed_keys(request.runs));
    if (request.scenario) {
        return print_scenario(request, target);
    }
    if (request.diff) {
        return print_diff(request, target);
    }
    const bench::Setup setup = setup_of(*request.router, target, true);
    if (!request.keep) {
        bench::Root root(target, setup);
        return run_all(request, target, root);
    }
    bench::Root root(target, setup, *request.keep);
    return run_all(request, target, root);
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
        .usage = {"[OPTIONS] WORDS...", "[OPTIONS] WORDS... , [--clock TIME] [KEY=VALUE]... WORDS...",
                  "[OPTIONS] --diff --set KEY=VALUE... WORDS...", "[OPTIONS] --watch FILE WORDS..."},
        .about = kAbout,
        .options = joined({router_options(request->router), run_options(request)}),
        .no = "--diff found differences",
        .place = forms::OptionPlace::kBeforeWords,
    };
    command.work = [request, program = command.program](const Words &words) {
        return work(*request, program, words);
    };
    return command;
}

}  // namespace rcbench
