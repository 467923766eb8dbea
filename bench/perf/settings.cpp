// Settings: one get, one set, one commit on stores of several sizes.

#include <cstdio>
#include <sstream>
#include <string>

#include "bench/perf/measuring.h"
#include "bench/perf/perf.h"

namespace perf {

namespace {

constexpr const char *kGroup = "Settings store, one job on the last key";
constexpr int kEntrySize = 32;
constexpr double kGoal = 1.2;
constexpr double kNoise = 0.02;  // what one measurement differs from the next by

// Entries of 32 bytes each.
std::vector<bench::Setting> store(int keys)
{
    constexpr int kKeySize = sizeof "setting_0000" - 1;
    std::vector<bench::Setting> settings;
    for (int i = 0; i < keys; ++i) {
        char key[32];
        snprintf(key, sizeof key, "setting_%04d", i);
        settings.push_back({key, std::string(kEntrySize - kKeySize - 2, 'v')});
    }
    return settings;
}

struct Cost {
    Spread ours;
    Spread floor;

    double ratio() const { return ours.least / floor.least; }
};

Cost measure_job(bench::Root &root, const std::string &job, int keys, const Effort &effort)
{
    constexpr const char *kResults = "/tmp/jobs";
    constexpr int kRepeats = 50;
    const std::vector<bench::Setting> settings = store(keys);
    const Words words = {inside(PERF_STORE_JOBS),  job,     settings.back().key, std::to_string(effort.runs),
                         std::to_string(kRepeats), kResults};
    (void)measure(root, {words}, {});
    if (root.settings() != settings) {
        throw bench::Error("the job " + job + " changed the settings");
    }
    std::istringstream lines(root.read(kResults).value_or(""));
    std::vector<double> ours;
    std::vector<double> floors;
    double mine = 0;
    double floor = 0;
    while (lines >> mine >> floor) {
        ours.push_back(mine / 1000);
        floors.push_back(floor / 1000);
    }
    return {spread(ours), spread(floors)};
}

Figure figure_of(const std::string &name, const Cost &cost)
{
    Figure figure;
    figure.group = kGroup;
    figure.name = name;
    figure.unit = "us";
    figure.ours = cost.ours.least;
    figure.median = cost.ours.median;
    figure.against = "floor";
    figure.other = cost.floor.least;
    figure.ratio = cost.ratio();
    figure.goal = "<= 1.2";
    figure.met = cost.ratio() <= kGoal;
    return figure;
}

}  // namespace

void settings(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures)
{
    struct Size {
        const char *name;
        int keys;
    };
    constexpr int kFew = 200;
    constexpr int kMany = 2000;
    constexpr Size kSizes[] = {{"4 KiB", 4096 / kEntrySize},
                               {"200 keys", kFew},
                               {"16 KiB", 16384 / kEntrySize},
                               {"2,000 keys", kMany},
                               {"64 KiB", 65536 / kEntrySize}};
    for (const std::string job : {"get", "set", "commit"}) {
        double ratio_of_few = 0;
        double ratio_of_many = 0;
        for (const Size &size : kSizes) {
            bench::Setup setup;
            setup.settings = store(size.keys);
            setup.files.push_back({"/dev/mtdblock/3", std::string(size_t{128} * 1024, '\0')});
            bench::Root root(target, setup);
            const Cost cost = measure_job(root, job, size.keys, effort);
            figures.push_back(figure_of(job + ", " + size.name, cost));
            ratio_of_few = size.keys == kFew ? cost.ratio() : ratio_of_few;
            ratio_of_many = size.keys == kMany ? cost.ratio() : ratio_of_many;
        }
        Figure growth;
        growth.group = kGroup;
        growth.name = job + ", ratio at 2,000 keys against 200";
        growth.unit = "";
        growth.ours = ratio_of_many;
        growth.against = "200 keys";
        growth.other = ratio_of_few;
        growth.ratio = ratio_of_many / ratio_of_few;
        growth.goal = "<= 1 (+ noise)";
        growth.met = *growth.ratio <= 1 + kNoise;
        figures.push_back(growth);
    }
}

}  // namespace perf
