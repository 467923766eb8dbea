// Starting up, rc's own share of `rc start`, and peak memory.

#include <algorithm>
#include <chrono>
#include <string>

#include "bench/perf/measuring.h"
#include "bench/perf/perf.h"

namespace perf {

namespace {

constexpr const char *kStartGroup = "Starting";
constexpr const char *kBenchGroup = "The bench";
constexpr const char *kMemoryGroup = "Peak memory, settings of 64 KiB";

bench::Setup usual_router(const bench::Target &target)
{
    bench::Setup setup;
    setup.image_defaults = true;
    setup.image_replies = true;
    setup.settings = bench::image_settings(target.image);
    setup.interfaces = {{"br0", "192.168.0.1", 24}, {"ppp0", "203.0.113.10", 32}, {"eth0", "", 24}};
    return setup;
}

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
    for (int i = 0; i < effort.runs; i++) {
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

// Settings that grow until a store of them would be full.
struct Growing {
    std::vector<bench::Setting> settings;
    size_t left;
};

// Appends at most `most` records to a list, as many as there is room for.
template <typename Record>
void lengthen(Growing &growing, const std::string &key, int most, const Record &record)
{
    const auto setting = std::find_if(growing.settings.begin(), growing.settings.end(),
                                      [&](const bench::Setting &there) { return there.key == key; });
    for (int i = 0; setting != growing.settings.end() && i < most; i++) {
        const std::string text = record(i);
        if (text.size() > growing.left) {
            return;
        }
        setting->value += text;
        growing.left -= text.size();
    }
}

// The usual settings with long lists: 1,000 outbound rules, and inbound rules, services and keywords, as many
// as make 64 KiB.
std::vector<bench::Setting> large_store(const bench::Target &target)
{
    constexpr size_t kSize = 65536;
    constexpr int kRules = 1000;
    Growing growing = {bench::image_settings(target.image), 0};
    growing.left = kSize - bench::store_bytes(growing.settings).size();
    const auto address = [](int i) { return "192.168.0." + std::to_string(2 + i % 250); };
    lengthen(growing, "fw_out_rules", kRules,
             [&](int i) { return "1:HTTP:0:" + address(i) + ":0.0.0.0/0:0\x01"; });
    lengthen(growing, "fw_services", 100,
             [](int i) { return "Own" + std::to_string(i) + ":tcp:9000-9001\x01"; });
    lengthen(growing, "fw_block_keyword", 100, [](int i) { return "keyword" + std::to_string(i) + "\x01"; });
    lengthen(growing, "fw_in_rules", kRules,
             [&](int i) { return "1:HTTPS:2:" + address(i) + ":0.0.0.0/0:2\x01"; });
    return growing.settings;
}

}  // namespace

void starting(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures)
{
    bench::Root root(target, usual_router(target));
    add_usage(root, effort, figures);
    add_share(target, root, effort, figures);
    add_bench(target, effort, figures);
}

void memory(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures)
{
    constexpr double kGoal = 1.7 * 1024;
    const std::vector<Words> verbs = {{kRc, "init"},
                                      {kRc, "start"},
                                      {kRc, "firewall", "create"},
                                      {kRc, "firewall", "start"},
                                      {kRc, "vpn", "start"},
                                      {kRc, "wlan", "start"},
                                      {kRc, "wan", "start"},
                                      {kRc, "wan", "stop"},
                                      {kRc, "service", "start"}};
    bench::Target quiet = target;
    quiet.preload = PERF_PAUSES;
    bench::Setup setup = usual_router(target);
    setup.settings = large_store(target);
    setup.files.push_back({"/dev/mtdblock/3", std::string(size_t{128} * 1024, '\0')});
    Conditions conditions;
    conditions.in_bench = true;
    conditions.peak = true;
    conditions.runs = std::max(3, effort.runs / 4);
    double own = 0;
    for (const Words &verb : verbs) {
        bench::Root root(quiet, setup);
        const std::vector<Samples> samples = measure(root, {verb, {inside(PERF_NOTHING)}}, conditions);
        Figure figure;
        figure.group = kMemoryGroup;
        figure.name = "rc";
        for (size_t i = 1; i < verb.size(); i++) {
            figure.name += " " + verb[i];
        }
        figure.unit = "KiB";
        figure.ours = spread(samples[0], &Sample::peak).least;
        figure.median = spread(samples[0], &Sample::peak).median;
        figure.against = "C program, nothing";
        figure.other = spread(samples[1], &Sample::peak).median;
        figure.ratio = *figure.median / *figure.other;
        figure.goal = "<= 1.7 MiB";
        figure.met = *figure.median <= kGoal;
        figures.push_back(figure);
        own = std::max(own, spread(samples[0], &Sample::anonymous).median);
    }
    Figure figure;
    figure.group = kMemoryGroup;
    figure.name = "the most heap, data and stack of these";
    figure.unit = "KiB";
    figure.ours = own;
    figures.push_back(figure);
}

}  // namespace perf
