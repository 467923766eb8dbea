// Starting up, rc's own share of `rc start`, and peak memory.

#include <algorithm>
#include <string>

#include "bench/perf/measuring.h"
#include "bench/perf/perf.h"

namespace perf {

namespace {

constexpr const char *kStartGroup = "Starting";
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

// rc's share of what `rc start` takes with all its commands, which are the bench's stand-ins here: real
// tools and daemons take longer, and the share shrinks.
void add_share(bench::Root &root, const Effort &effort, std::vector<Figure> &figures)
{
    Conditions conditions;
    conditions.runs = std::max(3, effort.runs / 8);
    conditions.in_bench = true;
    const Samples samples = measure(root, {{kRc, "start"}}, conditions)[0];
    const double own = spread(samples, &Sample::own).least;
    for (const bool wall : {false, true}) {
        Figure figure;
        figure.group = kStartGroup;
        figure.name = wall ? "rc start, rc's own share of the wall time" : "rc start, rc's own share";
        figure.unit = "us";
        figure.ours = own;
        figure.median = spread(samples, &Sample::own).median;
        figure.against = wall ? "wall time" : "with its commands";
        figure.other = spread(samples, wall ? &Sample::wall : &Sample::all).least;
        figure.ratio = own / *figure.other;
        figure.goal = "< 2 %";
        figure.met = *figure.ratio < 0.02;
        figures.push_back(figure);
    }
}

// The usual settings and as many more as make 64 KiB.
std::vector<bench::Setting> large_store(const bench::Target &target)
{
    constexpr size_t kSize = 65536;
    std::vector<bench::Setting> settings = bench::image_settings(target.image);
    const size_t small = bench::store_bytes(settings).size();
    std::string list;
    for (int i = 0; small + list.size() < kSize - 64; i++) {
        list += "1:HTTP:0:192.168.0." + std::to_string(2 + i % 250) + ":0.0.0.0/0:0\x01";
    }
    for (bench::Setting &setting : settings) {
        if (setting.key == "fw_out_rules") {
            setting.value += list;
        }
    }
    return settings;
}

}  // namespace

void starting(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures)
{
    bench::Root root(target, usual_router(target));
    add_usage(root, effort, figures);
    add_share(root, effort, figures);
}

void memory(const bench::Target &target, std::vector<Figure> &figures)
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
    bench::Setup setup = usual_router(target);
    setup.settings = large_store(target);
    setup.files.push_back({"/dev/mtdblock/3", std::string(128 * 1024, '\0')});
    Conditions conditions;
    conditions.in_bench = true;
    conditions.peak = true;
    for (const Words &verb : verbs) {
        bench::Root root(target, setup);
        const std::vector<Samples> samples = measure(root, {verb, {inside(PERF_NOTHING)}}, conditions);
        Figure figure;
        figure.group = kMemoryGroup;
        figure.name = "rc";
        for (size_t i = 1; i < verb.size(); i++) {
            figure.name += " " + verb[i];
        }
        figure.unit = "KiB";
        figure.ours = static_cast<double>(samples[0].front().peak);
        figure.against = "C program, nothing";
        figure.other = static_cast<double>(samples[1].front().peak);
        figure.ratio = figure.ours / *figure.other;
        figure.goal = "<= 1.7 MiB";
        figure.met = figure.ours <= kGoal;
        figures.push_back(figure);
    }
}

}  // namespace perf
