#include "bench/rcbench/runs.h"

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

}  // namespace

std::vector<WishedRun> read_runs(const Words &words)
{
    std::vector<WishedRun> runs;
    WishedRun run;
    for (size_t i = 0; i <= words.size(); ++i) {
        if (i < words.size() && is_change(run, words[i])) {
            add_settings("before the words for rc:", words[i], run.changes);
        } else if (i < words.size() && words[i] != ",") {
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

bench::Trace run_in(bench::Root &root, const RouterRequest &request, const WishedRun &wished)
{
    if (!wished.changes.empty()) {
        root.set(wished.changes);
    }
    bench::Run run;
    run.words = wished.words;
    run.nested = request.nested;
    run.clock = request.clock;
    run.limit = request.limit;
    run.most_pauses = request.most_pauses;
    return root.run(run);
}

std::vector<bench::Trace> all_runs(const RouterRequest &request, const std::vector<WishedRun> &runs,
                                   const bench::Target &target, bool with_changes)
{
    bench::Root root(target, setup_of(request, target, with_changes));
    std::vector<bench::Trace> traces;
    for (const WishedRun &run : runs) {
        traces.push_back(run_in(root, request, run));
    }
    return traces;
}

}  // namespace rcbench
