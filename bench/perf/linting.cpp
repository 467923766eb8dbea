// The linter on a large file of settings.

#include <algorithm>
#include <ctime>
#include <string>
#include <vector>

#include "bench/perf/perf.h"
#include "forms/descriptions.h"
#include "forms/lint/lint.h"
#include "forms/settings.h"

namespace perf {

namespace {

constexpr size_t kSettings = 2000;
constexpr double kGoal = 50000;  // microseconds

// All known settings, and others up to their number.
std::string large_text()
{
    std::vector<forms::Setting> settings;
    for (const forms::Description *one : forms::all_descriptions()) {
        settings.push_back({one->key, one->value});
    }
    while (settings.size() < kSettings) {
        settings.push_back({"wan_other" + std::to_string(settings.size()), "value"});
    }
    return forms::settings_text(settings);
}

// Processor time.
double time_of_one(const std::string &text)
{
    const std::clock_t start = std::clock();
    std::vector<forms::Setting> settings;
    forms::Fault fault;
    if (!forms::read_settings(text, settings, fault) || forms::lint(settings).empty()) {
        return 0;
    }
    return static_cast<double>(std::clock() - start) * 1e6 / CLOCKS_PER_SEC;
}

}  // namespace

void linting(const bench::Target &, const Effort &effort, std::vector<Figure> &figures)
{
    const std::string text = large_text();
    std::vector<double> times;
    times.reserve(static_cast<size_t>(effort.runs));
    for (int run = 0; run < effort.runs; ++run) {
        times.push_back(time_of_one(text));
    }
    std::sort(times.begin(), times.end());
    Figure figure;
    figure.group = "Linter";
    figure.name = "2,000 settings read and judged";
    figure.unit = "us";
    figure.ours = times.front();
    figure.median = times[times.size() / 2];
    figure.goal = "< 50 ms";
    figure.met = figure.ours < kGoal;
    figures.push_back(figure);
}

}  // namespace perf
