#include "bench/rcbench/runs.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <sstream>

#include "bench/show/changes.h"
#include "forms/nearest.h"

namespace rcbench {

namespace {

using forms::usage_error;

// True for KEY=VALUE or @FILE before a run's words.
bool is_change(const WishedRun &run, const std::string &word)
{
    if (run.words.size() == 1 && word.starts_with('@')) {
        return true;
    }
    const size_t place = word.find('=');
    return run.words.size() == 1 && place != std::string::npos && place > 0 &&
           word.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_") == place;
}

// A guess for a tool that the router does not have.
std::string guessed_tool(const std::string &tool, const bench::Target &target)
{
    const std::vector<std::string> tools = tool_names(target);
    const bool is_one = std::find(tools.begin(), tools.end(), tool) != tools.end();
    return is_one ? "" : forms::did_you_mean(tool, tools);
}

void note_unmet_replies(const RouterRequest &request, const bench::Target &target,
                        const std::vector<bench::Trace> &traces)
{
    for (const bench::Reply &reply : request.replies) {
        if (!bench::was_called(traces, reply.tool, reply.words)) {
            const std::string words = reply.words.empty() ? "" : " " + reply.words;
            forms::note("--reply " + forms::shown(reply.tool + words) + ": no tool was called so" +
                        guessed_tool(reply.tool, target));
        }
    }
}

// What would be in a router from which nothing is removed.
void note_unmet_removals(const RouterRequest &request, const bench::Target &target)
{
    if (request.removed.empty()) {
        return;
    }
    bench::Setup setup = setup_of(request, target, true);
    setup.removed.clear();
    const bench::Root root(target, setup);
    for (const std::string &path : request.removed) {
        if (!root.exists(path)) {
            forms::note("--remove " + forms::shown(path) + ": the router has no such file");
        }
    }
}

// rc answers another verb with its usage; a slip is worth a guess.
void note_slip_in_verb(const WishedRun &run)
{
    const std::string verb = run.words.size() == 3 ? run.words[2] : "";
    const std::vector<std::string> verbs = {"start", "stop", "restart", "create"};
    const std::string guess = forms::did_you_mean(verb, verbs);
    if (!guess.empty() && std::find(verbs.begin(), verbs.end(), verb) == verbs.end()) {
        forms::note(forms::shown(verb) + " is no verb of rc" + guess);
    }
}

void note_unknown_services(const std::vector<WishedRun> &runs)
{
    std::vector<std::string> names = first_words();
    for (const WishedRun &run : runs) {
        const std::string &word = run.words[1];
        if (std::find(names.begin(), names.end(), word) == names.end()) {
            for (const CommandRow &row : commands()) {
                names.emplace_back(row.name);
            }
            forms::note(forms::shown(word) + " is no service or verb of rc" +
                        forms::did_you_mean(word, names));
        } else {
            note_slip_in_verb(run);
        }
    }
}

std::string utc_text(int64_t seconds)
{
    const time_t time = seconds;
    char text[32] = "";
    tm utc = {};
    if (gmtime_r(&time, &utc) != nullptr) {
        (void)strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &utc);
    }
    return text;
}

}  // namespace

void refuse_stuck_comma(const std::string &word)
{
    if (word.size() > 1 && (word.front() == ',' || word.back() == ',')) {
        throw usage_error(forms::shown(word) +
                          ": the comma between two runs is a word of its own, with a space on "
                          "either side");
    }
}

std::vector<std::string> first_words()
{
    std::vector<std::string> words = {"init", "start", "stop", "restart", "create", "service", "wan", "list"};
    std::istringstream services(RC_SERVICES);
    words.insert(words.end(), std::istream_iterator<std::string>(services), {});
    return words;
}

void note_unmet(const RouterRequest &request, const std::vector<WishedRun> &runs, const bench::Target &target,
                const std::vector<bench::Trace> &traces)
{
    note_unmet_replies(request, target, traces);
    note_unmet_removals(request, target);
    note_unknown_services(runs);
}

int status_of(const std::vector<bench::Trace> &traces, int status)
{
    const bool cut =
        std::any_of(traces.begin(), traces.end(), [](const bench::Trace &trace) { return trace.timed_out; });
    return cut ? int{forms::kFailed} : status;
}

std::vector<WishedRun> read_runs(const Words &words)
{
    std::vector<WishedRun> runs;
    WishedRun run;
    for (size_t i = 0; i <= words.size(); ++i) {
        if (run.words.size() == 1 && i + 1 < words.size() && words[i] == "--clock") {
            run.clock = clock_time(words[++i]);
        } else if (i < words.size() && is_change(run, words[i])) {
            add_settings("before the words for rc:", words[i], run.changes);
        } else if (i < words.size() && words[i] != ",") {
            refuse_stuck_comma(words[i]);
            run.words.push_back(words[i]);
        } else if (run.words.size() == 1) {
            throw usage_error(runs.empty() && i == words.size() ? "no words for rc"
                                                                : "no words for rc beside a comma");
        } else {
            runs.push_back(run);
            run = {};
        }
    }
    return runs;
}

std::vector<std::string> changed_keys(const std::vector<WishedRun> &runs)
{
    std::vector<std::string> keys;
    for (const WishedRun &run : runs) {
        for (const bench::Setting &entry : run.changes) {
            keys.push_back(entry.key);
        }
    }
    return keys;
}

bench::Run run_like(const RouterRequest &request)
{
    bench::Run run;
    run.nested = request.nested;
    run.clock = first_clock(request);
    run.limit = request.limit;
    run.most_pauses = request.most_pauses;
    run.most_output = request.most_output;
    return run;
}

namespace {

// The clock since boot goes on with the clock on the wall.
void advance_uptime(bench::Root &root, int64_t seconds)
{
    double up = 0;
    double idle = 0;
    const std::string text = root.read("/proc/uptime").value_or("");
    if (seconds > 0 && sscanf(text.c_str(), "%lf %lf", &up, &idle) == 2) {
        char moved[80];
        const auto more = static_cast<double>(seconds);
        (void)snprintf(moved, sizeof moved, "%.2f %.2f\n", up + more, idle + more);
        root.write("/proc/uptime", moved);
    }
}

}  // namespace

bench::Trace run_in(bench::Root &root, const RouterRequest &request, const WishedRun &wished, int64_t &clock)
{
    if (!wished.changes.empty()) {
        root.set(wished.changes);
    }
    if (wished.clock) {
        clock = *wished.clock;
    }
    bench::Run run = run_like(request);
    run.words = wished.words;
    run.clock = clock;
    bench::Trace trace = root.run(run);
    constexpr int64_t kSecond = 1000000;
    advance_uptime(root, trace.clock_end / kSecond - clock);
    clock = trace.clock_end / kSecond;
    return trace;
}

std::vector<bench::Trace> all_runs(const RouterRequest &request, const std::vector<WishedRun> &runs,
                                   const bench::Target &target, bool with_changes)
{
    bench::Root root(target, setup_of(request, target, with_changes));
    int64_t clock = first_clock(request);
    std::vector<bench::Trace> traces;
    traces.reserve(runs.size());
    for (const WishedRun &run : runs) {
        traces.push_back(run_in(root, request, run, clock));
    }
    return traces;
}

void print_changes(const WishedRun &run)
{
    if (run.clock) {
        printf("# clock %s\n", utc_text(*run.clock).c_str());
    }
    for (const bench::Setting &entry : run.changes) {
        printf("# %s=%s\n", entry.key.c_str(), bench::escape(entry.value).c_str());
    }
}

bool print_differences(const std::vector<WishedRun> &runs, const std::vector<bench::Trace> &before,
                       const std::vector<bench::Trace> &after, const bench::Style &style, size_t first)
{
    bool differs = false;
    for (size_t i = first; i < runs.size(); ++i) {
        printf("%s", i == first ? "" : "\n");
        print_changes(runs[i]);
        printf("$ %s\n", bench::command_words(runs[i].words).c_str());
        differs |= bench::print_difference(stdout, before[i], after[i], style);
    }
    return differs;
}

}  // namespace rcbench
