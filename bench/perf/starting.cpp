// Starting up, and rc's own share of `rc start`.

#include <algorithm>
#include <chrono>
#include <string>

#include "bench/perf/measuring.h"
#include "bench/perf/perf.h"

namespace perf {

namespace {

constexpr const char *kStartGroup = "Starting";
constexpr const char *kBenchGroup = "The bench";

void add_usage(bench::Root &root, const Effort &effort, std::vector<Figure> &figures)
{
    const Words nothing = {inside(PERF_NOTHING)};
    Conditions conditions;
    conditions.runs = effort.runs * 5;
    const std::vector<Samples> samples = measure(root, {{kRc}, nothing}, conditions);
    const Spread ours = spread(samples[0], &Sample::own);
    Figure time;
    time.group = kStartGroup;
    time.name = "rc alone (usage), processor time";
    time.unit = "us";
    time.ours = ours.least;
    time.median = ours.median;
    time.against = "C program, nothing";
    time.other = spread(samples[1], &Sample::own).least;
    time.ratio = time.ours / *time.other;
    time.goal = "<= 1.3";
    time.met = *time.ratio <= 1.3;
    figures.push_back(time);

    Figure count;
    count.group = kStartGroup;
    count.name = "rc alone (usage), instructions";
    count.unit = "instr";
    count.ours = instructions(root, {kRc});
    count.against = time.against;
    count.other = instructions(root, nothing);
    count.ratio = count.ours / *count.other;
    figures.push_back(count);
}

// How many commands rc itself runs.
int count_commands(const bench::Target &target, const Words &words)
{
    bench::Root root(target, usual_router(target));
    bench::Run run;
    run.words = words;
    int commands = 0;
    for (const bench::Event &event : root.run(run).events) {
        commands += event.kind == bench::Kind::kShell && event.depth == 0 ? 1 : 0;
    }
    return commands;
}

Figure share(const char *name, double part, const Spread &whole, const char *what)
{
    Figure figure;
    figure.group = kStartGroup;
    figure.name = name;
    figure.unit = "us";
    figure.ours = part;
    figure.against = what;
    figure.other = whole.least;
    figure.ratio = part / whole.least;
    figure.percent = true;
    return figure;
}

// rc's share of what `rc start` takes with all its commands, which are the bench's stand-ins here: real
// tools and daemons take longer, and the share shrinks.
void add_share(const bench::Target &target, bench::Root &root, const Effort &effort,
               std::vector<Figure> &figures)
{
    const int commands = count_commands(target, {"rc", "start"});
    const std::string floor = inside(PERF_COMMANDS_FLOOR);
    Conditions conditions;
    conditions.runs = std::max(3, effort.runs / 4);
    conditions.in_bench = true;
    const std::vector<Samples> samples =
        measure(root, {{kRc, "start"}, {floor, "0"}, {floor, std::to_string(commands)}}, conditions);
    const double own = spread(samples[0], &Sample::own).least;
    const double starting_commands =
        spread(samples[2], &Sample::own).least - spread(samples[1], &Sample::own).least;
    const Spread all = spread(samples[0], &Sample::all);
    const Spread wall = spread(samples[0], &Sample::wall);
    for (const bool of_wall : {false, true}) {
        Figure work =
            share(of_wall ? "rc start, rc's work (of wall time)" : "rc start, rc's work",
                  own - starting_commands, of_wall ? wall : all, of_wall ? "wall time" : "with its commands");
        work.goal = "< 2 %";
        work.met = *work.ratio < 0.02;
        figures.push_back(work);
    }
    const std::string name = "rc start, and starting " + std::to_string(commands) + " commands";
    figures.push_back(share(name.c_str(), own, all, "with its commands"));
}

// What everybody who tests waits for: a root built, one run in it, all taken down again.
void add_bench(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures)
{
    using Clock = std::chrono::steady_clock;
    std::vector<double> times;
    for (int i = 0; i < effort.runs; ++i) {
        const Clock::time_point begin = Clock::now();
        {
            bench::Root root(target, usual_router(target));
            (void)root.rc("list");
        }
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    }
    const Spread all = spread(times);
    Figure figure;
    figure.group = kBenchGroup;
    figure.name = "a root and \"rc list\" in it, wall time";
    figure.unit = "us";
    figure.ours = all.least;
    figure.median = all.median;
    figure.goal = "<= 50 ms";
    figure.met = all.least <= 50000;
    figures.push_back(figure);
}

}  // namespace

void starting(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures)
{
    bench::Root root(target, usual_router(target));
    add_usage(root, effort, figures);
    add_share(target, root, effort, figures);
    add_bench(target, effort, figures);
}

}  // namespace perf
